#include "SinkLatency.h"

#include <algorithm>
#include <limits>

namespace sorix {

uint32_t sinkLatencyFrames(uint64_t configuredMicroseconds, int64_t portOffsetMicroseconds,
                           double sampleRate) {
    const double microseconds =
        static_cast<double>(configuredMicroseconds) + static_cast<double>(portOffsetMicroseconds);
    const double frames = std::max(microseconds, 0.0) * std::max(sampleRate, 0.0) / 1e6;
    return static_cast<uint32_t>(
        std::min(frames, static_cast<double>(std::numeric_limits<uint32_t>::max())));
}

}  // namespace sorix
