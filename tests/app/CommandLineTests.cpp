// What the program accepts on its command line, and what --boost stores.
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
#include "CommandLine.h"
#include "SettingsKeys.h"
#include "SettingsStore.h"
#include "StoredControls.h"

namespace sorix::testing {
namespace {

CommandLineRequest parse(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "sorix");
    return parseCommandLine(static_cast<int>(arguments.size()), arguments.data());
}

std::optional<double> boostOf(const CommandLineRequest& request) {
    const auto* run = std::get_if<RunRequest>(&request);
    return run != nullptr ? run->boost : std::nullopt;
}

std::string errorOf(const CommandLineRequest& request) {
    const auto* error = std::get_if<UsageError>(&request);
    return error != nullptr ? error->message : "";
}

TEST(CommandLineTest, ABoostFromOneToEightWrittenWithAPointIsTakenAndNothingElse) {
    EXPECT_EQ(boostOf(parse({"--boost", "1"})), 1.0);
    EXPECT_EQ(boostOf(parse({"--boost", "8"})), 8.0);
    EXPECT_EQ(boostOf(parse({"--boost", "2.5"})), 2.5);
    EXPECT_EQ(boostOf(parse({})), std::nullopt);
    for (const char* refused : {"0.999", "8.001", "2,5", "2x", "", "nan", "inf", "+3", " 3"}) {
        EXPECT_EQ(
            errorOf(parse({"--boost", refused})),
            std::string("sorix: --boost needs a factor from 1 to 8, not \"") + refused + "\"");
    }
    EXPECT_EQ(errorOf(parse({"--boost"})), "sorix: --boost needs a factor from 1 to 8, not \"\"");
}

TEST(CommandLineTest, HelpIsRecognisedAnywhereAndAnythingUnknownRefused) {
    EXPECT_TRUE(std::holds_alternative<HelpRequest>(parse({"--boost", "2", "--help"})));
    EXPECT_EQ(errorOf(parse({"--boots", "2"})),
              "sorix: unknown argument \"--boots\" (see sorix --help)");
}

TEST(CommandLineTest, SnapshotModeTakesItsOptionsWhereverTheyStand) {
    const auto snapshot = [](std::vector<const char*> arguments) {
        const auto request = parse(std::move(arguments));
        EXPECT_TRUE(std::holds_alternative<SnapshotRequest>(request));
        return std::holds_alternative<SnapshotRequest>(request) ? std::get<SnapshotRequest>(request)
                                                                : SnapshotRequest{};
    };
    const SnapshotRequest plain = snapshot({"--help", "--snapshot"});
    EXPECT_FALSE(plain.showsEQ);
    EXPECT_FALSE(plain.preset.has_value());
    EXPECT_EQ(plain.path, "/tmp/sorix_snapshot.png");

    const SnapshotRequest custom =
        snapshot({"--eq", "--snapshot", "--preset", "custom", "--preset", "bass", "/tmp/p.png"});
    EXPECT_TRUE(custom.showsEQ);
    EXPECT_EQ(custom.preset, "custom") << "the first --preset counts";
    EXPECT_EQ(custom.path, "/tmp/p.png");

    EXPECT_EQ(snapshot({"--snapshot", "--preset"}).preset, "flat");
    EXPECT_EQ(snapshot({"--snapshot", "/tmp/P.PNG"}).path, "/tmp/sorix_snapshot.png")
        << "the suffix is matched exactly";
    EXPECT_EQ(snapshot({"--snapshot", ".png"}).path, ".png");
}

TEST(StoredBoostTest, AChosenBoostSwitchesBoostingOnAndSafeModeOffOnlyAboveItsCap) {
    MemorySettingsStore settings;
    ASSERT_TRUE(storeChosenBoost(settings, 2.0));
    EXPECT_EQ(settings.number(SettingsKeys::volumeBoost), 2.0);
    EXPECT_TRUE(settings.boolForKey(SettingsKeys::boostActive));
    EXPECT_FALSE(settings.boolean(SettingsKeys::safeMode).has_value()) << "2 is within the cap";

    ASSERT_TRUE(storeChosenBoost(settings, 2.01));
    EXPECT_EQ(settings.boolean(SettingsKeys::safeMode), false);

    MemorySettingsStore untouched;
    EXPECT_FALSE(storeChosenBoost(untouched, 8.01));
    EXPECT_FALSE(untouched.number(SettingsKeys::volumeBoost).has_value());
    EXPECT_FALSE(untouched.boolean(SettingsKeys::boostActive).has_value());
}

TEST(SorixCommandLineTest, TheProgramSaysWhatIsWrongInOneLineAndExitsWithStatusTwo) {
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
    const auto [refusedStatus, refused] = run({"--boost", "2,5"});
    EXPECT_EQ(refusedStatus, 2);
    EXPECT_EQ(refused, "sorix: --boost needs a factor from 1 to 8, not \"2,5\"\n");

    const auto [helpStatus, help] = run({"--help"});
    EXPECT_EQ(helpStatus, 0);
    EXPECT_NE(help.find("--boost FACTOR"), std::string::npos);
    std::filesystem::remove(output);
}

}  // namespace
}  // namespace sorix::testing
