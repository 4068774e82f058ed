#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

namespace sorix {

// Milliseconds to frames at a pipeline's rate: ms / 1000 * rate, truncated toward zero to an
// unsigned 32-bit count. Negative or non-finite delays are no delay; huge ones saturate.
inline uint32_t delayFrames(double milliseconds, double sampleRate) noexcept {
    const double frames = milliseconds / 1000.0 * sampleRate;
    if (!(frames > 0.0)) return 0;
    if (frames >= static_cast<double>(std::numeric_limits<uint32_t>::max()))
        return std::numeric_limits<uint32_t>::max();
    return static_cast<uint32_t>(frames);
}

}  // namespace sorix
