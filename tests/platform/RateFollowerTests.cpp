// The follower steers by queue readings alone, so a pipeline plays out here as events on the
// tap's clock: the tap delivers 20 ms pieces, the sink takes 10 ms blocks on a clock of its own
// that runs `drift` faster, at the rate the follower last asked for, and reports the queue each
// time it takes one, as a server's request does, with what the tap has gathered since its last
// piece.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "RateFollower.h"

namespace sorix {
namespace {

constexpr double kRate = 48000;
constexpr double kTarget = 0.024;
constexpr double kPiece = 0.020;
constexpr double kBlock = 0.010;
constexpr double kBlockPhase = 0.0037;  // any phase between pieces and blocks

struct Step {
    double time;
    double lowestQueue;  // over the step's slices, seconds
    uint32_t streamRate;
};

class SimulatedOutput {
  public:
    // Starts `offset` seconds above the target, on average over the tap's pieces.
    explicit SimulatedOutput(double drift, double offset = 0.002, bool holdsWhereItStarts = false)
        : follower_(
              {.rate = kRate, .targetSeconds = kTarget, .holdsWhereItStarts = holdsWhereItStarts}),
          drift_(drift),
          queue_(kTarget + offset + kBlock - kBlockPhase) {}

    // Plays `seconds` more; every step of the follower is noted in `steps`.
    void run(double seconds) {
        const double end = now_ + seconds;
        while (now_ < end) {
            // Whichever comes first: the tap's next piece or the sink's next block.
            if (nextPiece_ <= nextBlock_) {
                now_ = nextPiece_;
                nextPiece_ += kPiece;
                queue_ += kPiece;
                lastPiece_ = now_;
                follower_.advance(static_cast<std::size_t>(kPiece * kRate));
                noteStep();
            } else {
                now_ = nextBlock_;
                nextBlock_ += kBlock / (1 + drift_);
                // The sink takes one block of its time: at the stream's rate that is more or less
                // than a block of the tap's audio.
                queue_ -= kBlock * follower_.streamRate() / kRate;
                const double continuous = queue_ + (now_ - lastPiece_);
                lowest_ = std::min(lowest_, continuous);
                follower_.report(continuous);
            }
        }
    }

    void jump(double seconds) { queue_ += seconds; }
    void restart() { follower_.restart(); }
    void align(double seconds) { follower_.alignBy(seconds); }
    const std::vector<Step>& steps() const { return steps_; }
    const RateFollower& follower() const { return follower_; }

    // The steps from `from` seconds on.
    std::vector<Step> stepsAfter(double from) const {
        std::vector<Step> after;
        std::copy_if(steps_.begin(), steps_.end(), std::back_inserter(after),
                     [&](const Step& step) { return step.time >= from; });
        return after;
    }

  private:
    void noteStep() {
        // A step happens every half second of audio: 25 pieces.
        if (++piecesSinceStep_ < 25) return;
        piecesSinceStep_ = 0;
        steps_.push_back({now_, lowest_, follower_.streamRate()});
        lowest_ = 1;
    }

