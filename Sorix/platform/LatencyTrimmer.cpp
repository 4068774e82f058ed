#include "LatencyTrimmer.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

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
      outputs_(outputs, Output{kUnreported, 0, 0, {}, 0, 0}) {}

void LatencyTrimmer::report(std::size_t output, double queuedSeconds, double continuousSeconds) {
    Output& entry = outputs_[output];
    entry.lowest = std::min(entry.lowest, continuousSeconds);
    entry.sum += continuousSeconds;
    ++entry.reports;
    // Reports taken before a pending change is written still show the queue without it.
    dry_ = dry_ || (queuedSeconds < 0 && !changePending());
}

void LatencyTrimmer::advance(std::size_t frames) {
    framesSinceChange_ += frames;
    // Silence is playing already: waiting for the window would only make it longer.
    if (dry_ && !changePending()) {
        dry_ = false;
        raised_ = std::min(raised_ + settings_.raiseWhenDrySeconds, settings_.mostRaisedSeconds);
        refill(lowestReport());
        restartWindow();
        return;
    }
    dry_ = false;
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
    return skipped;
}

std::size_t LatencyTrimmer::takeGap(std::size_t output) {
    return std::exchange(outputs_[output].pendingGap, 0);
}

bool LatencyTrimmer::changePending() const {
    return std::any_of(outputs_.begin(), outputs_.end(), [](const Output& output) {
        return output.pendingSkip > 0 || output.pendingGap > 0;
    });
}

bool LatencyTrimmer::settled() const {
    return static_cast<double>(framesSinceChange_) >= kSettleSeconds * settings_.rate &&
           !changePending();
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

double LatencyTrimmer::lowestReport() const {
    double lowest = kUnreported;
    for (const Output& output : outputs_)
        lowest = std::min(lowest, output.lowest);
    return lowest;
}

double LatencyTrimmer::lowestAverage() const {
    double lowest = kUnreported;
    for (const Output& output : outputs_)
        if (output.reports > 0)
            lowest = std::min(lowest, output.sum / static_cast<double>(output.reports));
    return lowest;
}

void LatencyTrimmer::decide() {
    const double lowest = lowestReport();
    if (lowest == kUnreported) return;
    const double excess = lowest - target();
    if (excess > settings_.toleranceSeconds) {
        for (std::size_t i = 0; i < outputs_.size(); ++i)
            skip(i, static_cast<std::size_t>(std::lround(excess * settings_.rate)));
        return;
    }
    const double average = lowestAverage();
    if (average >= settings_.floorSeconds + raised_) {
        lowWindows_ = 0;
        return;
    }
    if (++lowWindows_ >= kLowWindowsToRefill) refill(average);
}

void LatencyTrimmer::refill(double queuedSeconds) {
    const double missing = target() - queuedSeconds;
    if (!(missing > 0)) return;
    const auto gap = static_cast<std::size_t>(std::lround(missing * settings_.rate));
    for (Output& output : outputs_)
        output.pendingGap += gap;
    changed();
}

void LatencyTrimmer::skip(std::size_t output, std::size_t frames) {
    outputs_[output].pendingSkip += frames;
    changed();
}

void LatencyTrimmer::changed() {
    framesSinceChange_ = 0;
    lowWindows_ = 0;
    positionReports_ = 0;
}

void LatencyTrimmer::restartWindow() {
    framesInWindow_ = 0;
    for (Output& output : outputs_) {
        output.lowest = kUnreported;
        output.sum = 0;
        output.reports = 0;
    }
}

}  // namespace sorix
