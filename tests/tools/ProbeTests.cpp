#include <gtest/gtest.h>
#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <string>

#include "FakeAudioHardware.h"
#include "ManualMainQueue.h"
#include "PrivatePulseServer.h"
#include "Probe.h"

namespace sorix {
namespace {

TEST(ProbeTest, ReportsEveryDeviceAndProcessWithNullForFailedReads) {
    ManualMainQueue queue;
    FakeAudioHardware hardware(queue, 31);
    const AudioObjectID speakers =
        hardware.addDevice({.uid = "speakers", .name = "Speakers", .latencyFrames = 512});
    hardware.addDevice({.uid = "mystery",
                        .name = "Mystery",
                        .transport = std::nullopt,
                        .outputStreams = 2,
                        .volume = std::nullopt,
                        .sampleRate = 44100});
    hardware.setDefaultOutput(speakers);
    hardware.addProcess(77, true);

    const nlohmann::json report = probe::toJson(probe::collect(hardware));
    EXPECT_EQ(report["defaultOutput"], "speakers");
    ASSERT_EQ(report["devices"].size(), 2u);
    const auto& first = report["devices"][0];
    EXPECT_EQ(first["uid"], "speakers");
    EXPECT_EQ(first["transport"], "bltn");
    EXPECT_EQ(first["latencyFrames"], 512);
    const auto& second = report["devices"][1];
    EXPECT_TRUE(second["transport"].is_null());
    EXPECT_TRUE(second["volume"].is_null());
    EXPECT_EQ(second["outputStreams"], 2);
    EXPECT_EQ(second["sampleRate"], 44100.0);

    ASSERT_EQ(report["processes"].size(), 2u);
    int own = 0, playing = 0;
    for (const auto& process : report["processes"]) {
        own += process["own"].get<bool>();
        playing += process["runningOutput"].get<bool>();
    }
    EXPECT_EQ(own, 1);
    EXPECT_EQ(playing, 1);
    EXPECT_NE(probe::toTable(probe::collect(hardware)).find("Default output: speakers"),
              std::string::npos);
}

// Runs the probe binary; returns its exit status and what it printed on stdout.
std::pair<int, std::string> runProbe(const std::string& arguments) {
    std::string output;
    FILE* pipe =
        ::popen((std::string(SORIX_PROBE_PATH) + " " + arguments + " 2>/dev/null").c_str(), "r");
    if (pipe == nullptr) return {-1, ""};
    std::array<char, 512> buffer{};
    while (std::fgets(buffer.data(), buffer.size(), pipe) != nullptr)
        output += buffer.data();
    const int status = ::pclose(pipe);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, output};
}

TEST(ProbeTest, SeesARunningServerAndSaysSoWhenThereIsNone) {
    testing::PrivatePulseServer server(testing::PrivatePulseServer::imitatedDevices());
    ASSERT_TRUE(server.start());
    const auto [status, output] = runProbe("--json");
    ASSERT_EQ(status, 0);
    const nlohmann::json report = nlohmann::json::parse(output);
    EXPECT_EQ(report["defaultOutput"], "speakers");
    EXPECT_EQ(report["devices"].size(), 5u);
    // The plain null sink is a virtual device, which Sorix never offers as an output.
    ASSERT_EQ(report["catalogue"].size(), 4u);
    EXPECT_EQ(report["catalogue"][1], (nlohmann::json{{"uid", "usb_dac"}, {"name", "USB DAC"}}));

    server.kill();
    EXPECT_EQ(runProbe("--json").first, 1);
}

}  // namespace
}  // namespace sorix
