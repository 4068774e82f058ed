// The drift bench's sine tracking on made-up recordings: a sine played a little fast, with a skip
// and a gap cut into it, as a pipeline would.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "SineTrack.h"

namespace sorix::bench {
namespace {

constexpr double kFrequency = 47;

// `seconds` of a 0.25 sine whose source runs `ppm` faster than the recording; from frame `skipAt`
// on the source is `skip` frames further ahead, and from `gapAt` on `gap` frames of silence hold
// it back.
Recording sine(double seconds, double ppm, std::size_t skipAt = 0, double skip = 0,
               std::size_t gapAt = 0, std::size_t gap = 0) {
    Recording recording;
    const auto frames = static_cast<std::size_t>(seconds * kRate);
    double source = 0;
    for (std::size_t n = 0; n < frames; ++n) {
        if (skipAt > 0 && n == skipAt) source += skip;
        float value = 0;
        if (gap > 0 && n >= gapAt && n < gapAt + gap) {
            value = 0;
        } else {
            value = static_cast<float>(
                0.25 * std::cos(2 * std::numbers::pi * kFrequency * source / kRate));
            source += 1 + ppm * 1e-6;
        }
        recording.samples.push_back(value);
        recording.samples.push_back(value);
    }
    return recording;
}

TEST(SineTrackTest, ASmoothRunHasNoDiscontinuityAndShowsItsDrift) {
    for (const double ppm : {0.0, 200.0, -500.0}) {
        SCOPED_TRACE(ppm);
        const auto blocks = trackSine(sine(20, ppm), 0, kFrequency, 0);
        EXPECT_TRUE(discontinuities(blocks).empty());
        EXPECT_NEAR(driftPpm(blocks), ppm, 1.0);
    }
}

TEST(SineTrackTest, FindsEverySkipAndGapDownToASingleFrameAndSaysHowFar) {
    // A skip of one frame is four times the tolerance; a tenth of a frame is within it.
    const auto one = discontinuities(trackSine(sine(10, 200, 200'000, 1.0), 0, kFrequency, 0));
    ASSERT_EQ(one.size(), 1u);
    EXPECT_NEAR(one[0].frames, 1.0, 0.1);
    EXPECT_NEAR(static_cast<double>(one[0].frame), 200'000, 4096);
    EXPECT_TRUE(discontinuities(trackSine(sine(10, 200, 200'000, 0.1), 0, kFrequency, 0)).empty());

    // Half a period (10 ms at 47 Hz) shows whole, as does 2 ms of silence.
    const auto both =
        discontinuities(trackSine(sine(10, 0, 100'000, 500, 300'000, 96), 0, kFrequency, 0));
    ASSERT_EQ(both.size(), 2u);
    EXPECT_NEAR(both[0].frames, 500, 0.5);
    EXPECT_NEAR(both[1].frames, -96, 0.5);
}

// `seconds` of a steady 0.25 sine whose frame n plays the source's frame n + `first`.
Recording steadySine(double seconds, double first) {
    Recording recording;
    for (std::size_t n = 0; n < static_cast<std::size_t>(seconds * kRate); ++n) {
        const auto value =
            static_cast<float>(0.25 * std::cos(2 * std::numbers::pi * kFrequency *
                                               (static_cast<double>(n) + first) / kRate));
        recording.samples.push_back(value);
        recording.samples.push_back(value);
    }
    return recording;
}

TEST(SineTrackTest, TheOffsetBetweenTwoRecordingsIsTheSoundsNotTheRecordingsStarts) {
    // `to` starts 1000 frames after `from` (not a whole block) and its sink plays `delay` frames
    // behind; `from` is followed from a frame that is no whole block either.
    constexpr double started = 1000;
    const auto from = trackSine(steadySine(10, 0), 0, kFrequency, 100'000);
    for (const double delay : {0.0, 48.0, -20.0}) {
        SCOPED_TRACE(delay);
        const auto to = trackSine(steadySine(10, started - delay), 0, kFrequency, 0);
        const auto offsets = offsetsBehind(from, to, started, kFrequency);
        ASSERT_GT(offsets.size(), 100u);
        for (const double offset : offsets)
            ASSERT_NEAR(offset, delay, 0.05);
    }
}

}  // namespace
}  // namespace sorix::bench
