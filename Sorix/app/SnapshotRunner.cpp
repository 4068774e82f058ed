#include "SnapshotRunner.h"

#include <QEventLoop>
#include <QImage>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QTimer>
#include <cstdio>

#include "QmlTypes.h"

namespace sorix {

namespace {

// Longer than the panel's longest transition.
constexpr int kSettleMs = 600;

}  // namespace

SnapshotRunner::SnapshotRunner(PanelState& panel, EngineAdaptor& engine, DesktopActions& desktop)
    : panel_(panel), engine_(engine), desktop_(desktop) {}

bool SnapshotRunner::render(const QString& path, const std::function<void()>& beforeFailure) {
    registerPanelQmlTypes();
    QQuickView view;
    view.engine()->addImportPath(QStringLiteral("qrc:/"));
    view.setResizeMode(QQuickView::SizeViewToRootObject);
    view.setColor(QColor(0x07, 0x0A, 0x12));
    view.setInitialProperties({{"panel", QVariant::fromValue(&panel_)},
                               {"engine", QVariant::fromValue(&engine_)},
                               {"desktop", QVariant::fromValue(&desktop_)},
                               {"shown", false}});
    view.setSource(QUrl(QStringLiteral("qrc:/Sorix/Ui/SorixPopoverView.qml")));
    QImage image;
    if (view.status() == QQuickView::Ready) {
        view.show();
        // The views settle first: the cards' fades end, the response curve is painted (a
        // canvas paints on a later turn of the event loop) and the window follows the panel's
        // final height.
        QEventLoop settling;
        QTimer::singleShot(kSettleMs, &settling, &QEventLoop::quit);
        settling.exec();
        image = view.grabWindow();
    }
    if (image.isNull()) {
        if (beforeFailure) beforeFailure();
        std::fputs("snapshot FAILED\n", stderr);
        return false;
    }
    // A folder that does not exist leaves no file; the picture itself was taken.
    image.save(path, "PNG");
    std::fprintf(stderr, "snapshot OK -> %s\n", path.toLocal8Bit().constData());
    return true;
}

}  // namespace sorix
