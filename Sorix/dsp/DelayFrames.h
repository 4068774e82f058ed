#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

namespace sorix {

// Seconds to frames at a pipeline's rate: seconds * rate, truncated toward zero to an unsigned
// 32-bit count. Negative or non-finite delays are no delay; huge ones saturate.
inline uint32_t framesForSeconds(double seconds, double sampleRate) noexcept {
    const double frames = seconds * sampleRate;
    if (!(frames > 0.0)) return 0;
    if (frames >= static_cast<double>(std::numeric_limits<uint32_t>::max()))
        return std::numeric_limits<uint32_t>::max();
    return static_cast<uint32_t>(frames);
}

// Milliseconds to frames: ms / 1000 * rate, by the same rule.
inline uint32_t delayFrames(double milliseconds, double sampleRate) noexcept {
    return framesForSeconds(milliseconds / 1000.0, sampleRate);
}

}  // namespace sorix
