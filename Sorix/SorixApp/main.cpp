// The program's entry: Sorix runs until it is quit or stopped, boosting by the stored settings.
#include <QCoreApplication>
#include <cstdlib>
#include <iostream>
#include <string_view>

#include "AppDelegate.h"
#include "SignalBridge.h"

namespace {

constexpr const char* usage =
    "usage: sorix [--help]\n"
    "Boosts, limits and equalises everything this computer plays, by the stored settings\n"
    "($SORIX_SETTINGS_FILE, else $XDG_CONFIG_HOME/sorix/settings.json). Stop it with Ctrl-C.\n";

bool hasDisplay() {
    return std::getenv("DISPLAY") != nullptr || std::getenv("WAYLAND_DISPLAY") != nullptr;
}

}  // namespace

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        if (argument == "--help" || argument == "-h") {
            std::cout << usage;
            return 0;
        }
        std::cerr << "sorix: unknown argument \"" << argument << "\" (see --help)\n";
        return 2;
    }

    QCoreApplication application(argc, argv);
    const char* settingsOverride = std::getenv("SORIX_SETTINGS_FILE");
    sorix::AppDelegate delegate(settingsOverride != nullptr && *settingsOverride != '\0'
                                    ? std::filesystem::path(settingsOverride)
                                    : sorix::JsonSettingsStore::defaultPath());
    sorix::SignalBridge stopSignals([&](int) { QCoreApplication::quit(); });
    QObject::connect(&application, &QCoreApplication::aboutToQuit,
                     [&] { delegate.applicationWillTerminate(); });

    delegate.applicationDidFinishLaunching();
    delegate.engine().log().log(hasDisplay() ? "panel unavailable in this build: running headless"
                                             : "no display: running headless, without the panel");
    return application.exec();
}
