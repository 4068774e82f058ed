// The trimmer decides from reports alone, so whole runs of a pipeline play out here in a loop of
// 5 ms chunks at 48 kHz.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "LatencyTrimmer.h"

namespace sorix {
namespace {

constexpr std::size_t kChunk = 240;

class LatencyTrimmerTest : public ::testing::Test {
  protected:
    explicit LatencyTrimmerTest(std::size_t outputs = 2)
        : trimmer(outputs, {}), skipped(outputs), gaps(outputs) {}

    // Chunks in which each output holds its entry of `queued` seconds, less what it skipped and
    // more what it put in as gaps; `drainPerSecond` is how much faster its sink reads.
    void run(double seconds, const std::vector<double>& queued, double drainPerSecond = 0) {
        const auto chunks = static_cast<int>(seconds * 48000 / kChunk);
        for (int chunk = 0; chunk < chunks; ++chunk) {
            elapsed += static_cast<double>(kChunk) / 48000;
            for (std::size_t i = 0; i < queued.size(); ++i)
                trimmer.report(
                    i,
                    queued[i] - drainPerSecond * elapsed +
                        (static_cast<double>(gaps[i]) - static_cast<double>(skipped[i])) / 48000);
            for (std::size_t i = 0; i < queued.size(); ++i) {
                skipped[i] += trimmer.takeSkip(i, kChunk);
                gaps[i] += trimmer.takeGap(i);
            }
            trimmer.advance(kChunk);
        }
    }

