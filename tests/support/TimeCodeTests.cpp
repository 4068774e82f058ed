#include <gtest/gtest.h>

#include <cmath>
#include <ctime>

#include "TimeCode.h"
#include "TimeCodeRecording.h"

namespace sorix::testing {
namespace {

class TimeCodeAnalysisTest : public ::testing::Test {
  protected:
    static const std::vector<float>& source() {
        static const auto signal = makeTimeCode(10.0, kRate, 7);
        return signal;
    }
    static std::int64_t sourceFrames() { return static_cast<std::int64_t>(source().size()); }
    static TimeCodeReport analyse(Recording& recording) {
        static const TimeCodeAnalyser analyser(source());
        return analyser.analyse(recording.samples());
    }
    static Recording recording() { return Recording(source()); }

    static void expectClean(const TimeCodeReport& report) {
        EXPECT_TRUE(report.segments.size() == 1 && report.gaps.empty() && report.skips.empty() &&
                    report.repeats.empty() && report.unmatched.empty())
            << describe(report);
    }
};

// Equalised with the shelves up and down, then boosted into saturation.
void process(Recording& recording) {
    shelve(recording.samples(), 200, 6, false);
    shelve(recording.samples(), 4000, -6, true);
    saturate(recording.samples(), 3);
}

TEST_F(TimeCodeAnalysisTest, PlacesARecordingThatStartsAndEndsInsideTheSignal) {
    auto middle = recording().play(59232, 400000, 0.8);
    const TimeCodeReport report = analyse(middle);
    expectClean(report);
    ASSERT_TRUE(report.heard()) << describe(report);
    EXPECT_EQ(report.firstSourceFrame(), 59232);
    EXPECT_EQ(report.firstHeardAt(), 0);
    EXPECT_EQ(report.lastSourceFrame(), 399999);
    EXPECT_EQ(report.lastHeardAt(), middle.size() - 1);
}

// The source's last moments come after a gap: less of it than half of what a search compares,
// then silence.
TEST_F(TimeCodeAnalysisTest, PlacesBothEndsAndTheGapBeforeTheLastMomentsEvenWhenEqualised) {
    const std::int64_t tail = 200;
    for (const bool equalised : {false, true}) {
        SCOPED_TRACE(equalised ? "bass up, treble down, boosted and limited" : "as it was played");
        auto ending = recording()
                          .play(0, sourceFrames() - tail)
                          .silence(frames(30))
                          .play(sourceFrames() - tail, sourceFrames())
                          .silence(frames(1000));
        if (equalised) process(ending);
        const TimeCodeReport report = analyse(ending);
        ASSERT_TRUE(report.heard()) << describe(report);
        ASSERT_EQ(report.gaps.size(), 1u) << describe(report);
        EXPECT_TRUE(report.skips.empty() && report.repeats.empty() && report.unmatched.empty())
            << describe(report);
        // The equaliser's delay rounds to a frame either way and it starts from rest, so its
        // first frames are not yet the source's shape; where it meets silence it rings on and
        // blurs the end by some frames.
        const std::int64_t blur = equalised ? 1 : 0;
        EXPECT_LE(report.firstSourceFrame(), 3 * blur);
        EXPECT_NEAR(report.firstHeardAt(), report.firstSourceFrame(), blur);
        EXPECT_NEAR(report.lastSourceFrame(), sourceFrames() - 1, blur * frames(0.25));
        EXPECT_NEAR(report.gaps[0].frames, frames(30), 2 * blur);
        if (!equalised) {
            EXPECT_EQ(report.lastHeardAt(), sourceFrames() + frames(30) - 1);
        }
    }
}

TEST_F(TimeCodeAnalysisTest, FollowsTheSourceThroughBoostLimitingAndEqualising) {
    {
        SCOPED_TRACE("a gain rising from one to four, saturated");
        auto rising = recording().silence(frames(40));
        for (std::int64_t n = 0; n < sourceFrames(); n += 4800)
            rising.play(n, n + 4800, 1 + 3.0 * n / sourceFrames());
        rising.silence(frames(40));
        saturate(rising.samples(), 1);
        const TimeCodeReport report = analyse(rising);
        expectClean(report);
        ASSERT_TRUE(report.heard()) << describe(report);
        EXPECT_EQ(report.firstHeardAt(), frames(40));
        EXPECT_EQ(report.lastSourceFrame(), sourceFrames() - 1);
    }
    {
        SCOPED_TRACE("bass down, treble up, with a cut and a gap");
        const std::int64_t at = 300001;
        auto shaped = recording()
                          .play(0, at)
                          .play(at + frames(100), 400000)
                          .silence(frames(50))
                          .play(400000, sourceFrames());
        shelve(shaped.samples(), 200, -6, false);
        shelve(shaped.samples(), 4000, 6, true);
        saturate(shaped.samples(), 2);
        const TimeCodeReport report = analyse(shaped);
        ASSERT_EQ(report.skips.size(), 1u) << describe(report);
        EXPECT_NEAR(report.skips[0].frames(), frames(100), 1);
        ASSERT_EQ(report.gaps.size(), 1u) << describe(report);
        EXPECT_NEAR(report.gaps[0].frames, frames(50), 2);
        EXPECT_TRUE(report.repeats.empty() && report.unmatched.empty()) << describe(report);
    }
    {
        SCOPED_TRACE("3 ms silenced, which the equaliser's ringing fills");
        const std::int64_t at = 222222;
        auto shaped =
            recording().play(0, at).silence(frames(3)).play(at + frames(3), sourceFrames());
        process(shaped);
        const TimeCodeReport report = analyse(shaped);
        ASSERT_EQ(report.gaps.size(), 1u) << describe(report);
        EXPECT_NEAR(report.gaps[0].recordingStart, at, 2);
        EXPECT_NEAR(report.gaps[0].frames, frames(3), 4);
        ASSERT_EQ(report.skips.size(), 1u) << describe(report);
        EXPECT_NEAR(report.lostFrames(), frames(3), 4);
        EXPECT_TRUE(report.repeats.empty() && report.unmatched.empty()) << describe(report);
    }
}

TEST_F(TimeCodeAnalysisTest, HearsNothingInSilenceAndNothingKnownInOtherSound) {
    auto silent = recording().silence(frames(3000));
    const TimeCodeReport silence = analyse(silent);
    EXPECT_FALSE(silence.heard());
    EXPECT_TRUE(silence.gaps.empty() && silence.unmatched.empty()) << describe(silence);

    auto other = recording().otherSound(frames(3000));
    const TimeCodeReport foreign = analyse(other);
    EXPECT_FALSE(foreign.heard()) << describe(foreign);
    EXPECT_EQ(foreign.unmatchedFrames(), frames(3000));
}

// Silence inserted before source frame `at` delays the source; silence in place of source
// frames loses them as well. Either is a gap from 24 frames on, and 23 are nothing at all.
TEST_F(TimeCodeAnalysisTest, CallsSilenceAGapFromHalfAMillisecondAndBelowMinusSixtyDecibels) {
    const std::int64_t at = 150011;
    for (const bool replaces : {false, true}) {
        for (const std::int64_t silent : {24, 23}) {
            SCOPED_TRACE(::testing::Message() << silent
                                              << (replaces ? " frames of the source silenced"
                                                           : " frames of silence inserted"));
            auto copy = recording().play(0, at).silence(silent).play(replaces ? at + silent : at,
                                                                     sourceFrames());
            const TimeCodeReport report = analyse(copy);
            const bool gap = silent >= 24;
            ASSERT_EQ(report.gaps.size(), gap ? 1u : 0u) << describe(report);
            if (gap) {
                EXPECT_EQ(report.gaps[0].recordingStart, at);
                EXPECT_EQ(report.gaps[0].frames, silent);
            }
            EXPECT_EQ(report.lostFrames(), gap && replaces ? silent : 0) << describe(report);
            EXPECT_TRUE(report.repeats.empty() && report.unmatched.empty()) << describe(report);
        }
    }
    // A hum at -60 dBFS RMS: just under is silence, just over is other sound.
    for (const float level : {0.00095f, 0.00105f}) {
        SCOPED_TRACE(level);
        auto hummed = recording().play(0, at).hum(frames(50), level).play(at, sourceFrames());
        const TimeCodeReport report = analyse(hummed);
        const bool silence = level < 0.001f;
        EXPECT_EQ(report.gaps.size() + report.unmatched.size(), 1u) << describe(report);
        EXPECT_EQ(report.gapFrames(), silence ? frames(50) : 0) << describe(report);
        EXPECT_NEAR(report.unmatchedFrames(), silence ? 0 : frames(50), 1) << describe(report);
    }
}

TEST_F(TimeCodeAnalysisTest, TakesAOneFrameJumpForDriftAndTwoForASkipOrARepeat) {
    const std::int64_t at = 345679;
    auto drift = recording().play(0, at).play(at + 1, sourceFrames());
    const TimeCodeReport drifted = analyse(drift);
    ASSERT_EQ(drifted.segments.size(), 1u) << describe(drifted);
    EXPECT_TRUE(drifted.skips.empty());
    const TimeCodeSegment& segment = drifted.segments[0];
    EXPECT_EQ(segment.sourceEnd - segment.sourceStart, segment.frames + 1);

    for (const std::int64_t jump : {2, -2}) {
        SCOPED_TRACE(jump);
        auto jumped = recording().play(0, at).play(at + jump, sourceFrames());
        const TimeCodeReport report = analyse(jumped);
        const std::vector<TimeCodeJump>& found = jump > 0 ? report.skips : report.repeats;
        ASSERT_EQ(found.size(), 1u) << describe(report);
        EXPECT_EQ(report.skips.size() + report.repeats.size(), 1u) << describe(report);
        EXPECT_EQ(found[0].recordingPosition, at);
        EXPECT_EQ(found[0].sourceFrom, at);
        EXPECT_EQ(found[0].sourceTo, at + jump);
    }
}

TEST_F(TimeCodeAnalysisTest, ReportsEveryFaultOfARoughPlaybackInOrder) {
    // Underruns, a drop, a stutter and a burst of other sound in one recording.
    auto rough = recording()
                     .silence(frames(700))
                     .play(0, 48000)
                     .silence(frames(20))
                     .play(48000, 96000)
                     .play(96000 + frames(30), 200000)
                     .play(200000 - frames(10), 300000);
    const std::int64_t burst = rough.size();
    rough.otherSound(frames(40))
        .play(300000 + frames(40), 350000)
        .silence(frames(1000))
        .play(350000 + frames(1000), sourceFrames())
        .silence(frames(500));
    const TimeCodeReport report = analyse(rough);
    ASSERT_EQ(report.gaps.size(), 2u) << describe(report);
    EXPECT_EQ(report.gaps[0].frames, frames(20));
    EXPECT_EQ(report.gaps[1].frames, frames(1000));
    ASSERT_EQ(report.skips.size(), 3u) << describe(report);
    EXPECT_EQ(report.skips[0].frames(), frames(30));
    EXPECT_NEAR(report.skips[1].frames(), frames(40), frames(1));
    EXPECT_EQ(report.skips[2].frames(), frames(1000));
    ASSERT_EQ(report.repeats.size(), 1u) << describe(report);
    EXPECT_EQ(report.repeats[0].frames(), frames(10));
    ASSERT_EQ(report.unmatched.size(), 1u) << describe(report);
    // Other sound like the source's can resemble it over a millisecond or so.
    EXPECT_NEAR(report.unmatched[0].recordingStart, burst, frames(2));
    EXPECT_NEAR(report.unmatched[0].frames, frames(40), frames(2));
    EXPECT_EQ(report.firstHeardAt(), frames(700));
    EXPECT_EQ(report.lastSourceFrame(), sourceFrames() - 1);
}

TEST(TimeCodePauseTest, SilenceWhereTheSourceFallsSilentIsNoGap) {
    auto paused = makeTimeCode(3.0, kRate, 4);
    std::fill(paused.begin() + frames(1000), paused.begin() + frames(1200), 0.0f);
    const TimeCodeAnalyser analyser(paused);
    Recording copy(paused);
    copy.silence(frames(100)).play(0, static_cast<std::int64_t>(paused.size()), 2);
    const TimeCodeReport report = analyser.analyse(copy.samples());
    ASSERT_EQ(report.segments.size(), 1u) << describe(report);
    EXPECT_TRUE(report.gaps.empty() && report.skips.empty()) << describe(report);

    // Where the recording falls silent while the source plays on, it is a gap again.
    Recording cut(paused);
    cut.play(0, frames(1100)).silence(frames(300)).play(frames(1400), frames(3000));
    const TimeCodeReport gapped = analyser.analyse(cut.samples());
    ASSERT_EQ(gapped.gaps.size(), 1u) << describe(gapped);
    EXPECT_EQ(gapped.gaps[0].recordingStart, frames(1200));
    EXPECT_EQ(gapped.gaps[0].frames, frames(200));
}

TEST(TimeCodeSpeedTest, AnalysesAMinuteWithFaultsInWellUnderASecondOfProcessorTime) {
    const auto source = makeTimeCode(60.0, kRate, 3);
    Recording faulty(source);
    faulty.silence(frames(500)).play(0, 1000000).silence(frames(30)).play(1000000, 2000000);
    faulty.play(2100000, 2500000).otherSound(frames(200)).play(2500000 + frames(200), 2880000);
    const std::clock_t started = std::clock();
    const TimeCodeAnalyser analyser(source);
    const TimeCodeReport report = analyser.analyse(faulty.samples());
    const double seconds = static_cast<double>(std::clock() - started) / CLOCKS_PER_SEC;
    EXPECT_EQ(report.gaps.size(), 1u);
    EXPECT_EQ(report.skips.size(), 2u) << describe(report);
    EXPECT_EQ(report.unmatched.size(), 1u);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    EXPECT_LT(seconds, 1.0);
#endif
    RecordProperty("processor_seconds", std::to_string(seconds));
}

}  // namespace
}  // namespace sorix::testing
