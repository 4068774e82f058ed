#include "HeadlessRun.h"

#include <QCoreApplication>
#include <csignal>

#include "AppDelegate.h"
#include "DesktopServices.h"
#include "LaunchRequest.h"
#include "SignalBridge.h"

namespace sorix {

int runHeadless(int& argc, char** argv, const RunRequest& request) {
    QCoreApplication application(argc, argv);
    // First of all: a stop during the connection wait must still end in a clean shut-down.
    // SIGHUP too, since a closed terminal would otherwise leave every program captured by a tap
    // that nobody plays.
    SignalBridge stopSignals({SIGINT, SIGTERM, SIGHUP}, [](int) { QCoreApplication::quit(); });

    DesktopServices services;
    applyLaunchRequest(services, request);
    AppDelegate delegate(services.engineServices());
    QObject::connect(&application, &QCoreApplication::aboutToQuit,
                     [&delegate] { delegate.applicationWillTerminate(); });

    services.log().log("no display: running without the panel");
    delegate.applicationDidFinishLaunching();
    return QCoreApplication::exec();
}

}  // namespace sorix
