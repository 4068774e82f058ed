#include "RateFollower.h"

#include <algorithm>
#include <cmath>

namespace sorix {

RateFollower::RateFollower(Settings settings)
    : settings_(settings),
      sliceFrames_(std::max<std::size_t>(
          1, static_cast<std::size_t>(std::lround(settings.sliceSeconds * settings.rate)))),
      slicesPerStep_(std::clamp<std::size_t>(
          static_cast<std::size_t>(std::lround(settings.stepSeconds / settings.sliceSeconds)), 1,
          kMaxSlices)),
      target_(settings.targetSeconds),
      streamRate_(static_cast<uint32_t>(std::lround(settings.rate))) {}

void RateFollower::report(double queuedSeconds) {
    if (!std::isfinite(queuedSeconds)) return;
    sliceSum_ += queuedSeconds;
    ++sliceReadings_;
}

void RateFollower::advance(std::size_t frames) {
    framesInSlice_ += frames;
    if (framesInSlice_ < sliceFrames_) return;
    framesInSlice_ = 0;
    closeSlice();
}

void RateFollower::restart() {
    framesInSlice_ = 0;
    sliceSum_ = 0;
    sliceReadings_ = 0;
    sliceCount_ = 0;
    targetTaken_ = false;
}

void RateFollower::alignBy(double seconds) {
    if (!std::isfinite(seconds) || !targetTaken_ ||
        std::abs(seconds) < settings_.alignDeadbandSeconds)
        return;
    target_ -= settings_.alignShare * seconds;
}

void RateFollower::closeSlice() {
    // A slice without a reading (the sink asked for nothing) says nothing of the queue.
    if (sliceReadings_ > 0)
        slices_[sliceCount_++] = sliceSum_ / static_cast<double>(sliceReadings_);
    sliceSum_ = 0;
    sliceReadings_ = 0;
    if (sliceCount_ >= slicesPerStep_) step();
}

double RateFollower::measuredQueue() {
    auto* const middle = slices_.begin() + static_cast<std::ptrdiff_t>(sliceCount_ / 2);
    std::nth_element(slices_.begin(), middle, slices_.begin() + sliceCount_);
    return *middle;
}

void RateFollower::step() {
    const double measured = measuredQueue();
    if (!targetTaken_) {
        if (settings_.holdsWhereItStarts) target_ = measured;
        targetTaken_ = true;
    }
    const double error = measured - target_;
    sliceCount_ = 0;
    const double bound = settings_.maxDeviation;
    const double wanted = learnt_ + settings_.proportional * error;
    // Learning stops while the rate is at its bound and the error would push it further.
    const bool pinned = (wanted >= bound && error > 0) || (wanted <= -bound && error < 0);
    if (!pinned)
        learnt_ =
            std::clamp(learnt_ + settings_.integral * error * settings_.stepSeconds, -bound, bound);
    deviation_ = std::clamp(learnt_ + settings_.proportional * error, -bound, bound);

    // The bound holds in whole hertz too; at the bound nothing is carried.
    const double widest = std::floor(bound * settings_.rate);
    const double hertz = settings_.rate * deviation_ + carried_;
    const double given = std::clamp(std::round(hertz), -widest, widest);
    carried_ = std::abs(given) < widest ? hertz - given : 0;
    streamRate_ = static_cast<uint32_t>(std::lround(settings_.rate + given));
}

}  // namespace sorix
