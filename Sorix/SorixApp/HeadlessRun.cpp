#include "HeadlessRun.h"

#include <QCoreApplication>
#include <csignal>
#include <cstdlib>

#include "AppDelegate.h"
#include "DecimalText.h"
#include "DesktopServices.h"
#include "SettingsKeys.h"
#include "SignalBridge.h"
#include "StoredControls.h"

namespace sorix {

namespace {

bool hasDisplay() {
    const auto set = [](const char* name) {
        const char* value = std::getenv(name);
        return value != nullptr && *value != '\0';
    };
    return set("DISPLAY") || set("WAYLAND_DISPLAY");
}

}  // namespace

int runHeadless(int& argc, char** argv, const RunRequest& request) {
    QCoreApplication application(argc, argv);
    // First of all: a stop during the connection wait must still end in a clean shut-down.
    // SIGHUP too, since a closed terminal would otherwise leave every program captured by a tap
    // that nobody plays.
    SignalBridge stopSignals({SIGINT, SIGTERM, SIGHUP}, [](int) { QCoreApplication::quit(); });

    DesktopServices services;
    const std::string settingsFile = DesktopServices::settingsFile().string();
    if (request.boost) {
        storeChosenBoost(services.settings(), *request.boost);
        services.log().log("boost %sx stored in %s, boosting on", fixedDecimal(*request.boost, 2),
                           settingsFile);
    } else if (!services.settings().boolForKey(SettingsKeys::boostActive)) {
        services.log().log(
            "boosting is off: run with --boost FACTOR, or set \"boostActive\": "
            "true in %s",
            settingsFile);
    }
    AppDelegate delegate(services.engineServices());
    QObject::connect(&application, &QCoreApplication::aboutToQuit,
                     [&delegate] { delegate.applicationWillTerminate(); });

    services.log().log(hasDisplay() ? "the panel is not part of this build: running without it"
                                    : "no display: running without the panel");
    delegate.applicationDidFinishLaunching();
    return QCoreApplication::exec();
}

}  // namespace sorix
