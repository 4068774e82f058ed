// Two sinks that take 512-frame blocks at 48 kHz, each on its own cycle, and requests that reach
// the pipeline late by varying amounts: what the positions make of them.
#include <gtest/gtest.h>

#include <array>
#include <cstddef>

#include "PlayPositions.h"

namespace sorix {
namespace {

constexpr double kRate = 48000;
constexpr double kBlock = 512;
// How late requests arrive, in seconds, in turn: never less than a tenth of a millisecond.
constexpr std::array<double, 5> kLate{0.0001, 0.0023, 0.0004, 0.0060, 0.0011};

// One window of `blocks` cycles of output `output`, whose sink starts its cycles `phase` frames
// into the first block and reads the tap's audio `behind` frames late.
void cycles(PlayPositions& positions, std::size_t output, double phase, double behind,
            int blocks = 25, std::size_t lateFrom = 0) {
    for (int k = 0; k < blocks; ++k) {
        const double takenAt = (phase + kBlock * k) / kRate;
        const double late = kLate[(lateFrom + static_cast<std::size_t>(k)) % kLate.size()];
        positions.report(output, takenAt * kRate - behind, takenAt + late);
    }
}

double secondBehindFirst(PlayPositions& positions) {
    std::array<double, 2> frames{};
    positions.take(frames.data());
    return frames[0] - frames[1];
}

TEST(PlayPositionsTest, SinksInStepReadAlikeWhateverTheirCyclesAndLateRequests) {
    // Half a block apart, which a server's blockwise account shows as a whole block or none; the
    // second's few requests were never as late as the first's latest.
    PlayPositions positions(2, kRate);
    cycles(positions, 0, 0, 0);
    cycles(positions, 1, kBlock / 2, 0, 3);
    EXPECT_NEAR(secondBehindFirst(positions), 0, 0.5);

    // A sink that reads 24 frames (half a millisecond) later shows by that much, half of it
    // behind the two's average and the other's half ahead of it.
    cycles(positions, 0, 100, 0, 25, 3);
    cycles(positions, 1, 300, 24, 25, 1);
    std::array<double, 2> frames{};
    positions.take(frames.data());
    EXPECT_NEAR(frames[0], 12, 0.5);
    EXPECT_NEAR(frames[1], -12, 0.5);
}

TEST(PlayPositionsTest, AWindowIsCompleteOnceEveryOutputReportedAndForgetsOnRestart) {
    PlayPositions positions(2, kRate);
    EXPECT_FALSE(positions.complete());
    cycles(positions, 0, 0, 0, 3);
    EXPECT_FALSE(positions.complete());
    cycles(positions, 1, 0, 480, 3);
    EXPECT_TRUE(positions.complete());

    // What was reported before the queues jumped counts for nothing after.
    positions.restart();
    EXPECT_FALSE(positions.complete());
    cycles(positions, 0, 0, 0, 3);
    cycles(positions, 1, 0, 0, 3);
    EXPECT_NEAR(secondBehindFirst(positions), 0, 0.5);
    EXPECT_FALSE(positions.complete()) << "a take starts the next window";
}

}  // namespace
}  // namespace sorix
