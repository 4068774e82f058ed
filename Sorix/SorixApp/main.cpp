// The entry of `sorix`: checks the arguments, then takes a snapshot of the panel, or runs on the
// desktop with its tray icon and panel, or without a display headless, until quit or stopped.
#include <QtQml/qqmlextensionplugin.h>

#include <cstdlib>
#include <iostream>

#include "CommandLine.h"
#include "DesktopRun.h"
#include "HeadlessRun.h"
#include "SnapshotRun.h"

Q_IMPORT_QML_PLUGIN(Sorix_UiPlugin)

namespace {

bool isSet(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr && *value != '\0';
}

}  // namespace

int main(int argc, char** argv) {
    const sorix::CommandLineRequest request = sorix::parseCommandLine(argc, argv);
    if (const auto* error = std::get_if<sorix::UsageError>(&request)) {
        std::cerr << error->message << '\n';
        return 2;
    }
    if (std::holds_alternative<sorix::HelpRequest>(request)) {
        std::cout << sorix::kUsage;
        return 0;
    }
    if (const auto* snapshot = std::get_if<sorix::SnapshotRequest>(&request))
        return sorix::runSnapshot(argc, argv, *snapshot);

    const auto& run = std::get<sorix::RunRequest>(request);
    if (!isSet("DISPLAY") && !isSet("WAYLAND_DISPLAY")) return sorix::runHeadless(argc, argv, run);
    // A Wayland session lets no program place its own windows; through XWayland the panel can
    // hang under its tray icon. A user's own choice of platform stands.
    if (isSet("DISPLAY") && isSet("WAYLAND_DISPLAY") && !isSet("QT_QPA_PLATFORM"))
        setenv("QT_QPA_PLATFORM", "xcb", 1);
    return sorix::runDesktop(argc, argv, run);
}
