#pragma once

#include <cstdint>

namespace sorix {

// The fixed part of a sink's delay in frames at its rate: the latency it is configured for plus
// the latency offset of its active port (which the user or the driver may set, negative too),
// never below zero.
uint32_t sinkLatencyFrames(uint64_t configuredMicroseconds, int64_t portOffsetMicroseconds,
                           double sampleRate);

}  // namespace sorix
