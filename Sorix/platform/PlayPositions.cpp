#include "PlayPositions.h"

#include <algorithm>
#include <limits>

namespace sorix {

namespace {

constexpr double kUnreported = -std::numeric_limits<double>::infinity();

}  // namespace

PlayPositions::PlayPositions(std::size_t outputs, double rate)
    : rate_(rate), furthest_(outputs, kUnreported) {}

void PlayPositions::report(std::size_t output, double frame, double seconds) {
    furthest_[output] = std::max(furthest_[output], frame - seconds * rate_);
}

void PlayPositions::restart() { std::fill(furthest_.begin(), furthest_.end(), kUnreported); }

bool PlayPositions::complete() const {
    return std::none_of(furthest_.begin(), furthest_.end(),
                        [](double frame) { return frame == kUnreported; });
}

void PlayPositions::take(double* frames) {
    double mean = 0;
    for (const double furthest : furthest_)
        mean += furthest / static_cast<double>(furthest_.size());
    for (std::size_t i = 0; i < furthest_.size(); ++i)
        frames[i] = furthest_[i] - mean;
    restart();
}

}  // namespace sorix
