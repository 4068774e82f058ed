#include "SnapshotRunner.h"

#include <QImage>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <cstdio>

#include "QmlTypes.h"

namespace sorix {

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
