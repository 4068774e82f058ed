// What the program accepts on its command line, run as a user would run it.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "ChildProcess.h"

namespace sorix::testing {
namespace {

TEST(SorixCommandLineTest, RefusesWhatItDoesNotRunWithStatusTwo) {
    const auto output = std::filesystem::temp_directory_path() /
                        ("sorix-command-line-" + std::to_string(::getpid()) + ".txt");
    const auto run = [&](std::vector<std::string> arguments) {
        std::filesystem::remove(output);
        arguments.insert(arguments.begin(), SORIX_PATH);
        ChildProcess sorix(arguments, output);
        const auto status = sorix.waitForExit(10);
        std::ostringstream text;
        text << std::ifstream(output).rdbuf();
        return std::pair{status, text.str()};
    };
    const auto [snapshotStatus, snapshot] = run({"--help", "--snapshot", "/tmp/panel.png"});
    EXPECT_EQ(snapshotStatus, 2);
    EXPECT_EQ(snapshot, "sorix: snapshot mode is not available in this build\n");

    const auto [unknownStatus, unknown] = run({"--boost"});
    EXPECT_EQ(unknownStatus, 2);
    EXPECT_EQ(unknown, "sorix: unknown argument \"--boost\" (see sorix --help)\n");

    const auto [helpStatus, help] = run({"--help"});
    EXPECT_EQ(helpStatus, 0);
    EXPECT_NE(help.find("SORIX_SETTINGS_FILE"), std::string::npos);
    std::filesystem::remove(output);
}

}  // namespace
}  // namespace sorix::testing
