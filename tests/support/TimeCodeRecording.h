#pragma once

// Recordings made up for the time code's tests: pieces of a source, silence and other sound,
// and what a boost, a limiter and an equaliser do to them.
#include <cmath>
#include <cstdint>
#include <numbers>
#include <span>
#include <vector>

#include "TimeCode.h"

namespace sorix::testing {

inline constexpr int kRate = 48000;

inline std::int64_t frames(double milliseconds) {
    return std::llround(milliseconds * kRate / 1000);
}

// A recording made up from pieces of the source, silence and other sound.
class Recording {
  public:
    explicit Recording(std::span<const float> source) : source_(source) {}
    Recording& play(std::int64_t from, std::int64_t to, double gain = 1.0) {
        for (std::int64_t n = from; n < to; ++n)
            samples_.push_back(static_cast<float>(gain * source_[static_cast<std::size_t>(n)]));
        return *this;
    }
    Recording& silence(std::int64_t count) {
        samples_.insert(samples_.end(), static_cast<std::size_t>(count), 0.0f);
        return *this;
    }
    // A square wave at the Nyquist frequency, whose RMS is its amplitude exactly.
    Recording& hum(std::int64_t count, float amplitude) {
        for (std::int64_t n = 0; n < count; ++n)
            samples_.push_back(n % 2 ? amplitude : -amplitude);
        return *this;
    }
    Recording& otherSound(std::int64_t count) {
        const auto noise = makeTimeCode(static_cast<double>(count) / kRate, kRate, 99);
        samples_.insert(samples_.end(), noise.begin(), noise.end());
        return *this;
    }
    std::int64_t size() const { return static_cast<std::int64_t>(samples_.size()); }
    std::vector<float>& samples() { return samples_; }

  private:
    std::span<const float> source_;
    std::vector<float> samples_;
};

// A shelf from the audio EQ cookbook (slope 1), run over the whole signal.
inline void shelve(std::vector<float>& samples, double frequency, double gainDB, bool high) {
    const double a = std::pow(10.0, gainDB / 40);
    const double w = 2 * std::numbers::pi * frequency / kRate;
    const double cosine = std::cos(w);
    const double alpha = std::sin(w) / 2 * std::numbers::sqrt2;
    const double root = 2 * std::sqrt(a) * alpha;
    const double sign = high ? -1 : 1;
    const double b0 = a * ((a + 1) - sign * (a - 1) * cosine + root);
    const double b1 = sign * 2 * a * ((a - 1) - sign * (a + 1) * cosine);
    const double b2 = a * ((a + 1) - sign * (a - 1) * cosine - root);
    const double a0 = (a + 1) + sign * (a - 1) * cosine + root;
    const double a1 = -sign * 2 * ((a - 1) + sign * (a + 1) * cosine);
    const double a2 = (a + 1) + sign * (a - 1) * cosine - root;
    double x1 = 0, x2 = 0, y1 = 0, y2 = 0;
    for (float& sample : samples) {
        const double y = (b0 * sample + b1 * x1 + b2 * x2 - a1 * y1 - a2 * y2) / a0;
        x2 = x1;
        x1 = sample;
        y2 = y1;
        y1 = y;
        sample = static_cast<float>(y);
    }
}

// What a boost through a soft limiter does.
inline void saturate(std::vector<float>& samples, double gain) {
    for (float& sample : samples)
        sample = static_cast<float>(std::tanh(gain * sample));
}

}  // namespace sorix::testing
