// The real program under a German user's locale, where 3.5 is written "3,5": the stored numbers
// and the one typed on its command line must read, store and log as the C locale writes them. No
// sound server is needed; the equaliser and the boost are applied and logged at launch, before any
// connection.
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "ChildProcess.h"
#include "CommaDecimalLocale.h"

namespace sorix::testing {
namespace {

bool commaDecimalLocaleExists() {
    const CommaDecimalLocale probe;
    return probe.active();
}

TEST(SorixLocaleTest, StoredNumbersReadAndLogAlikeUnderACommaDecimalLocale) {
    if (!commaDecimalLocaleExists())
        GTEST_SKIP() << "the locale " << CommaDecimalLocale::name
                     << " is missing (scripts/install-deps.sh makes it)";
    std::string pattern = (std::filesystem::temp_directory_path() / "sorix-locale-XXXXXX").string();
    ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
    const std::filesystem::path folder = pattern;
    std::ofstream(folder / "settings.json")
        << R"({"eqPreset": "custom", "customEQGains": "3.5,0,0,0,0,-2", "volumeBoost": 4.8})";
    const auto logFile = folder / "sorix.log";
    const auto log = [&] {
        std::ostringstream text;
        text << std::ifstream(logFile).rdbuf();
        return text.str();
    };

    {
        ChildProcess sorix(
            {SORIX_PATH, "--boost", "2.5"}, logFile,
            {"LANG=de_DE.UTF-8", "LC_ALL=de_DE.UTF-8",
             "SORIX_SETTINGS_FILE=" + (folder / "settings.json").string(),
             // Never any server of the machine's: nothing listens here.
             "PULSE_SERVER=unix:" + (folder / "none").string(), "DISPLAY=", "WAYLAND_DISPLAY="});
        ASSERT_TRUE(sorix.started());
        EXPECT_TRUE(eventually(10, [&] {
            return log().find("EQ custom gains -> ") != std::string::npos;
        })) << log();
        sorix.signal(SIGTERM);
        EXPECT_EQ(sorix.waitForExit(10), 0) << log();
    }
    const std::string text = log();
    EXPECT_NE(text.find("EQ custom gains -> 3.5,0.0,0.0,0.0,0.0,-2.0\n"), std::string::npos)
        << text;
    EXPECT_NE(text.find("boost 2.50x stored in"), std::string::npos) << text;
    std::ostringstream stored;
    stored << std::ifstream(folder / "settings.json").rdbuf();
    EXPECT_NE(stored.str().find("\"volumeBoost\": 2.5"), std::string::npos) << stored.str();
    EXPECT_NE(stored.str().find("\"safeMode\": false"), std::string::npos) << stored.str();
    // Stored 4.8 would be capped at 2 in Safe Mode: the boost typed has replaced it.
    EXPECT_EQ(text.find("Safe Mode caps the boost"), std::string::npos) << text;
    std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace sorix::testing
