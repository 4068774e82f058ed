// The latency bench's arithmetic on made-up recordings: where a recording starts on the clock,
// where the clicks are and which belong together, and what counts as a gap.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "MonitorMeasures.h"
#include "MonitorTimeline.h"

namespace sorix::bench {
namespace {

constexpr double kStartNs = 5e12;

// A stream that started at kStartNs and was read every `readFrames`, each read late by a random
// delay of up to `jitterNs` but with some reads on time, as a quiet server hands them over.
Recording readsEvery(std::size_t readFrames, double jitterNs, std::size_t reads) {
    Recording recording;
    std::mt19937 random(3);
    std::uniform_real_distribution<double> late(0.0, jitterNs);
    for (std::size_t i = 1; i <= reads; ++i) {
        const auto frames = static_cast<double>(i * readFrames);
        const double delay = i % 20 == 0 ? 0.0 : late(random);
        recording.reads.push_back({static_cast<uint64_t>(frames),
                                   static_cast<int64_t>(kStartNs + frames / kRate * 1e9 + delay)});
    }
    return recording;
}

TEST(MonitorTimelineTest, TheEarliestReadsOfEachSecondPlaceTheStartAndAnEarlyBurstDoesNot) {
    Recording recording = readsEvery(240, 3e6, 2000);  // 10 s of 5 ms reads, up to 3 ms late
    // The first read brings 100 ms at once, as if the server had them queued.
    recording.reads.front().frames += 4800;
    const StartTime start = startTime(recording, Alignment::arrival);
    EXPECT_NEAR(start.ns, kStartNs, 1e3);
    EXPECT_GE(start.estimates, 8u);
}

TEST(MonitorTimelineTest, ServerReportsCountWhatTheSinkRenderedAheadAsNotYetPlayed) {
    Recording recording;
    for (int i = 1; i <= 400; ++i) {  // every 25 ms for 10 s
        const double atNs = kStartNs + i * 25e6 + (i % 7) * 0.3e6;
        const double renderedAheadUs = 2000.0 + (i % 3) * 1000.0;
        // The server wrote what had played by `atNs`, plus what the sink rendered ahead.
        const double written = (atNs - kStartNs) / 1e9 * kRate + renderedAheadUs / 1e6 * kRate;
        recording.reports.push_back({static_cast<int64_t>(atNs / 1e3),
                                     static_cast<int64_t>(std::llround(written)), 0,
                                     static_cast<int64_t>(renderedAheadUs)});
    }
    recording.reads.push_back({0, static_cast<int64_t>(kStartNs)});
    const StartTime start = startTime(recording, Alignment::server);
    EXPECT_NEAR(start.ns, kStartNs, 30e3);  // a frame is 21 us
}

Recording withClicksAt(const std::vector<double>& seconds, double rise, double lengthSeconds) {
    Recording recording;
    recording.samples.assign(static_cast<std::size_t>(lengthSeconds * kRate) * kChannels, 0.0f);
    for (double at : seconds) {
        const auto first = static_cast<std::size_t>(std::ceil(at * kRate));
        // A ramp of `rise` frames to 0.5, held for 1 ms.
        for (std::size_t i = 0; i < 48 + static_cast<std::size_t>(rise); ++i) {
            const double level = std::min(0.5, 0.5 * (static_cast<double>(i) + 1.0) / (rise + 1.0));
            recording.samples[(first + i) * kChannels + 1] = static_cast<float>(level);
        }
    }
    return recording;
}

TEST(ClickTest, EdgesAreFoundHalfWayUpToAFractionOfAFrameAndRingingIsNotAClick) {
    Recording recording = withClicksAt({0.5, 1.0}, 2.0, 2.0);
    // Ringing 20 ms after the first click, inside the refractory time.
    recording.samples[(24000 + 960) * kChannels + 1] = 0.4f;
    const std::vector<double> edges = clickEdges(recording);
    ASSERT_EQ(edges.size(), 2u);
    // The ramp is at 1/6, 1/3, 1/2: half way up (0.25) lies half way between its first frames.
    EXPECT_NEAR(edges[0], 24000.5, 1e-6);
    EXPECT_NEAR(edges[1], 48000.5, 1e-6);
}

TEST(ClickTest, EachClickMatchesTheFirstOneInsideItsWindowAndOnlyOnce) {
    const std::vector<double> sent = {1.0, 1.5, 2.0, 3.0, 4.0, 4.1};
    const std::vector<double> passed = {
        1.0 - 0.004,  // just inside the earliest: an edge can look a little early
        1.5 + 0.479,  // just inside the latest
        2.0 + 0.481,  // just outside the latest: 2.0 is lost
        3.0 - 0.006,  // just outside the earliest: 3.0 is lost too
        4.15,         // 4.0's, and so not 4.1's as well
    };
    const auto delays = matchClicks(sent, passed, 10.0);
    ASSERT_EQ(delays.size(), 6u);
    EXPECT_FALSE(delays[0].lost);
    EXPECT_NEAR(delays[0].delaySeconds, -0.004, 1e-9);
    EXPECT_FALSE(delays[1].lost);
    EXPECT_NEAR(delays[1].delaySeconds, 0.479, 1e-9);
    EXPECT_TRUE(delays[2].lost);
    EXPECT_TRUE(delays[3].lost);
    EXPECT_FALSE(delays[4].lost);
    EXPECT_NEAR(delays[4].delaySeconds, 0.15, 1e-9);
    EXPECT_TRUE(delays[5].lost);
}

TEST(ClickTest, AClickWhoseWindowOutlastsTheRecordingIsNotCountedLost) {
    const auto delays = matchClicks({1.0, 2.0}, {1.02}, 2.479);
    ASSERT_EQ(delays.size(), 1u);
    EXPECT_FALSE(delays[0].lost);
    EXPECT_EQ(matchClicks({1.0, 2.0}, {1.02}, 2.48).size(), 2u);
}

// One second of the 1 kHz tone at 0.25 with holes at FLOOR_LEVEL. The tone crosses zero every
// 24 frames; the holes here stay clear of the crossings, so that none grows by a frame.
Recording toneWithHoles(const std::vector<std::pair<std::size_t, std::size_t>>& holes,
                        float floorLevel) {
    Recording recording;
    const std::size_t frames = 48000;
    recording.samples.resize(frames * kChannels);
    for (std::size_t frame = 0; frame < frames; ++frame)
        recording.samples[frame * kChannels] =
            0.25f *
            static_cast<float>(std::sin(2.0 * M_PI * 1000.0 * static_cast<double>(frame) / kRate));
    for (const auto& [first, length] : holes) {
        for (std::size_t frame = first; frame < first + length; ++frame)
            recording.samples[frame * kChannels] = frame % 2 == 0 ? floorLevel : -floorLevel;
    }
    return recording;
}

TEST(GapTest, TwoMillisecondsOfNearSilenceAreAGapAndOneFrameLessIsNot) {
    const Recording recording = toneWithHoles({{1000, 96}, {10000, 95}, {20000, 500}}, 0.009f);
    const std::vector<Gap> gaps = silentGaps(recording, 0);
    ASSERT_EQ(gaps.size(), 2u);
    EXPECT_EQ(gaps[0].firstFrame, 1000u);
    EXPECT_EQ(gaps[0].frames, 96u);
    EXPECT_EQ(gaps[1].firstFrame, 20000u);
    EXPECT_EQ(gaps[1].frames, 500u);
}

TEST(GapTest, TheFloorAndTheStartLeftOutDecide) {
    EXPECT_TRUE(silentGaps(toneWithHoles({{1000, 200}}, 0.011f), 0).empty());
    const Recording recording = toneWithHoles({{1006, 200}, {30000, 200}}, 0.0f);
    EXPECT_EQ(silentGaps(recording, 0).size(), 2u);
    // What is left of a hole after the start still counts, if long enough.
    EXPECT_EQ(silentGaps(recording, 1110).size(), 2u);
    EXPECT_EQ(silentGaps(recording, 1111).size(), 1u);
    // A tone alone, zero crossings and all, has none.
    EXPECT_TRUE(silentGaps(toneWithHoles({}, 0.0f), 0).empty());
}

}  // namespace
}  // namespace sorix::bench
