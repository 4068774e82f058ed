#include "CommandLine.h"

#include <string_view>

#include "BoostRange.h"
#include "DecimalText.h"

namespace sorix {

const char* const kUsage =
    "usage: sorix [--boost FACTOR] [--help]\n"
    "       sorix --snapshot [--eq] [--preset NAME] [PATH.png]\n"
    "Boosts, limits and equalises everything this computer plays, by the stored settings, until\n"
    "stopped (Ctrl-C, SIGTERM). The settings file is $SORIX_SETTINGS_FILE when set, else\n"
    "$XDG_CONFIG_HOME/sorix/settings.json (~/.config/sorix/settings.json); boostActive=true\n"
    "switches boosting on, volumeBoost sets the factor (1 to 8, at most 2 while safeMode is on).\n"
    "  --boost FACTOR  stores FACTOR (1 to 8, written with a '.') and switches boosting on\n"
    "                  first; above 2 it also switches Safe Mode off\n"
    "  --snapshot      renders the panel (boost 4.8, boosting on, as stored otherwise) into\n"
    "                  PATH.png, /tmp/sorix_snapshot.png by default, and exits; no display or\n"
    "                  sound server is needed. --eq shows the equaliser card; --preset NAME\n"
    "                  stores the preset (custom also stores the gains 4,2,-2,1,3,5)\n";

namespace {

// Snapshot mode takes its options wherever they stand and ignores anything else, so that a
// picture is always taken.
SnapshotRequest snapshotRequest(int argc, const char* const* argv) {
    SnapshotRequest snapshot;
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        if (argument == "--eq") snapshot.showsEQ = true;
        if (argument == "--preset" && !snapshot.preset) {
            snapshot.preset = i + 1 < argc ? std::string(argv[i + 1]) : std::string("flat");
        }
    }
    // The suffix test is exact: "PANEL.PNG" is not taken for the path.
    const std::string_view last = argc > 1 ? argv[argc - 1] : "";
    if (last.size() >= 4 && last.substr(last.size() - 4) == ".png") snapshot.path = last;
    return snapshot;
}

}  // namespace

CommandLineRequest parseCommandLine(int argc, const char* const* argv) {
    RunRequest run;
    for (int i = 1; i < argc; ++i) {
        if (std::string_view(argv[i]) == "--snapshot") return snapshotRequest(argc, argv);
    }
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        if (argument == "--help" || argument == "-h") return HelpRequest{};
        if (argument == "--boost") {
            const std::string_view value = i + 1 < argc ? argv[++i] : "";
            const auto factor = parseDecimal<double>(value);
            if (!factor || !BoostRange::offers(*factor)) {
                return UsageError{"sorix: --boost needs a factor from " +
                                  fixedDecimal(BoostRange::minimum, 0) + " to " +
                                  fixedDecimal(BoostRange::maximum, 0) + ", not \"" +
                                  std::string(value) + "\""};
            }
            run.boost = *factor;
            continue;
        }
        return UsageError{"sorix: unknown argument \"" + std::string(argument) +
                          "\" (see sorix --help)"};
    }
    return run;
}

}  // namespace sorix
