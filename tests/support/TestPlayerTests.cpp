// sorix-test-player on each sound server Sorix supports: what it plays arrives whole, it names
// its stream, and --dont-move keeps that stream on its sink.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <sstream>
#include <thread>

#include "ChildProcess.h"
#include "PrivateSoundServer.h"
#include "SoundServerParams.h"
#include "TimeCode.h"
#include "WavFile.h"

namespace sorix::testing {
namespace {

constexpr int kRate = 48000;

std::string contents(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::unique_ptr<ChildProcess> play(std::vector<std::string> arguments,
                                   const std::filesystem::path& log,
                                   const std::vector<std::string>& environment = {}) {
    arguments.insert(arguments.begin(), SORIX_TEST_PLAYER_PATH);
    return std::make_unique<ChildProcess>(arguments, log, environment);
}

class TestPlayerTest : public ::testing::TestWithParam<SoundServerKind> {
  protected:
    void SetUp() override {
        const std::string missing = server.missingPrograms({"parec"});
        if (!missing.empty()) GTEST_SKIP() << "needs " << missing;
        ASSERT_TRUE(server.start());
    }
    void TearDown() override {
        if (HasFailure()) std::cout << server.logs();
    }

    std::unique_ptr<ChildProcess> player(const std::vector<std::string>& arguments,
                                         const std::string& name) {
        return play(arguments, server.folder() / (name + ".log"));
    }
    // The sink input the player of that name said it plays, once it said so.
    std::optional<unsigned> streamOf(const std::string& name) {
        unsigned index = 0;
        if (!eventually(10, [&] {
                const std::string log = contents(server.folder() / (name + ".log"));
                return std::sscanf(log.c_str(), "playing %u", &index) == 1;
            }))
            return std::nullopt;
        return index;
    }
    std::string sinkOf(unsigned stream) {
        std::istringstream streams(server.output("pactl list short sink-inputs"));
        unsigned index = 0, sink = 0;
        for (std::string line; std::getline(streams, line);) {
            if (std::sscanf(line.c_str(), "%u %u", &index, &sink) != 2 || index != stream) continue;
            std::istringstream sinks(server.output("pactl list short sinks"));
            for (std::string row; std::getline(sinks, row);) {
                char name[256] = {};
                if (std::sscanf(row.c_str(), "%u %255s", &index, name) == 2 && index == sink)
                    return name;
            }
        }
        return {};
    }

  private:
    const std::unique_ptr<PrivateSoundServer> ownServer_ =
        PrivateSoundServer::create(GetParam(), PrivateSoundServer::imitatedDevices());

  protected:
    PrivateSoundServer& server = *ownServer_;
};

TEST_P(TestPlayerTest, PlaysAFileWholeOnTheSinkAsked) {
    const auto code = makeTimeCode(2.0, kRate, 8);
    const auto file = server.folder() / "code.wav";
    ASSERT_TRUE(writeWav(file, interleave(code, 2), 2, kRate));
    // The sink runs before the file starts, so that its monitor has no start of its own.
    const auto busy = player({"--silence", "--seconds", "12", "--sink", "plain"}, "silence");
    ASSERT_TRUE(streamOf("silence"));
    const auto recording = server.folder() / "recording.raw";
    ChildProcess recorder({"sh", "-c",
                           "exec parec --raw --format=float32le --rate=48000 --channels=2 "
                           "--latency-msec=20 -d plain.monitor > " +
                               shellQuoted(recording.string())},
                          server.folder() / "parec.log");
    ASSERT_TRUE(eventually(5, [&] { return !contents(recording).empty(); }));

    const auto played =
        player({"--file", file.string(), "--sink", "plain", "--latency-msec", "300"}, "file");
    const auto stream = streamOf("file");
    ASSERT_TRUE(stream.has_value());
    EXPECT_EQ(sinkOf(*stream), "plain");
    EXPECT_EQ(played->waitForExit(15), 0) << contents(server.folder() / "file.log");
    // What the sink played last is still on its way to the recorder.
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    recorder.signal(SIGTERM);
    recorder.waitForExit(5);

    const std::string bytes = contents(recording);
    std::vector<float> frames(bytes.size() / sizeof(float));
    std::memcpy(frames.data(), bytes.data(), frames.size() * sizeof(float));
    const TimeCodeAnalyser analyser(code);
    for (const int channel : {0, 1}) {
        const TimeCodeReport report = analyser.analyse(channelOf(frames, 2, channel));
        SCOPED_TRACE(describe(report));
        ASSERT_TRUE(report.heard());
        // A server may leave out a few milliseconds as a stream joins a running sink.
        EXPECT_LT(report.firstSourceFrame(), kRate / 20);
        EXPECT_EQ(report.lastSourceFrame(), static_cast<std::int64_t>(code.size()) - 1);
        EXPECT_EQ(report.segments.size(), 1u);
        EXPECT_TRUE(report.gaps.empty() && report.unmatched.empty());
    }
}

TEST_P(TestPlayerTest, KeepsAStreamThatMayNotMoveOnItsSink) {
    const auto movable = player({"--tone", "440", "--seconds", "15"}, "movable");
    const auto fixed =
        player({"--tone", "440", "--seconds", "15", "--dont-move", "--sink", "usb_dac"}, "fixed");
    const auto movableStream = streamOf("movable");
    const auto fixedStream = streamOf("fixed");
    ASSERT_TRUE(movableStream && fixedStream);
    EXPECT_EQ(sinkOf(*movableStream), "speakers");
    EXPECT_EQ(sinkOf(*fixedStream), "usb_dac");

    const auto move = [&](unsigned stream) {
        return server.run("pactl move-sink-input " + std::to_string(stream) + " headset");
    };
    EXPECT_EQ(move(*movableStream), 0);
    EXPECT_NE(move(*fixedStream), 0);
    // PipeWire's session manager may put a stream that has only just started back where it
    // was, once; asked again, it stays.
    EXPECT_TRUE(eventually(5, [&] {
        if (sinkOf(*movableStream) == "headset") return true;
        move(*movableStream);
        return false;
    }));
    EXPECT_EQ(sinkOf(*fixedStream), "usb_dac");
}

INSTANTIATE_TEST_SUITE_P(OnEachServer, TestPlayerTest, everySoundServer(), soundServerName);

class TestPlayerRefusalTest : public ::testing::Test {
  protected:
    void TearDown() override { std::filesystem::remove_all(folder_); }
    // The exit status of a player given these arguments, and what it said.
    int run(const std::vector<std::string>& arguments, std::string& said,
            const std::vector<std::string>& environment = {}) {
        const auto log = folder_ / "player.log";
        std::filesystem::remove(log);
        const auto status = play(arguments, log, environment)->waitForExit(10);
        said = contents(log);
        return status.value_or(-1);
    }
    const std::filesystem::path folder_ = [] {
        auto folder = std::filesystem::temp_directory_path() /
                      ("sorix-player-test-" + std::to_string(::getpid()));
        std::filesystem::create_directories(folder);
        return folder;
    }();
};

TEST_F(TestPlayerRefusalTest, EndsWithTwoOnAUsageErrorAndWithOneWhenItCannotPlay) {
    std::string said;
    EXPECT_EQ(run({"--seconds", "1"}, said), 2) << "no source: " << said;
    EXPECT_EQ(run({"--silence", "--tone", "440"}, said), 2) << "two sources: " << said;
    EXPECT_EQ(run({"--silence", "--loud"}, said), 2) << said;
    EXPECT_EQ(run({"--silence", "--sink"}, said), 2) << said;

    const auto file = folder_ / "cd.wav";
    ASSERT_TRUE(writeWav(file, std::vector<float>(44100, 0.0f), 1, 44100));
    EXPECT_EQ(run({"--file", file.string()}, said), 2) << "44.1 kHz: " << said;

    const std::string nowhere = "PULSE_SERVER=unix:" + (folder_ / "no-server").string();
    EXPECT_EQ(run({"--silence", "--seconds", "1"}, said, {nowhere}), 1) << said;
}

}  // namespace
}  // namespace sorix::testing
