#include "LatencyTrimmer.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace sorix {

namespace {

constexpr double kUnreported = std::numeric_limits<double>::infinity();
// Longer than any queue: by then the sinks read what was written after the skip.
constexpr double kSettleSeconds = 0.2;

double median(std::array<double, 3> values) {
    std::sort(values.begin(), values.end());
    return values[1];
}

}  // namespace

LatencyTrimmer::LatencyTrimmer(std::size_t outputs, Settings settings)
    : settings_(settings),
      windowFrames_(static_cast<std::size_t>(settings.windowSeconds * settings.rate)),
      firstWindowFrames_(static_cast<std::size_t>(settings.firstWindowSeconds * settings.rate)),
      outputs_(outputs, Output{kUnreported, {}, 0, 0}) {}

void LatencyTrimmer::report(std::size_t output, double queuedSeconds) {
    Output& entry = outputs_[output];
    entry.lowest = std::min(entry.lowest, queuedSeconds);
}

void LatencyTrimmer::advance(std::size_t frames) {
    framesSinceSkip_ += frames;
    if (!settled()) {
        restartWindow();
        return;
    }
    framesInWindow_ += frames;
    if (framesInWindow_ < (decided_ ? windowFrames_ : firstWindowFrames_)) return;
    decided_ = true;
    decide();
    restartWindow();
}

std::size_t LatencyTrimmer::takeSkip(std::size_t output, std::size_t frames) {
    Output& entry = outputs_[output];
    const std::size_t skipped = std::min(entry.pendingSkip, frames);
    entry.pendingSkip -= skipped;
    entry.skipped += skipped;
    return skipped;
}

bool LatencyTrimmer::settled() const {
    return static_cast<double>(framesSinceSkip_) >= kSettleSeconds * settings_.rate &&
           std::none_of(outputs_.begin(), outputs_.end(),
                        [](const Output& output) { return output.pendingSkip > 0; });
}

void LatencyTrimmer::positions(const double* frames) {
    if (outputs_.empty() || !settled()) return;
    const double latest = *std::max_element(frames, frames + outputs_.size());
    const std::size_t slot = positionReports_ % kPositionReports;
    ++positionReports_;
    if (positionReports_ < kPositionReports) {
        for (std::size_t i = 0; i < outputs_.size(); ++i)
            outputs_[i].behind[slot] = latest - frames[i];
        return;
    }
    for (std::size_t i = 0; i < outputs_.size(); ++i) {
        Output& output = outputs_[i];
        output.behind[slot] = latest - frames[i];
        const double behind = median(output.behind);
        if (behind > settings_.stepToleranceSeconds * settings_.rate)
            skip(i, static_cast<std::size_t>(std::lround(behind)));
    }
}

void LatencyTrimmer::decide() {
    double lowest = kUnreported;
    for (const Output& output : outputs_)
        lowest = std::min(lowest, output.lowest);
    const double excess = lowest - settings_.targetSeconds;
    if (lowest == kUnreported || excess <= settings_.toleranceSeconds) return;
    for (std::size_t i = 0; i < outputs_.size(); ++i)
        skip(i, static_cast<std::size_t>(std::lround(excess * settings_.rate)));
}

void LatencyTrimmer::skip(std::size_t output, std::size_t frames) {
    outputs_[output].pendingSkip += frames;
    framesSinceSkip_ = 0;
    positionReports_ = 0;
}

void LatencyTrimmer::restartWindow() {
    framesInWindow_ = 0;
    for (Output& output : outputs_)
        output.lowest = kUnreported;
}

}  // namespace sorix
