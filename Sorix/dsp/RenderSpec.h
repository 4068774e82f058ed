#pragma once

#include <cstddef>
#include <cstdint>

namespace sorix {

// The largest block the render path takes in one call, in samples (all channels together). The
// render buffers are this large, and whatever feeds the render path cuts its audio to fit.
inline constexpr std::size_t kMaxBlockSamples = 131'072;

// What the render core is prepared for: a pipeline's sample rate and the largest block, channels
// counted, it will be handed.
struct RenderSpec {
    double sampleRate = 48000;
    uint32_t channels = 2;
    std::size_t maxBlockSamples = kMaxBlockSamples;
    friend bool operator==(const RenderSpec&, const RenderSpec&) = default;
};

}  // namespace sorix
