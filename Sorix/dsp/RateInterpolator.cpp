#include "RateInterpolator.h"

#include <algorithm>
#include <cmath>

namespace sorix {

void RateInterpolator::reset(uint32_t channels) {
    channels_ = std::clamp<uint32_t>(channels, 1, kMaxChannels);
    position_ = 1.0;
    history_.fill(0.0f);
}

void RateInterpolator::setStep(double step) {
    step_ = std::isfinite(step) ? std::clamp(step, 0.5, 2.0) : 1.0;
}

std::size_t RateInterpolator::maxOutputFrames(std::size_t inputFrames) const {
    // Positions from position_ up to (not including) inputFrames + 1, one step apart.
    const double span = static_cast<double>(inputFrames) + 1.0 - position_;
    return span <= 0 ? 0 : static_cast<std::size_t>(std::ceil(span / step_)) + 1;
}

std::size_t RateInterpolator::process(const float* input, std::size_t inputFrames, float* output) {
    const std::size_t channels = channels_;
    // Frame i of the history followed by the input.
    const auto sample = [&](std::size_t frame, std::size_t channel) {
        return frame < kHistory ? history_[frame * channels + channel]
                                : input[(frame - kHistory) * channels + channel];
    };
    // The cubic at position p needs frames floor(p) - 1 to floor(p) + 2, the last of which is
    // input frame inputFrames - 1 at the latest.
    const double end = static_cast<double>(inputFrames) + 1.0;
    const std::size_t total = kHistory + inputFrames;
    float peak = 0.0f;
    for (std::size_t f = 0; f < total; ++f)
        for (std::size_t c = 0; c < channels; ++c)
            peak = std::max(peak, std::abs(sample(f, c)));
    std::size_t written = 0;
    while (position_ < end) {
        const auto base = static_cast<std::size_t>(position_);
        const auto t = static_cast<float>(position_ - static_cast<double>(base));
        for (std::size_t c = 0; c < channels; ++c) {
            const float y0 = sample(base - 1, c);
            const float y1 = sample(base, c);
            const float y2 = sample(base + 1, c);
            const float y3 = sample(base + 2, c);
            const float a = -0.5f * y0 + 1.5f * y1 - 1.5f * y2 + 0.5f * y3;
            const float b = y0 - 2.5f * y1 + 2.0f * y2 - 0.5f * y3;
            const float d = 0.5f * (y2 - y0);
            output[written * channels + c] =
                std::clamp(((a * t + b) * t + d) * t + y1, -peak, peak);
        }
        ++written;
        position_ += step_;
    }
    position_ -= static_cast<double>(inputFrames);
    // The last three frames of history and input together are the next block's history.
    std::array<float, kHistory * kMaxChannels> next{};
    for (std::size_t f = 0; f < kHistory; ++f)
        for (std::size_t c = 0; c < channels; ++c)
            next[f * channels + c] = sample(total - kHistory + f, c);
    history_ = next;
    return written;
}

}  // namespace sorix