    RateFollower follower_;
    double drift_;
    double queue_;
    double now_ = 0;
    double lastPiece_ = 0;
    double nextPiece_ = kPiece;  // the queue it starts with came with a piece at 0
    double nextBlock_ = kBlockPhase;
    double lowest_ = 1;
    int piecesSinceStep_ = 0;
    std::vector<Step> steps_;
};

// The queue's lowest point in each step's half second, less the target, at its worst.
double worstError(const std::vector<Step>& steps) {
    double worst = 0;
    for (const Step& step : steps)
        worst = std::max(worst, std::abs(step.lowestQueue - kTarget));
    return worst;
}

double meanRate(const std::vector<Step>& steps) {
    double sum = 0;
    for (const Step& step : steps)
        sum += step.streamRate;
    return sum / static_cast<double>(steps.size());
}

TEST(RateFollowerTest, SettlesOnAConstantDriftEitherWayWithoutLeavingItsQueue) {
    for (const double drift : {300e-6, -300e-6, 0.0}) {
        SCOPED_TRACE(drift);
        SimulatedOutput output(drift);
        output.run(120);
        const std::vector<Step> settled = output.stepsAfter(60);
        // The queue holds at the target to within a tenth of a millisecond...
        EXPECT_LT(worstError(settled), 0.0001);
        // ...because the stream plays at the rate that makes its sink take what the tap gives.
        EXPECT_NEAR(meanRate(settled), kRate / (1 + drift), 0.5);
        // While it learns the drift, the queue moves by less than a millisecond beyond the 2 ms
        // it started above its target.
        EXPECT_LT(worstError(output.steps()), 0.003);
    }
}

TEST(RateFollowerTest, NeverAsksForMoreThanItsBoundAndFollowsEveryDriftWithinIt) {
    // 500 ppm of 48 kHz is 24 Hz. A drift of 480 ppm is followed; one of 520 ppm is beyond
    // reach, and the queue it cannot hold runs away steadily, at the rate pinned to the bound.
    struct Case {
        double drift;
        bool followed;
    };
    for (const Case& each : {Case{480e-6, true}, Case{-480e-6, true}, Case{520e-6, false},
                             Case{-520e-6, false}, Case{5000e-6, false}}) {
        SCOPED_TRACE(each.drift);
        SimulatedOutput output(each.drift, 0);
        output.run(200);
        for (const Step& step : output.steps())
            ASSERT_LE(std::abs(static_cast<double>(step.streamRate) - kRate), 24.0);
        const std::vector<Step> late = output.stepsAfter(150);
        if (each.followed) {
            EXPECT_LT(worstError(late), 0.0002);
        } else {
            EXPECT_GT(worstError(late), 0.002);
            EXPECT_EQ(late.back().streamRate, each.drift > 0 ? kRate - 24 : kRate + 24);
        }
    }
}

TEST(RateFollowerTest, ABacklogBeyondReachIsNotLearntAsDrift) {
    // Pinned at the bound for a minute by a queue far above its target, the follower must not
    // come out of it believing the sink drifts: once the backlog is gone (skipped, as the
    // trimmer does), it holds the queue at once rather than draining it for minutes.
    SimulatedOutput output(0, 0.2);
    output.run(60);
    output.jump(kTarget - output.steps().back().lowestQueue);
    const double jumpedAt = output.steps().back().time;
    output.run(60);
    EXPECT_LT(worstError(output.stepsAfter(jumpedAt + 1)), 0.0005);
}

TEST(RateFollowerTest, RecoversFromAStepInTheQueueWithoutSwinging) {
    for (const double jump : {0.004, -0.004}) {
        SCOPED_TRACE(jump);
        SimulatedOutput output(150e-6);
        output.run(60);
        output.jump(jump);
        output.run(120);
        const std::vector<Step> after = output.stepsAfter(60);
        // Back within a tenth of a millisecond in a minute...
        EXPECT_LT(worstError(output.stepsAfter(120)), 0.0001);
        // ...having crossed the target at most once, and not by more than a fifth of the step.
        int crossings = 0;
        double overshoot = 0;
        for (std::size_t i = 1; i < after.size(); ++i) {
            const double error = after[i].lowestQueue - kTarget;
            if (std::abs(error) > 0.00005 &&
                std::signbit(error) != std::signbit(after[i - 1].lowestQueue - kTarget))
                ++crossings;
            if (std::signbit(error) != std::signbit(jump))
                overshoot = std::max(overshoot, std::abs(error));
        }
        EXPECT_LE(crossings, 1);
        EXPECT_LT(overshoot, std::abs(jump) / 5);
    }
}

TEST(RateFollowerTest, HoldsItsRateSteadyOnceSettled) {
    // Whole hertz are 21 ppm at 48 kHz: a drift between two of them is met by alternating, and
    // nothing beyond the neighbouring two is ever asked for.
    SimulatedOutput output(137e-6);
    output.run(240);
    const std::vector<Step> settled = output.stepsAfter(60);
    const auto [low, high] = std::minmax_element(
        settled.begin(), settled.end(),
        [](const Step& a, const Step& b) { return a.streamRate < b.streamRate; });
    EXPECT_LE(high->streamRate - low->streamRate, 1u);
}

TEST(RateFollowerTest, AskedToHoldTheQueueWhereItStartsItKeepsItThereAfterEveryRestart) {
    // The trimmer decides where the queue stands; the follower, started 5 ms above its nominal
    // target, keeps it there against a drift, and after a 4 ms skip and a restart it keeps it at
    // the new level rather than drifting back.
    SimulatedOutput output(300e-6, 0.005, true);
    output.run(120);
    const auto offsetFromTarget = [](const std::vector<Step>& steps) {
        double lowest = 1, highest = -1;
        for (const Step& step : steps) {
            lowest = std::min(lowest, step.lowestQueue - kTarget);
            highest = std::max(highest, step.lowestQueue - kTarget);
        }
        return std::pair{lowest, highest};
    };
    const auto [low, high] = offsetFromTarget(output.stepsAfter(60));
    EXPECT_GT(low, 0.004);
    EXPECT_LT(high, 0.006);
    output.jump(-0.004);
    output.restart();
    const double jumpedAt = output.steps().back().time;
    output.run(120);
    const auto [lowAfter, highAfter] = offsetFromTarget(output.stepsAfter(jumpedAt + 60));
    EXPECT_GT(lowAfter, 0.0);
    EXPECT_LT(highAfter, 0.002);
}

TEST(RateFollowerTest, AnOutputBehindTheOthersPlaysItsLeadOutByRateAndStopsThere) {
    // 2 ms behind the others: asked at each comparison for what is still left, the queue comes
    // down by 2 ms and stays, without overshooting.
    SimulatedOutput output(100e-6, 0.005, true);
    output.run(60);
    const auto level = [&] {
        const auto steps = output.stepsAfter(output.steps().back().time - 3);
        double sum = 0;
        for (const Step& step : steps)
            sum += step.lowestQueue;
        return sum / static_cast<double>(steps.size());
    };
    const double before = level();
    double lowest = before;
    for (int comparison = 0; comparison < 240; ++comparison) {
        const double now = output.steps().back().lowestQueue;
        lowest = std::min(lowest, now);
        output.align(0.002 - (before - now));
        output.run(0.25);
    }
    EXPECT_NEAR(level(), before - 0.002, 0.0003);
    EXPECT_GT(lowest, before - 0.0025) << "overshot";
}

TEST(RateFollowerTest, LeadsWithinTheDeadbandLeaveTheHeldTargetAlone) {
    // The output the others follow is asked for a lead of 0 at every comparison, and a lead
    // just under the deadband must change nothing either: it keeps holding where it started
    // against a 300 ppm drift rather than taking whatever it last measured as its target.
    for (const double lead : {0.0, 0.00019, -0.00019}) {
        SCOPED_TRACE(lead);
        SimulatedOutput output(300e-6, 0.005, true);
        output.run(1);
        const double start = output.steps().back().lowestQueue;
        for (int comparison = 0; comparison < 480; ++comparison) {
            output.align(lead);
            output.run(0.25);
        }
        for (const Step& step : output.stepsAfter(60))
            ASSERT_NEAR(step.lowestQueue, start, 0.0005);
    }
    // Just beyond it, the same lead is played out: a lead asks for a lower queue, so a faster
    // rate.
    for (const double lead : {0.00021, -0.00021}) {
        SCOPED_TRACE(lead);
        SimulatedOutput output(0, 0.005, true);
        output.run(10);
        const double start = output.steps().back().lowestQueue;
        RateFollower moved = output.follower();
        moved.alignBy(lead);
        RateFollower kept = output.follower();
        // A step's worth of slices, each reading the queue it held.
        for (RateFollower* follower : {&moved, &kept}) {
            for (int slice = 0; slice < 6; ++slice) {
                follower->report(start);
                follower->advance(static_cast<std::size_t>(0.1 * kRate));
            }
        }
        EXPECT_NE(moved.deviation(), kept.deviation());
        EXPECT_EQ(std::signbit(moved.deviation() - kept.deviation()), std::signbit(lead));
    }
}

TEST(RateFollowerTest, OutputsAlignedToTheirAverageMeetAndKeepTheirQueues) {
    // Two outputs 1.5 ms apart on sinks 200 ppm apart, their positions read with up to 0.4 ms of
    // noise and compared four times a second for ten minutes. Each is asked to play out how far
    // it reads behind the two's average: they meet, and however often the noise makes one or the
    // other seem behind, their queues stay where they started. (Asked to follow whichever seems
    // latest, each would only ever move down, and both would walk down without end.)
    SimulatedOutput a(100e-6, 0.005, true);
    SimulatedOutput b(-100e-6, 0.0065, true);
    a.run(2);
    b.run(2);
    const auto level = [](const SimulatedOutput& output) {
        return output.steps().back().lowestQueue;
    };
    const double startLevel = (level(a) + level(b)) / 2;
    std::mt19937 random(7);
    std::uniform_real_distribution<double> noise(-0.0004, 0.0004);
    for (int comparison = 0; comparison < 2400; ++comparison) {
        // An output with more queued reads earlier audio.
        const double aheadA = -level(a) + noise(random);
        const double aheadB = -level(b) + noise(random);
        const double average = (aheadA + aheadB) / 2;
        a.align(average - aheadA);
        b.align(average - aheadB);
        a.run(0.25);
        b.run(0.25);
    }
    EXPECT_NEAR(level(a), level(b), 0.0004);
    EXPECT_NEAR((level(a) + level(b)) / 2, startLevel, 0.001);
}

TEST(RateFollowerTest, ARestartDropsTheMeasurementButKeepsWhatWasLearnt) {
    SimulatedOutput output(300e-6);
    output.run(60);
    const double learnt = output.follower().deviation();
    RateFollower follower = output.follower();
    follower.restart();
    // Half a step's worth of slices is no step at all after a restart.
    follower.report(kTarget + 0.05);
    follower.advance(static_cast<std::size_t>(0.45 * kRate));
    EXPECT_DOUBLE_EQ(follower.deviation(), learnt);
}

}  // namespace
}  // namespace sorix
