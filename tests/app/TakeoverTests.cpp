// Taking every program's sound over, measured from the outside on a private PulseAudio and then a
// private PipeWire: new streams are boosted from their first sample, and streams that the tap
// cannot or need not hear are no reason to rebuild.
#include <algorithm>
#include <cmath>
#include <thread>

#include "SorixOnPrivateServer.h"

namespace sorix::testing {
namespace {

constexpr double kRate = 48000;
constexpr double kBurstLevel = 0.2;
constexpr double kBoost = 4.0;
constexpr int kBursts = 200;

// Where each burst of sound starts in a recording and how long it takes to reach the boosted
// level: a stream heard unboosted first (moved onto the tap after it had started) shows as a
// quiet stretch before it.
struct Onset {
    std::size_t start = 0;
    double unboostedMs = 0;
};

std::vector<Onset> onsets(const std::vector<float>& samples) {
    constexpr float kSound = 0.05f;  // above any noise, below a burst
    const auto boosted = static_cast<float>(kBurstLevel * kBoost * 0.6);  // above any leak
    const auto quietGap = static_cast<std::size_t>(0.015 * kRate);        // between two bursts
    std::vector<Onset> found;
    std::size_t lastSound = 0;
    bool inBurst = false;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        if (std::abs(samples[i]) < kSound) continue;
        if (!inBurst || i - lastSound > quietGap) {
            std::size_t loud = i;
            while (loud < samples.size() && std::abs(samples[loud]) < boosted)
                ++loud;
            found.push_back({i, static_cast<double>(loud - i) * 1000 / kRate});
        }
        inBurst = true;
        lastSound = i;
    }
    return found;
}

class TakeoverTest : public SorixOnPrivateServer {};

TEST_P(TakeoverTest, TwoHundredShortStreamsAreEachBoostedFromTheirFirstSample) {
    ASSERT_TRUE(makeSound("burst.wav", "synth 0.04 sine 1000 vol " + std::to_string(kBurstLevel)));
    storeSettings({{"volumeBoost", kBoost}, {"boostActive", true}, {"safeMode", false}});
    const auto sorix = startSorix();
    ASSERT_TRUE(logShows("pipeline alive")) << log();

    // One program after another, as notification sounds and short clips come.
    ChildProcess bursts({"sh", "-c",
                         "for i in $(seq " + std::to_string(kBursts) + "); do paplay " +
                             shellQuoted((server.folder() / "burst.wav").string()) + "; done"},
                        server.folder() / "bursts.log");
    std::vector<float> recorded;
    // Recorded in pieces until the last program is done, however slow the machine.
    while (bursts.running()) {
        // Both channels, as the sink has them: a server's own downmix to one may add them up.
        const auto piece = recordSink("speakers", 2, 5.0);
        ASSERT_TRUE(piece);
        for (std::size_t i = 0; i < piece->size(); i += 2)
            recorded.push_back((*piece)[i]);
    }
    const std::vector<Onset> found = onsets(recorded);
    // A piece boundary may cut a burst or hide one; nearly all of them are measured.
    EXPECT_GE(found.size(), static_cast<std::size_t>(kBursts * 0.9)) << log();
    const auto worst = std::max_element(
        found.begin(), found.end(), [](auto& a, auto& b) { return a.unboostedMs < b.unboostedMs; });
    ASSERT_NE(worst, found.end());
    EXPECT_LE(worst->unboostedMs, 2.0)
        << "a burst at " << worst->start / kRate << " s of " << recorded.size() / kRate << " s";
    const float peak =
        std::abs(*std::max_element(recorded.begin(), recorded.end(),
                                   [](float a, float b) { return std::abs(a) < std::abs(b); }));
    EXPECT_LE(peak, 0.97f + 1e-3f) << "an unboosted onset added to the limited output";
    terminate(*sorix);
}

TEST_P(TakeoverTest, AStreamThatMayNotMoveAndOneThatPlaysSilenceAreNoReasonToRebuild) {
    constexpr int kSeconds = 60;
    const std::string silence = (server.folder() / "silence.wav").string();
    const std::string tone = (server.folder() / "tone.wav").string();
    ASSERT_TRUE(makeSound("silence.wav", "trim 0 " + std::to_string(kSeconds + 5)));
    ASSERT_TRUE(
        makeSound("tone.wav", "synth " + std::to_string(kSeconds + 5) + " sine 440 vol 0.1"));
    storeSettings({{"volumeBoost", 2.0}, {"boostActive", true}, {"safeMode", false}});
    const auto sorix = startSorix();
    ASSERT_TRUE(logShows("pipeline alive")) << log();

    ChildProcess pinned({SORIX_TEST_PLAYER_PATH, "--dont-move", "--sink", "headset", "--file", tone,
                         "--seconds", std::to_string(kSeconds + 5)},
                        server.folder() / "pinned.log");
    ChildProcess silent({"paplay", silence}, server.folder() / "silent.log");
    ASSERT_TRUE(eventually(5, [&] {
        return sinkOfPlayer(pinned.pid()) == "headset" && !sinkOfPlayer(silent.pid()).empty();
    }));
    std::this_thread::sleep_for(std::chrono::seconds(kSeconds));
    EXPECT_EQ(sinkOfPlayer(pinned.pid()), "headset") << "a stream that may not move was moved";
    EXPECT_EQ(count("dead tap suspected"), 0) << log();
    EXPECT_EQ(count("state -> starting"), 1) << "rebuilt\n" << log();
    terminate(*sorix);
}

INSTANTIATE_TEST_SUITE_P(, TakeoverTest, everySoundServer(), soundServerName);

}  // namespace
}  // namespace sorix::testing
