// The drift bench's sine tracking on made-up recordings: a sine played a little fast, with a skip
// and a gap cut into it, as a pipeline would.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "SineTrack.h"

namespace sorix::bench {
namespace {

constexpr double kFrequency = 47;

// `seconds` of a 0.25 sine whose source runs `ppm` faster than the recording, and `ppmLater`
// faster from frame `changeAt` on; from frame `skipAt` on the source is `skip` frames further
// ahead, and from `gapAt` on `gap` frames of silence hold it back.
struct Run {
    double seconds = 10;
    double ppm = 0;
    std::size_t skipAt = 0;
    double skip = 0;
    std::size_t gapAt = 0;
    std::size_t gap = 0;
    std::size_t changeAt = 0;
    double ppmLater = 0;
};

Recording sine(const Run& run) {
    Recording recording;
    const auto frames = static_cast<std::size_t>(run.seconds * kRate);
    double source = 0;
    for (std::size_t n = 0; n < frames; ++n) {
        if (run.skipAt > 0 && n == run.skipAt) source += run.skip;
        float value = 0;
        if (run.gap > 0 && n >= run.gapAt && n < run.gapAt + run.gap) {
            value = 0;
        } else {
            value = static_cast<float>(
                0.25 * std::cos(2 * std::numbers::pi * kFrequency * source / kRate));
            const double ppm = run.changeAt > 0 && n >= run.changeAt ? run.ppmLater : run.ppm;
            source += 1 + ppm * 1e-6;
        }
        recording.samples.push_back(value);
        recording.samples.push_back(value);
    }
    return recording;
}

std::vector<Discontinuity> found(const Run& run) {
    return discontinuities(trackSine(sine(run), 0, kFrequency, 0));
}

TEST(SineTrackTest, ASmoothRunHasNoDiscontinuityAndShowsItsDrift) {
    for (const double ppm : {0.0, 200.0, -500.0}) {
        SCOPED_TRACE(ppm);
        const auto blocks = trackSine(sine({.seconds = 20, .ppm = ppm}), 0, kFrequency, 0);
        EXPECT_TRUE(discontinuities(blocks).empty());
        EXPECT_NEAR(driftPpm(blocks), ppm, 1.0);
    }
    // A follower's steps of rate, from one bound to the other, wherever they fall in a block.
    for (const std::size_t at : {200'000u, 200'256u, 200'512u, 200'900u}) {
        SCOPED_TRACE(at);
        EXPECT_TRUE(found({.ppm = -500, .changeAt = at, .ppmLater = 500}).empty());
    }
}

TEST(SineTrackTest, FindsEverySkipAndGapDownToASingleFrameAndSaysHowFar) {
    // A skip of one frame, wherever it falls in a block, is twice the tolerance.
    for (const std::size_t at : {200'000u, 200'256u, 200'512u, 200'900u}) {
        SCOPED_TRACE(at);
        const auto one = found({.ppm = 200, .skipAt = at, .skip = 1.0});
        ASSERT_EQ(one.size(), 1u);
        EXPECT_NEAR(one[0].frames, 1.0, 0.1);
        EXPECT_NEAR(static_cast<double>(one[0].frame), static_cast<double>(at), 2048);
    }
    // Just over the tolerance is found, just under it is not.
    for (const std::size_t at : {200'000u, 200'512u}) {
        SCOPED_TRACE(at);
        EXPECT_EQ(found({.ppm = 200, .skipAt = at, .skip = 0.6}).size(), 1u);
        EXPECT_TRUE(found({.ppm = 200, .skipAt = at, .skip = 0.4}).empty());
    }

    // Half a period (10 ms at 47 Hz) shows whole, as does 2 ms of silence.
    const auto both = found({.skipAt = 100'000, .skip = 500, .gapAt = 300'000, .gap = 96});
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
