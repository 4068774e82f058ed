// The entry of `sorix`: checks the arguments, then runs until quit or stopped.
#include <iostream>
#include <string_view>

#include "HeadlessRun.h"

namespace {

constexpr std::string_view usage =
    "usage: sorix [--help]\n"
    "Boosts, limits and equalises everything this computer plays, by the stored settings, until\n"
    "stopped (Ctrl-C, SIGTERM). The settings file is $SORIX_SETTINGS_FILE when set, else\n"
    "$XDG_CONFIG_HOME/sorix/settings.json (~/.config/sorix/settings.json); boostActive=true\n"
    "switches boosting on, volumeBoost sets the factor (1 to 8, at most 2 while safeMode is on).\n";

}  // namespace

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        if (std::string_view(argv[i]) == "--snapshot") {
            std::cerr << "sorix: snapshot mode is not available in this build\n";
            return 2;
        }
    }
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        if (argument == "--help" || argument == "-h") {
            std::cout << usage;
            return 0;
        }
        std::cerr << "sorix: unknown argument \"" << argument << "\" (see sorix --help)\n";
        return 2;
    }
    return sorix::runHeadless(argc, argv);
}
