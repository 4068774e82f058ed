// What a listener keeps of a program's sound while Sorix takes it over and changes outputs,
// measured with a time-coded signal on a private PulseAudio and then a private PipeWire: every
// stretch of the recording is found in the signal, so lost content, gaps and unboosted sound
// show to the millisecond.
#include <algorithm>
#include <cmath>
#include <fstream>
#include <thread>

#include "SorixOnPrivateServer.h"
#include "TimeCode.h"
#include "WavFile.h"

namespace sorix::testing {
namespace {

constexpr int kRate = 48000;
constexpr double kBoost = 2.0;
constexpr double kMostLostAtASwitchMs = 120;

// A sink's monitor recorded into a file until the object goes.
class MonitorRecorder {
  public:
    MonitorRecorder(const std::filesystem::path& folder, const std::string& sink)
        : file_(folder / (sink + ".raw")),
          parec_({"sh", "-c",
                  "exec parec --raw --format=float32le --rate=48000 --channels=2 --latency-msec=5 "
                  "--device=" +
                      sink + ".monitor >" + shellQuoted(file_.string())},
                 folder / (sink + ".parec.log")) {}

    // The left channel of what was recorded; the recorder stops first.
    std::vector<float> stop() {
        parec_.signal(SIGTERM);
        parec_.waitForExit(5);
        std::ifstream in(file_, std::ios::binary);
        std::vector<float> interleaved;
        float frame[2];
        while (in.read(reinterpret_cast<char*>(frame), sizeof frame))
            interleaved.push_back(frame[0]);
        return interleaved;
    }

  private:
    std::filesystem::path file_;
    ChildProcess parec_;
};

// How long the recording plays the signal at less than the boost, from the first boosted
// stretch on: unboosted sound after Sorix has taken the stream over.
double unboostedAfterTakeoverMs(const TimeCodeReport& report, std::span<const float> recording,
                                std::span<const float> source) {
    constexpr std::int64_t kWindow = kRate / 200;  // 5 ms
    bool boostedYet = false;
    std::int64_t unboosted = 0;
    for (const TimeCodeSegment& segment : report.segments) {
        for (std::int64_t at = 0; at + kWindow <= segment.frames; at += kWindow) {
            double heard = 0, played = 0;
            for (std::int64_t i = 0; i < kWindow; ++i) {
                const double r =
                    recording[static_cast<std::size_t>(segment.recordingStart + at + i)];
                const double s = source[static_cast<std::size_t>(segment.sourceStart + at + i)];
                heard += r * r;
                played += s * s;
            }
            const bool boosted = heard > played * (kBoost * 0.75) * (kBoost * 0.75);
            boostedYet = boostedYet || boosted;
            if (boostedYet && !boosted) unboosted += kWindow;
        }
    }
    return unboosted * 1000.0 / kRate;
}

class ContentTest : public SorixOnPrivateServer {
  protected:
    void SetUp() override {
        SorixOnPrivateServer::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        // Without a microphone the server makes the default output's monitor its default input,
        // and moves the recorders on it along whenever the default output changes: those of
        // this test would follow the tap. A default input of its own keeps them where they are.
        ASSERT_EQ(server.run("pactl set-default-source plain.monitor"), 0);
    }

    // The time code, written where the players find it.
    std::vector<float> timeCode(double seconds) {
        std::vector<float> code = makeTimeCode(seconds, kRate);
        EXPECT_TRUE(writeWav(server.folder() / "code.wav", interleave(code, 2), 2, kRate));
        return code;
    }
};

TEST_P(ContentTest, StartingWhileMusicPlaysLosesAtMostATenthOfASecondOfIt) {
    const std::vector<float> code = timeCode(12);
    storeSettings({{"volumeBoost", kBoost}, {"boostActive", true}, {"safeMode", false}});
    MonitorRecorder speakers(server.folder(), "speakers");
    const auto player = play("code.wav");
    std::this_thread::sleep_for(std::chrono::seconds(2));
    const auto sorix = startSorix();
    ASSERT_TRUE(logShows("pipeline alive")) << log();
    std::this_thread::sleep_for(std::chrono::seconds(4));
    const std::vector<float> recording = speakers.stop();

    const TimeCodeReport report = TimeCodeAnalyser(code).analyse(recording);
    ASSERT_TRUE(report.heard());
    std::cout << "lost at the start: " << report.milliseconds(report.lostFrames()) << " ms\n";
    EXPECT_LE(report.milliseconds(report.lostFrames()), 100) << describe(report);
    EXPECT_LE(unboostedAfterTakeoverMs(report, recording, code), 20) << describe(report);
    terminate(*sorix);
}

TEST_P(ContentTest, SwitchingTheDefaultOutputKeepsTheStreamAndItsQueue) {
    const std::vector<float> code = timeCode(20);
    storeSettings({{"volumeBoost", kBoost}, {"boostActive", true}, {"safeMode", false}});
    const auto sorix = startSorix();
    ASSERT_TRUE(logShows("pipeline alive")) << log();
    MonitorRecorder speakers(server.folder(), "speakers");
    MonitorRecorder dac(server.folder(), "usb_dac");
    const auto player = play("code.wav");
    for (const char* output : {"usb_dac", "speakers", "usb_dac", "speakers"}) {
        std::this_thread::sleep_for(std::chrono::seconds(3));
        ASSERT_EQ(server.run(std::string("pactl set-default-sink ") + output), 0);
    }
    std::this_thread::sleep_for(std::chrono::seconds(3));
    const std::vector<float> onSpeakers = speakers.stop();
    const std::vector<float> onDac = dac.stop();

    // What either output played, by source position.
    const TimeCodeAnalyser analyser(code);
    const TimeCodeReport first = analyser.analyse(onSpeakers);
    const TimeCodeReport second = analyser.analyse(onDac);
    std::vector<std::pair<std::int64_t, std::int64_t>> heard;
    for (const TimeCodeReport* report : {&first, &second}) {
        for (const TimeCodeSegment& segment : report->segments)
            heard.emplace_back(segment.sourceStart, segment.sourceEnd);
    }
    ASSERT_FALSE(heard.empty());
    std::sort(heard.begin(), heard.end());
    std::int64_t lost = 0, reached = heard.front().second;
    for (const auto& [start, end] : heard) {
        if (start > reached) lost += start - reached;
        reached = std::max(reached, end);
    }
    // The tap and the stream stay where they are, so the stream's own queue is never lost;
    // what a switch still loses is what the tap plays while one output's pipeline gives way to
    // the next, and on PulseAudio what the new default's sink drops of the stream while the
    // server moves it there for a moment before Sorix takes the default back: a few tens of
    // milliseconds.
    std::cout << "lost over four switches: " << lost * 1000.0 / kRate << " ms\n";
    EXPECT_LE(lost * 1000.0 / kRate, 4 * kMostLostAtASwitchMs) << "speakers:\n"
                                                               << describe(first) << "usb_dac:\n"
                                                               << describe(second) << log();
    terminate(*sorix);
}

INSTANTIATE_TEST_SUITE_P(, ContentTest, everySoundServer(), soundServerName);

}  // namespace
}  // namespace sorix::testing
