// The trimmer decides from reports alone, so whole runs of a pipeline play out here in a loop of
// 5 ms chunks at 48 kHz.
#include <gtest/gtest.h>

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
    // which leaves the first at the target and the two in step.
    run(0.01, {-0.004, 0.015});
    EXPECT_EQ(gaps, (std::vector<std::size_t>{912, 912}));
    run(3.0, {-0.004, 0.015});
    EXPECT_EQ(gaps, (std::vector<std::size_t>{912, 912})) << "refilled twice";
    EXPECT_EQ(skipped, (std::vector<std::size_t>{0, 0}));
}

TEST_F(LatencyTrimmerTest, SinksReadingFasterThanTheTapNeverRunDry) {
    // 200 parts per million faster: 12 ms gone in a minute.
    for (int second = 0; second < 60; ++second) {
        const double before = static_cast<double>(gaps[0]) / 48000;
        run(1.0, {0.015, 0.015}, 0.0002);
        const double queued = 0.015 - 0.0002 * elapsed + before;
        EXPECT_GT(queued, 0.005) << "after " << second << " s";
    }
    EXPECT_GT(gaps[0], 0u);
    EXPECT_EQ(gaps[0], gaps[1]);
    EXPECT_EQ(skipped, (std::vector<std::size_t>{0, 0}));
}

TEST_F(LatencyTrimmerTest, OneReportOutOfLineInAWindowIsNeitherABacklogNorADrain) {
    // Once in a while the queue dips: high otherwise, or low but not dry (a late chunk).
    for (const double usual : {0.200, 0.010}) {
        const double dip = usual > 0.1 ? 0.010 : 0.002;
        const auto chunks = static_cast<int>(3.0 * 48000 / kChunk);
        for (int chunk = 0; chunk < chunks; ++chunk) {
            const double queued = chunk % 50 == 0 ? dip : usual;
            trimmer.report(0, queued);
            trimmer.report(1, queued);
            skipped[0] += trimmer.takeSkip(0, kChunk);
            skipped[1] += trimmer.takeSkip(1, kChunk);
            gaps[0] += trimmer.takeGap(0);
            trimmer.advance(kChunk);
        }
    }
    EXPECT_EQ(skipped, (std::vector<std::size_t>{0, 0}));
    EXPECT_EQ(gaps[0], 0u);
}

TEST_F(LatencyTrimmerTest, AnOutputReadingBehindTheOthersSkipsByTheMedianOfThreeReports) {
    run(0.5, {0.017, 0.017});  // settled
    ASSERT_TRUE(trimmer.settled());
    // The second output's sink reads 48 frames behind; one report mid-block says 400.
    const double first[] = {1000, 952};
    const double outlier[] = {2000, 1600};
    const double third[] = {3000, 2952};
    trimmer.positions(first);
    trimmer.positions(outlier);
    EXPECT_EQ(trimmer.takeSkip(1, kChunk), 0u) << "decided before three reports";
    trimmer.positions(third);
    EXPECT_EQ(trimmer.takeSkip(0, kChunk), 0u);
    EXPECT_EQ(trimmer.takeSkip(1, kChunk), 48u);

    // Until the skip has been played out, positions would still show the old lead.
    EXPECT_FALSE(trimmer.settled());
    trimmer.positions(first);
    trimmer.positions(first);
    trimmer.positions(first);
    EXPECT_EQ(trimmer.takeSkip(1, kChunk), 0u);
}

TEST_F(LatencyTrimmerTest, OutputsWithinHalfAMillisecondOfEachOtherStayAsTheyAre) {
    run(0.5, {0.017, 0.017});
    const double positions[] = {1000, 980};
    for (int report = 0; report < 5; ++report)
        trimmer.positions(positions);
    EXPECT_EQ(trimmer.takeSkip(1, kChunk), 0u);
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
