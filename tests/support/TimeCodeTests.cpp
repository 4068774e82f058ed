#include <gtest/gtest.h>

#include <cmath>
#include <ctime>
#include <numbers>

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
        EXPECT_EQ(report.segments.size(), 1u);
        EXPECT_TRUE(report.gaps.empty());
        EXPECT_TRUE(report.skips.empty());
        EXPECT_TRUE(report.repeats.empty());
        EXPECT_TRUE(report.unmatched.empty());
    }
};

TEST_F(TimeCodeAnalysisTest, FindsAnUntouchedCopyToTheFrameBehindSilenceAndAtAGain) {
    auto copy = recording().silence(frames(300)).play(0, sourceFrames(), 2.5).silence(frames(200));
    const TimeCodeReport report = analyse(copy);
    expectClean(report);
    ASSERT_TRUE(report.heard()) << describe(report);
    EXPECT_EQ(report.firstSourceFrame(), 0);
    EXPECT_EQ(report.firstHeardAt(), frames(300));
    EXPECT_EQ(report.lastSourceFrame(), sourceFrames() - 1);
    EXPECT_EQ(report.lastHeardAt(), frames(300) + sourceFrames() - 1) << describe(report);
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

// Equalised with the shelves up and down, then boosted into saturation.
void process(Recording& recording) {
    shelve(recording.samples(), 200, 6, false);
    shelve(recording.samples(), 4000, -6, true);
    saturate(recording.samples(), 3);
}

TEST_F(TimeCodeAnalysisTest, FindsTheLastMomentsOfTheSourceAfterAGap) {
    // Less of the source than half of what a search compares, the rest silence.
    const std::int64_t tail = 200;
    const auto ending = [&] {
        return recording()
            .play(0, sourceFrames() - tail)
            .silence(frames(30))
            .play(sourceFrames() - tail, sourceFrames())
            .silence(frames(1000));
    };
    {
        SCOPED_TRACE("as it was played");
        auto played = ending();
        const TimeCodeReport report = analyse(played);
        ASSERT_TRUE(report.heard()) << describe(report);
        EXPECT_EQ(report.lastSourceFrame(), sourceFrames() - 1);
        EXPECT_EQ(report.lastHeardAt(), sourceFrames() + frames(30) - 1);
        ASSERT_EQ(report.gaps.size(), 1u) << describe(report);
        EXPECT_EQ(report.gaps[0].frames, frames(30));
        EXPECT_TRUE(report.skips.empty() && report.unmatched.empty()) << describe(report);
    }
    {
        SCOPED_TRACE("equalised, ringing into the gap");
        auto shaped = ending();
        process(shaped);
        const TimeCodeReport report = analyse(shaped);
        ASSERT_TRUE(report.heard()) << describe(report);
        // Where equalised sound meets silence, the end is blurred by some frames.
        EXPECT_NEAR(report.lastSourceFrame(), sourceFrames() - 1, frames(0.25));
        ASSERT_EQ(report.gaps.size(), 1u) << describe(report);
        EXPECT_NEAR(report.gaps[0].frames, frames(30), 2);
        EXPECT_TRUE(report.skips.empty() && report.unmatched.empty()) << describe(report);
    }
}

TEST_F(TimeCodeAnalysisTest, MeasuresLostAndRepeatedSourceToTheFrame) {
    const std::int64_t at = 123457;
    {
        SCOPED_TRACE("a cut of 100 ms");
        auto cut = recording().play(0, at).play(at + frames(100), sourceFrames());
        const TimeCodeReport report = analyse(cut);
        ASSERT_EQ(report.skips.size(), 1u) << describe(report);
        EXPECT_EQ(report.skips[0].recordingPosition, at);
        EXPECT_EQ(report.skips[0].sourceFrom, at);
        EXPECT_EQ(report.skips[0].frames(), frames(100));
        EXPECT_EQ(report.milliseconds(report.lostFrames()), 100.0);
        EXPECT_TRUE(report.gaps.empty() && report.repeats.empty() && report.unmatched.empty());
        EXPECT_EQ(report.segments.size(), 2u);
    }
    {
        SCOPED_TRACE("200 ms played again");
        auto repeat = recording().play(0, at).play(at - frames(200), sourceFrames());
        const TimeCodeReport report = analyse(repeat);
        ASSERT_EQ(report.repeats.size(), 1u) << describe(report);
        EXPECT_EQ(report.repeats[0].recordingPosition, at);
        EXPECT_EQ(report.repeats[0].sourceTo, at - frames(200));
        EXPECT_EQ(report.repeats[0].frames(), frames(200));
        EXPECT_TRUE(report.gaps.empty() && report.skips.empty() && report.unmatched.empty());
        EXPECT_EQ(report.lastSourceFrame(), sourceFrames() - 1);
    }
}

TEST_F(TimeCodeAnalysisTest, TellsASilenceThatDelaysTheSourceFromOneThatReplacesIt) {
    const std::int64_t at = 200003;
    {
        SCOPED_TRACE("50 ms of silence inserted");
        auto delayed = recording().play(0, at).silence(frames(50)).play(at, sourceFrames());
        const TimeCodeReport report = analyse(delayed);
        ASSERT_EQ(report.gaps.size(), 1u) << describe(report);
        EXPECT_EQ(report.gaps[0].recordingStart, at);
        EXPECT_EQ(report.gaps[0].frames, frames(50));
        EXPECT_TRUE(report.skips.empty() && report.repeats.empty() && report.unmatched.empty())
            << describe(report);
        EXPECT_EQ(report.lastSourceFrame(), sourceFrames() - 1);
    }
    {
        SCOPED_TRACE("50 ms of the source silenced");
        auto replaced =
            recording().play(0, at).silence(frames(50)).play(at + frames(50), sourceFrames());
        const TimeCodeReport report = analyse(replaced);
        ASSERT_EQ(report.gaps.size(), 1u) << describe(report);
        EXPECT_EQ(report.gaps[0].recordingStart, at);
        EXPECT_EQ(report.gaps[0].frames, frames(50));
        ASSERT_EQ(report.skips.size(), 1u) << describe(report);
        EXPECT_EQ(report.lostFrames(), frames(50));
    }
}

TEST_F(TimeCodeAnalysisTest, FollowsTheSourceThroughBoostLimitingAndEqualising) {
    {
        SCOPED_TRACE("saturated at a gain of four");
        auto loud = recording().silence(frames(40)).play(0, sourceFrames()).silence(frames(40));
        saturate(loud.samples(), 4);
        const TimeCodeReport report = analyse(loud);
        expectClean(report);
        ASSERT_TRUE(report.heard()) << describe(report);
        EXPECT_EQ(report.firstHeardAt(), frames(40));
        EXPECT_EQ(report.lastSourceFrame(), sourceFrames() - 1);
    }
    {
        SCOPED_TRACE("a gain rising from one to four");
        auto rising = recording();
        for (std::int64_t n = 0; n < sourceFrames(); n += 4800)
            rising.play(n, n + 4800, 1 + 3.0 * n / sourceFrames());
        saturate(rising.samples(), 1);
        expectClean(analyse(rising));
    }
    {
        SCOPED_TRACE("bass up, treble down, boosted and limited");
        auto shaped = recording().play(0, sourceFrames());
        process(shaped);
        const TimeCodeReport report = analyse(shaped);
        expectClean(report);
        ASSERT_TRUE(report.heard()) << describe(report);
        // The equaliser's delay rounds to a frame either way, and it starts from rest, so its
        // first frames are not yet the source's shape.
        EXPECT_LE(std::abs(report.firstHeardAt() - report.firstSourceFrame()), 1);
        EXPECT_LE(report.firstSourceFrame(), 3);
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
    {
        SCOPED_TRACE("silence");
        auto silent = recording().silence(frames(3000));
        const TimeCodeReport report = analyse(silent);
        EXPECT_FALSE(report.heard());
        EXPECT_TRUE(report.gaps.empty() && report.unmatched.empty()) << describe(report);
    }
    {
        SCOPED_TRACE("other sound of the same kind");
        auto other = recording().otherSound(frames(3000));
        const TimeCodeReport report = analyse(other);
        EXPECT_FALSE(report.heard()) << describe(report);
        EXPECT_EQ(report.unmatchedFrames(), frames(3000));
    }
    {
        SCOPED_TRACE("other sound in place of 300 ms of the source");
        const std::int64_t at = 250000;
        auto covered =
            recording().play(0, at).otherSound(frames(300)).play(at + frames(300), sourceFrames());
        const TimeCodeReport report = analyse(covered);
        ASSERT_EQ(report.unmatched.size(), 1u) << describe(report);
        // Other sound like the source's can resemble it over a millisecond or so.
        EXPECT_NEAR(report.unmatched[0].recordingStart, at, frames(2));
        EXPECT_NEAR(report.unmatched[0].frames, frames(300), frames(2));
        EXPECT_NEAR(report.lostFrames(), frames(300), frames(2));
        EXPECT_TRUE(report.gaps.empty() && report.repeats.empty());
    }
}

TEST_F(TimeCodeAnalysisTest, CallsSilenceAGapFromHalfAMillisecondAndBelowMinusSixtyDecibels) {
    const std::int64_t at = 150011;
    {
        SCOPED_TRACE("24 frames of silence");
        auto shortest = recording().play(0, at).silence(24).play(at, sourceFrames());
        const TimeCodeReport report = analyse(shortest);
        ASSERT_EQ(report.gaps.size(), 1u) << describe(report);
        EXPECT_EQ(report.gaps[0].recordingStart, at);
        EXPECT_EQ(report.gaps[0].frames, 24);
        EXPECT_TRUE(report.skips.empty() && report.repeats.empty()) << describe(report);
    }
    {
        SCOPED_TRACE("23 frames of silence");
        auto tooShort = recording().play(0, at).silence(23).play(at, sourceFrames());
        const TimeCodeReport report = analyse(tooShort);
        EXPECT_TRUE(report.gaps.empty() && report.unmatched.empty()) << describe(report);
        EXPECT_TRUE(report.skips.empty() && report.repeats.empty()) << describe(report);
    }
    {
        SCOPED_TRACE("24 frames of the source silenced");
        auto shortest = recording().play(0, at).silence(24).play(at + 24, sourceFrames());
        const TimeCodeReport report = analyse(shortest);
        ASSERT_EQ(report.gaps.size(), 1u) << describe(report);
        EXPECT_EQ(report.gaps[0].recordingStart, at);
        EXPECT_EQ(report.gaps[0].frames, 24);
        EXPECT_EQ(report.lostFrames(), 24);
    }
    {
        SCOPED_TRACE("23 frames of the source silenced");
        auto tooShort = recording().play(0, at).silence(23).play(at + 23, sourceFrames());
        const TimeCodeReport report = analyse(tooShort);
        EXPECT_TRUE(report.gaps.empty() && report.skips.empty()) << describe(report);
    }
    {
        SCOPED_TRACE("a hum just under -60 dBFS");
        auto quiet = recording().play(0, at).hum(frames(50), 0.00095f).play(at, sourceFrames());
        const TimeCodeReport report = analyse(quiet);
        ASSERT_EQ(report.gaps.size(), 1u) << describe(report);
        EXPECT_EQ(report.gaps[0].frames, frames(50));
        EXPECT_TRUE(report.unmatched.empty());
    }
    {
        SCOPED_TRACE("a hum just over -60 dBFS");
        auto audible = recording().play(0, at).hum(frames(50), 0.00105f).play(at, sourceFrames());
        const TimeCodeReport report = analyse(audible);
        EXPECT_TRUE(report.gaps.empty()) << describe(report);
        ASSERT_EQ(report.unmatched.size(), 1u) << describe(report);
        EXPECT_NEAR(report.unmatched[0].frames, frames(50), 1);
    }
}

TEST_F(TimeCodeAnalysisTest, TakesAOneFrameJumpForDriftAndTwoForASkip) {
    const std::int64_t at = 345679;
    {
        SCOPED_TRACE("one frame lost");
        auto drift = recording().play(0, at).play(at + 1, sourceFrames());
        const TimeCodeReport report = analyse(drift);
        ASSERT_EQ(report.segments.size(), 1u) << describe(report);
        EXPECT_TRUE(report.skips.empty());
        const TimeCodeSegment& segment = report.segments[0];
        EXPECT_EQ(segment.sourceEnd - segment.sourceStart, segment.frames + 1);
    }
    {
        SCOPED_TRACE("two frames lost");
        auto skip = recording().play(0, at).play(at + 2, sourceFrames());
        const TimeCodeReport report = analyse(skip);
        ASSERT_EQ(report.skips.size(), 1u) << describe(report);
        EXPECT_EQ(report.skips[0].frames(), 2);
        EXPECT_EQ(report.skips[0].sourceFrom, at);
    }
    {
        SCOPED_TRACE("two frames again");
        auto repeat = recording().play(0, at).play(at - 2, sourceFrames());
        const TimeCodeReport report = analyse(repeat);
        ASSERT_EQ(report.repeats.size(), 1u) << describe(report);
        EXPECT_EQ(report.repeats[0].frames(), 2);
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
                     .play(200000 - frames(10), 300000)
                     .otherSound(frames(40))
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
