#include "DesktopRun.h"

#include <QApplication>
#include <QFont>
#include <csignal>

#include "AppDelegate.h"
#include "DesktopServices.h"
#include "DesktopShell.h"
#include "LaunchRequest.h"
#include "SignalBridge.h"

namespace sorix {

int runDesktop(int& argc, char** argv, const RunRequest& request) {
    // The panel is small and mostly still: drawn by the processor it redraws only what changed,
    // and Sorix keeps no graphics context in memory while it sits in the tray. A user's own
    // choice of renderer stands.
    if (qEnvironmentVariableIsEmpty("QT_QUICK_BACKEND")) qputenv("QT_QUICK_BACKEND", "software");
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Sorix"));
    QApplication::setFont(QFont(QStringLiteral("Inter")));
    // Closing the panel is not quitting: Sorix lives in the tray.
    QApplication::setQuitOnLastWindowClosed(false);
    SignalBridge stopSignals({SIGINT, SIGTERM, SIGHUP}, [](int) { QCoreApplication::quit(); });

    DesktopServices services;
    applyLaunchRequest(services, request);
    AppDelegate delegate(services.engineServices());
    QObject::connect(&application, &QCoreApplication::aboutToQuit,
                     [&delegate] { delegate.applicationWillTerminate(); });
    delegate.applicationDidFinishLaunching();
    DesktopShell shell(delegate);
    return QApplication::exec();
}

}  // namespace sorix