    LatencyTrimmer trimmer;
    std::vector<std::size_t> skipped;
    std::vector<std::size_t> gaps;
    double elapsed = 0;
};

TEST_F(LatencyTrimmerTest, ACommonBacklogIsSkippedByEveryOutputAlikeAndOnlyOnce) {
    // 300 ms queued on one, 320 on the other: both skip the 285 above the target, no more, and
    // the second output's extra 20 ms is no common excess.
    run(5.0, {0.300, 0.320});
    EXPECT_EQ(skipped, (std::vector<std::size_t>{13680, 13680}));
}

TEST_F(LatencyTrimmerTest, QueuesBetweenTheFloorAndTheTargetAreLeftAlone) {
    run(3.0, {0.017, 0.017});
    run(3.0, {0.009, 0.012});
    EXPECT_EQ(skipped, (std::vector<std::size_t>{0, 0}));
    EXPECT_EQ(gaps, (std::vector<std::size_t>{0, 0}));
}

TEST_F(LatencyTrimmerTest, AnOutputThatRunsDryIsRefilledAtOnceAndEveryOtherAlike) {
    run(0.5, {0.015, 0.015});
    // The first output's sink read 4 ms past the end: both get the same gap within a chunk,
    // which leaves the first at the target, raised by 2 ms now that it has run dry, and the two
    // in step.
    run(0.01, {-0.004, 0.015});
    EXPECT_EQ(gaps, (std::vector<std::size_t>{1008, 1008}));
    run(3.0, {-0.004, 0.015});
    EXPECT_EQ(gaps, (std::vector<std::size_t>{1008, 1008})) << "refilled twice";
    EXPECT_EQ(skipped, (std::vector<std::size_t>{0, 0}));
}

TEST(LatencyTrimmerDryTest, EachTimeAnOutputRunsDryItsTargetStandsHigherUpToAPoint) {
    // Refilled from 4 ms past the end each time: up to the 15 ms target and 2 ms more the first
    // time, 4 and 6 ms more the next two, and no higher after that.
    LatencyTrimmer trimmer(2, {});
    std::vector<std::size_t> gaps;
    for (int dry = 0; dry < 4; ++dry) {
        for (int chunk = 0; chunk < 60; ++chunk) {
            trimmer.report(0, chunk == 0 ? -0.004 : 0.015);
            trimmer.report(1, 0.015);
            if (const std::size_t gap = trimmer.takeGap(0)) gaps.push_back(gap);
            trimmer.takeGap(1);
            trimmer.advance(kChunk);
        }
    }
    EXPECT_EQ(gaps, (std::vector<std::size_t>{1008, 1104, 1200, 1200}));
}

TEST(LatencyTrimmerDrainTest, SinksReadingFasterThanTheTapNeverRunDry) {
    // 200 parts per million faster: 12 ms gone in a minute. The tap's pieces may be larger than
    // the sinks' blocks (20 ms on PulseAudio): then the queue as read climbs by up to a piece
    // above its bottom between two pieces, and the queue as if delivered continuously stands a
    // piece above it, where the target and the floor are too.
    for (const double piece : {0.0, 0.020}) {
        SCOPED_TRACE(piece);
        LatencyTrimmer trimmer(2, {.targetSeconds = 0.015 + piece, .floorSeconds = 0.008 + piece});
        std::vector<std::size_t> gaps(2);
        double lowest = 1;
        for (int chunk = 0; chunk < 60 * 200; ++chunk) {
            const double elapsed = (chunk + 1) * static_cast<double>(kChunk) / 48000;
            const double bottom = 0.015 - 0.0002 * elapsed + static_cast<double>(gaps[0]) / 48000;
            lowest = std::min(lowest, bottom);
            const double queued = bottom + piece * (chunk % 4) / 3;
            trimmer.report(0, queued, bottom + piece);
            trimmer.report(1, queued, bottom + piece);
            gaps[0] += trimmer.takeGap(0);
            gaps[1] += trimmer.takeGap(1);
            trimmer.advance(kChunk);
        }
        EXPECT_GT(lowest, 0.007);
        EXPECT_GT(gaps[0], 0u);
        EXPECT_EQ(gaps[0], gaps[1]);
    }
}

TEST(LatencyTrimmerDrainTest, DipsAreNoDrainAQueueThatStaysBelowTheFloorIs) {
    // The floor is 8 ms and windows last a second. A queue of 10 ms that dips to 2 ms (a stall
    // of the tap) once in every window, or twice across the turn of one, is left alone.
    struct Case {
        double level;
        std::vector<int> dipsAt;  // chunks of 5 ms
        bool refilled;
    };
    for (const Case& each :
         {Case{0.010, {100, 300, 500, 700, 900, 1100}, false}, Case{0.010, {439, 441}, false},
          Case{0.0081, {}, false}, Case{0.0079, {}, true}}) {
        SCOPED_TRACE(each.level);
        LatencyTrimmer trimmer(2, {});
        std::size_t gap = 0;
        for (int chunk = 1; chunk <= 6 * 200; ++chunk) {
            const bool dip =
                std::find(each.dipsAt.begin(), each.dipsAt.end(), chunk) != each.dipsAt.end();
            const double queued = (dip ? 0.002 : each.level) + static_cast<double>(gap) / 48000;
            trimmer.report(0, queued);
            trimmer.report(1, queued);
            gap += trimmer.takeGap(0);
            trimmer.takeGap(1);
            trimmer.advance(kChunk);
        }
        if (each.refilled)
            EXPECT_EQ(gap, 341u) << "up to the 15 ms target, once";
        else
            EXPECT_EQ(gap, 0u);
    }
}

TEST(LatencyTrimmerPhaseTest, APhaseThatDriftsBetweenTheTapsPiecesAndTheSinksBlocksIsNoChange) {
    // 20 ms pieces from the tap, the queue read at a sink's 10 ms blocks: where it bottoms out
    // moves by up to a piece as the phase between the two drifts (here once through in 8 s),
    // while the queue as if delivered continuously holds at the target.
    LatencyTrimmer trimmer(2, {.targetSeconds = 0.035, .floorSeconds = 0.028});
    std::size_t skipped = 0, gaps = 0;
    constexpr double piece = 0.020;
    for (int chunk = 0; chunk < 30 * 200; ++chunk) {
        const double elapsed = chunk * static_cast<double>(kChunk) / 48000;
        const double phase = std::fmod(elapsed / 8, 1.0) * piece;
        const double gathered = std::fmod(elapsed + phase, piece);
        const double continuous = 0.035;
        trimmer.report(0, continuous - gathered, continuous);
        trimmer.report(1, continuous - gathered, continuous);
        skipped += trimmer.takeSkip(0, kChunk);
        trimmer.takeSkip(1, kChunk);
        gaps += trimmer.takeGap(0);
        trimmer.takeGap(1);
        trimmer.advance(kChunk);
    }
    EXPECT_EQ(skipped, 0u);
    EXPECT_EQ(gaps, 0u);
}

TEST_F(LatencyTrimmerTest, AHighQueueThatDipsOnceAWhileHasNoBacklog) {
    // Reports of 200 ms with one of 10 ms in every window: the dip is what the queue holds at
    // its lowest, and it is below the target.
    for (int chunk = 0; chunk < 3 * 200; ++chunk) {
        const double queued = chunk % 50 == 0 ? 0.010 : 0.200;
        trimmer.report(0, queued);
        trimmer.report(1, queued);
        skipped[0] += trimmer.takeSkip(0, kChunk);
        skipped[1] += trimmer.takeSkip(1, kChunk);
        trimmer.advance(kChunk);
    }
    EXPECT_EQ(skipped, (std::vector<std::size_t>{0, 0}));
}

TEST_F(LatencyTrimmerTest, AnOutputReadingBehindTheOthersSkipsByTheMedianOfThreeReports) {
    run(0.5, {0.017, 0.017});  // settled
    ASSERT_TRUE(trimmer.settled());
    // The second output's sink reads 480 frames behind; one report mid-block says 900.
    const double first[] = {1000, 520};
    const double outlier[] = {2000, 1100};
    const double third[] = {3000, 2520};
    trimmer.positions(first);
    trimmer.positions(outlier);
    EXPECT_EQ(trimmer.takeSkip(1, kChunk), 0u) << "decided before three reports";
    trimmer.positions(third);
    EXPECT_EQ(trimmer.takeSkip(0, kChunk), 0u);
    EXPECT_EQ(trimmer.takeSkip(1, kChunk), 240u);
    EXPECT_EQ(trimmer.takeSkip(1, kChunk), 240u) << "a skip longer than a chunk, over two";

    // Until the skip has been played out, positions would still show the old lead.
    EXPECT_FALSE(trimmer.settled());
    trimmer.positions(first);
    trimmer.positions(first);
    trimmer.positions(first);
    EXPECT_EQ(trimmer.takeSkip(1, kChunk), 0u);
}

TEST_F(LatencyTrimmerTest, OutputsWithinFourMillisecondsOfEachOtherAreLeftToTheirRates) {
    run(0.5, {0.017, 0.017});
    const double fourMilliseconds[] = {1000, 808};  // 192 frames at 48 kHz
    for (int report = 0; report < 5; ++report)
        trimmer.positions(fourMilliseconds);
    EXPECT_EQ(trimmer.takeSkip(1, kChunk), 0u);
    const double aFrameMore[] = {1000, 807};
    for (int report = 0; report < 3; ++report)
        trimmer.positions(aFrameMore);
    EXPECT_EQ(trimmer.takeSkip(1, kChunk), 193u);
}

TEST(LatencyTrimmerSingleOutputTest, AnOutputAloneOnlyEverTrimsItsBacklog) {
    LatencyTrimmer trimmer(1, {});
    const double position[] = {1000};
    std::size_t skipped = 0;
    for (int chunk = 0; chunk < 1000; ++chunk) {
        trimmer.report(0, 0.120 - static_cast<double>(skipped) / 48000);
        trimmer.positions(position);
        skipped += trimmer.takeSkip(0, kChunk);
        trimmer.advance(kChunk);
    }
    EXPECT_EQ(skipped, 5040u);  // the 105 ms above the target, once
}

}  // namespace
}  // namespace sorix
