#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "BoostRange.h"
#include "RelaxedAtomic.h"
#include "RenderSpec.h"

namespace sorix {

// The boost stage: multiplies the program by the user's boost (1x to 8x) and holds the result
// below full scale with a channel-linked peak limiter whose gain bends softly above a knee and
// ends in a hard clip at the ceiling. Runs on the render thread, in place, before the equaliser.
class LoudnessProcessor {
  public:
    static constexpr float kneeStart = 0.6f;
    static constexpr float ceiling = 0.97f;
    static constexpr float kneeWidth = ceiling - kneeStart;

    // Prepared for 48 kHz, with the envelope at rest.
    LoudnessProcessor();

    // Sets the time constants for the render's sample rate; one that is not a positive finite
    // rate keeps the previous constants. The envelope carries on: a rebuilt pipeline limits on
    // from where the last one left off.
    void prepare(const RenderSpec& spec) noexcept;
    // Puts the envelope at rest, as for an unrelated program; only while no block renders.
    void reset() noexcept;

    // Sets the boost, held to the range a user can choose (NaN as no boost), from the next block
    // on; any thread. Safe Mode is the controls' business.
    void setBoost(float factor) noexcept { boost_ = BoostRange::effective(factor, false); }
    float boost() const noexcept { return boost_; }

    // A 1 ms attack and an 80 ms release at a sample rate.
    static float attackCoefficientAt(double sampleRate);
    static float releaseCoefficientAt(double sampleRate);
    float attackCoefficient() const noexcept { return attackCoeff_; }
    float releaseCoefficient() const noexcept { return releaseCoeff_; }

    // Interleaved frames, in place. Does nothing at all, not even to the envelope, while the
    // boost is exactly 1.
    void process(float* buffer, int64_t channels, int64_t frames) noexcept;

    float envelopeValue() const noexcept { return *envelope_; }

  private:
    // Written by the main thread while blocks render, read once per block.
    RelaxedAtomic<float> boost_{1.0f};
    RelaxedAtomic<float> attackCoeff_;
    RelaxedAtomic<float> releaseCoeff_;

    // Blocks are limited in chunks: the envelope follower is a serial recurrence, but the gain
    // curve and its application are not, and run four frames at a time.
    static constexpr int64_t chunkFrames = 256;

    // The follower's state, kept across blocks and pipelines for the life of the processor.
    std::unique_ptr<float> envelope_;
    // Render thread only: the peak, then the envelope, then the gain, of each frame of the
    // current chunk.
    std::array<float, chunkFrames> chunkLevels_{};
    std::array<float, chunkFrames> chunkGains_{};
};

}  // namespace sorix
