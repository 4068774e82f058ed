#pragma once

#include <cstddef>

namespace sorix {

// The largest block the render path takes in one call, in samples (all channels together). The
// render buffers are this large, and whatever feeds the render path cuts its audio to fit.
inline constexpr std::size_t kMaxBlockSamples = 131'072;

// What the render core is prepared for: a pipeline's sample rate and the largest block, in
// samples, it will be handed (at most kMaxBlockSamples; the rest of a larger block plays as
// silence).
struct RenderSpec {
    double sampleRate = 48000;
    std::size_t maxBlockSamples = kMaxBlockSamples;
    friend bool operator==(const RenderSpec&, const RenderSpec&) = default;
};

}  // namespace sorix
