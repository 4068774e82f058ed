#include "DesktopShell.h"

#include <QCoreApplication>
#include <QCursor>
#include <QGuiApplication>
#include <QMenu>
#include <QQmlEngine>
#include <QQuickItem>
#include <QScreen>
#include <QTimer>
#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <vector>

#include "PanelPlacement.h"
#include "QmlTypes.h"
#include "TrayIconArt.h"

namespace sorix {

DesktopShell::DesktopShell(AppDelegate& delegate, QObject* parent)
    : QObject(parent),
      delegate_(delegate),
      actions_(LoginItem(LoginItem::defaultEntryPath(), LoginItem::runningProgram()),
               SoundSettings(), [] { QCoreApplication::quit(); }) {
    registerPanelQmlTypes();
    const bool compositing = desktopComposites();
    panel_ = std::make_unique<PanelWindow>(compositing);
    panel_->engine()->addImportPath(QStringLiteral("qrc:/"));
    panel_->setInitialProperties({{"panel", QVariant::fromValue(&delegate_.panelState())},
                                  {"engine", QVariant::fromValue(&delegate_.engineAdaptor())},
                                  {"desktop", QVariant::fromValue(&actions_)},
                                  {"compositing", compositing},
                                  {"shown", false}});
    panel_->setSource(QUrl(QStringLiteral("qrc:/Sorix/Ui/PanelFrame.qml")));
    panel_->setTitle(QStringLiteral("Sorix"));
    // The level display runs only while someone can see it.
    connect(panel_.get(), &QWindow::visibleChanged, this, [this](bool visible) {
        if (auto* root = panel_->rootObject()) root->setProperty("shown", visible);
    });

    if (!QSystemTrayIcon::isSystemTrayAvailable()) {
        panel_->setDismissible(false);
        showPanel();
        return;
    }
    tray_ = std::make_unique<QSystemTrayIcon>(trayIcon());
    tray_->setToolTip(QStringLiteral("Sorix"));
    connect(tray_.get(), &QSystemTrayIcon::activated, this,
            [this](QSystemTrayIcon::ActivationReason reason) {
                if (reason != QSystemTrayIcon::Trigger) return;
                clickPoint_ = QCursor::pos();
                togglePanel();
            });
    auto* menu = new QMenu();
    menu->addAction(QStringLiteral("Open Sorix"), this, [this] {
        clickPoint_ = QCursor::pos();
        if (!panel_->isVisible()) showPanel();
    });
    menu->addAction(QStringLiteral("Quit Sorix"), this, [] { QCoreApplication::quit(); });
    tray_->setContextMenu(menu);
    tray_->show();
}

DesktopShell::~DesktopShell() {
    if (tray_ != nullptr) delete tray_->contextMenu();
}

void DesktopShell::togglePanel() {
    if (panel_->isVisible()) {
        panel_->closeWithFade();  // ignored while the fade runs
    } else {
        showPanel();
    }
}

void DesktopShell::showPanel() {
    delegate_.panelState().appear();
    // The panel itself goes where it belongs; its shadow, if any, spills around it.
    const int margin =
        panel_->rootObject() != nullptr ? panel_->rootObject()->property("margin").toInt() : 0;
    panel_->present(panelPosition() - QPoint(margin, margin));
    if (!qEnvironmentVariableIsEmpty("SORIX_PANEL_LAYOUT_FILE"))
        QTimer::singleShot(300, this, [this] { reportLayout(); });
}

void DesktopShell::reportLayout() const {
    nlohmann::json items = nlohmann::json::object();
    std::vector<const QQuickItem*> pending{panel_->rootObject()};
    while (!pending.empty()) {
        const QQuickItem* item = pending.back();
        pending.pop_back();
        if (item == nullptr || !item->isVisible()) continue;
        if (!item->objectName().isEmpty()) {
            const QRectF local(0, 0, item->width(), item->height());
            const QRectF scene = item->mapRectToScene(local);
            const QPoint origin = panel_->mapToGlobal(scene.topLeft().toPoint());
            items[item->objectName().toStdString()] = {{"x", origin.x()},
                                                       {"y", origin.y()},
                                                       {"width", scene.width()},
                                                       {"height", scene.height()}};
        }
        for (const QQuickItem* child : item->childItems())
            pending.push_back(child);
    }
    const std::string file = qEnvironmentVariable("SORIX_PANEL_LAYOUT_FILE").toStdString();
    std::ofstream(file + ".new") << items.dump(2);
    std::rename((file + ".new").c_str(), file.c_str());
}

QPoint DesktopShell::panelPosition() const {
    const int margin =
        panel_->rootObject() != nullptr ? panel_->rootObject()->property("margin").toInt() : 0;
    const QSize size = panel_->size() - QSize(2 * margin, 2 * margin);
    if (tray_ == nullptr) {
        const QScreen* screen = QGuiApplication::primaryScreen();
        return PanelPlacement::topRight(size, screen->availableGeometry());
    }
    const QRect icon = tray_->geometry();
    const QPoint anchor = icon.isValid() ? icon.center() : clickPoint_;
    const QScreen* screen = QGuiApplication::screenAt(anchor);
    if (screen == nullptr) screen = QGuiApplication::primaryScreen();
    if (icon.isValid()) return PanelPlacement::underIcon(icon, size, screen->availableGeometry());
    return PanelPlacement::nearPointer(clickPoint_, size, screen->availableGeometry());
}

}  // namespace sorix
