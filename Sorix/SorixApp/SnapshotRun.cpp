#include "SnapshotRun.h"

#include <QtQml/qqmlextensionplugin.h>

#include <QGuiApplication>
#include <QStringList>
#include <cstdio>

#include "CommandLine.h"
#include "DesktopServices.h"
#include "SettingsKeys.h"
#include "SorixRuntime.h"

namespace sorix {

namespace {

// A sound server that is there answers within this; one that is not is no reason to wait.
constexpr double kServerWaitSeconds = 0.5;
constexpr float kShownOutputPeak = 0.62f;
constexpr double kShownBoost = 4.8;

void storeSnapshotSettings(SettingsStore& settings, const SnapshotRequest& request) {
    settings.setDouble(SettingsKeys::volumeBoost, kShownBoost);
    settings.setBool(SettingsKeys::boostActive, true);
    const std::string preset = request.preset.value_or("flat");
    settings.setString(SettingsKeys::eqPreset, preset);
    if (preset == "custom") settings.setString(SettingsKeys::customEQGains, "4,2,-2,1,3,5");
}

}  // namespace

namespace {

// Qt's own remarks (a missing runtime folder, a font substitution) would crowd the one line the
// snapshot prints; they are kept, and shown only when the picture fails, as the likely reason.
QStringList qtRemarks;

void keepRemark(QtMsgType, const QMessageLogContext&, const QString& message) {
    qtRemarks.push_back(message);
}

}  // namespace

int runSnapshot(int& argc, char** argv, const SnapshotRequest& request) {
    qInstallMessageHandler(keepRemark);
    // Before the application exists: no display, no graphics card, two pixels to a point.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_QUICK_BACKEND", "software");
    qputenv("QT_SCALE_FACTOR", "2");
    QGuiApplication application(argc, argv);
    SorixRuntime::isSnapshot = true;
    SorixRuntime::snapshotShowsEQ = request.showsEQ;

    DesktopServices services(
        {.connectTimeoutSeconds = kServerWaitSeconds, .logToStderr = false, .guarded = false});
    storeSnapshotSettings(services.settings(), request);
    const auto engine = TapEngine::create(services.engineServices());
    engine->showActiveForSnapshot(kShownOutputPeak);
    EngineAdaptor adaptor(engine);
    PanelState panel(services.settings(), adaptor);
    if (request.showsEQ) panel.openEQ();
    DesktopActions desktop(LoginItem(LoginItem::defaultEntryPath(), LoginItem::runningProgram()),
                           SoundSettings(), {});
    SnapshotRunner runner(panel, adaptor, desktop);
    runner.render(QString::fromStdString(request.path), [] {
        for (const QString& remark : qtRemarks)
            std::fprintf(stderr, "%s\n", remark.toLocal8Bit().constData());
    });
    return 0;
}

}  // namespace sorix
