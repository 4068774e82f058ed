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

namespace {

constexpr int kLayoutReportMs = 250;

}  // namespace

DesktopShell::DesktopShell(AppDelegate& delegate, QObject* parent)
    : QObject(parent),
      delegate_(delegate),
      actions_(LoginItem(LoginItem::defaultEntryPath(), LoginItem::runningProgram()),
               SoundSettings(), [] { QCoreApplication::quit(); }),
      outputMenu_(delegate.engineAdaptor(),
                  [this](const std::vector<OutputMenuItem>& items, QPoint where) {
                      popUpOutputMenu(items, where);
                  }) {
    registerPanelQmlTypes();
    const bool compositing = desktopComposites();
    panel_ = std::make_unique<PanelWindow>(compositing);
    panel_->engine()->addImportPath(QStringLiteral("qrc:/"));
    panel_->setInitialProperties({{"panel", QVariant::fromValue(&delegate_.panelState())},
                                  {"engine", QVariant::fromValue(&delegate_.engineAdaptor())},
                                  {"desktop", QVariant::fromValue(&actions_)},
                                  {"outputMenu", QVariant::fromValue(&outputMenu_)},
                                  {"compositing", compositing},
                                  {"shown", false}});
    panel_->setSource(QUrl(QStringLiteral("qrc:/Sorix/Ui/PanelFrame.qml")));
    panel_->setTitle(QStringLiteral("Sorix"));
    // The level display runs only while someone can see it.
    connect(panel_.get(), &QWindow::visibleChanged, this, [this](bool visible) {
        if (auto* root = panel_->rootObject()) root->setProperty("shown", visible);
    });

    if (!qEnvironmentVariableIsEmpty("SORIX_PANEL_LAYOUT_FILE")) {
        // The cards change under the tests' clicks, so where things are is told again and again.
        auto* reports = new QTimer(this);
        connect(reports, &QTimer::timeout, this, [this] {
            if (panel_->isVisible()) reportLayout();
        });
        reports->start(kLayoutReportMs);
    }

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
}

void DesktopShell::popUpOutputMenu(const std::vector<OutputMenuItem>& items, QPoint where) {
    auto* menu = new QMenu();
    menu->setAttribute(Qt::WA_DeleteOnClose);
    for (std::size_t index = 0; index < items.size(); ++index) {
        const OutputMenuItem& item = items[index];
        if (item.kind == OutputMenuItem::Kind::separator) {
            menu->addSeparator();
            continue;
        }
        QAction* action = menu->addAction(QString::fromStdString(item.title));
        action->setEnabled(item.enabled);
        if (item.kind != OutputMenuItem::Kind::action) continue;
        action->setCheckable(true);
        action->setChecked(item.checked);
        connect(action, &QAction::triggered, this, [this, index] { outputMenu_.pick(index); });
    }
    // The menu takes the focus from the panel; that is no click elsewhere, and the panel has it
    // back once the menu closes.
    panel_->setHoldOpen(true);
    connect(menu, &QMenu::aboutToHide, this, [this] {
        panel_->setHoldOpen(false);
        if (panel_->isVisible()) panel_->requestActivate();
    });
    menu->popup(where);
    if (!qEnvironmentVariableIsEmpty("SORIX_PANEL_LAYOUT_FILE")) {
        QTimer::singleShot(300, menu, [menu] { reportMenu(*menu); });
    }
}

void DesktopShell::reportMenu(const QMenu& menu) {
    nlohmann::json items = nlohmann::json::array();
    for (QAction* action : menu.actions()) {
        const QRect area = action->isSeparator() ? QRect() : menu.actionGeometry(action);
        const QPoint origin = menu.mapToGlobal(area.topLeft());
        items.push_back({{"title", action->text().toStdString()},
                         {"separator", action->isSeparator()},
                         {"checked", action->isChecked()},
                         {"enabled", action->isEnabled()},
                         {"x", origin.x()},
                         {"y", origin.y()},
                         {"width", area.width()},
                         {"height", area.height()}});
    }
    const QPoint corner = menu.mapToGlobal(QPoint(0, 0));
    writeReport("menu", {{"x", corner.x()}, {"y", corner.y()}, {"items", items}});
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
    writeReport("", items);
}

void DesktopShell::writeReport(const std::string& suffix, const nlohmann::json& report) {
    std::string file = qEnvironmentVariable("SORIX_PANEL_LAYOUT_FILE").toStdString();
    if (!suffix.empty()) file += "." + suffix;
    std::ofstream(file + ".new") << report.dump(2);
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
