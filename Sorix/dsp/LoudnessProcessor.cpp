#include "LoudnessProcessor.h"

#include <algorithm>
#include <cmath>

#include "FastTanh.h"

namespace sorix {

namespace {

float smoothingCoefficient(double sampleRate, double timeConstantSeconds) {
    // The product is rounded to single precision first, then divided and exponentiated there.
    const auto samples = static_cast<float>(sampleRate * timeConstantSeconds);
    return std::exp(-1.0f / samples);
}

// The follower: one-pole smoothing of the frame's linked peak, fast while the level rises. Kept
// in vector registers (lane 0 counts) so the choice of coefficient is a blend, not a branch:
// whether a noisy level rises or falls is unpredictable.
struct Follower {
    Float4 attack, oneMinusAttack, release, oneMinusRelease;

    // Both candidates are formed before the comparison settles, which shortens the chain from
    // one frame's envelope to the next.
    [[gnu::always_inline]] Float4 next(Float4 envelope, Float4 peak) const noexcept {
        const Float4 risen = envelope * attack + peak * oneMinusAttack;
        const Float4 fallen = envelope * release + peak * oneMinusRelease;
        return select(envelope < peak, risen, fallen);
    }
};

// The gain curve: levels up to the knee pass; above it the level bends towards the ceiling.
SORIX_LANES_INLINE Float8 kneeGain(Float8 envelope) noexcept {
    constexpr float knee = LoudnessProcessor::kneeStart;
    constexpr float width = LoudnessProcessor::kneeWidth;
    const Float8 bent = (knee + width * tanh8((envelope - knee) / width)) / envelope;
    return select(envelope > knee, bent, Float8{} + 1.0f);
}

inline float clipToCeiling(float y) noexcept {
    if (y > LoudnessProcessor::ceiling) return LoudnessProcessor::ceiling;
    if (y < -LoudnessProcessor::ceiling) return -LoudnessProcessor::ceiling;
    return y;
}

SORIX_LANES_INLINE Float4 clipToCeiling(Float4 y) noexcept {
    constexpr float ceiling = LoudnessProcessor::ceiling;
    return select(y > splat(ceiling), splat(ceiling),
                  select(y < splat(-ceiling), splat(-ceiling), y));
}

// Stereo frames two at a time: boosts them in place and stores each frame's peak.
SORIX_LANES_INLINE void boostStereo(float* frames, int64_t count, float boost,
                                    float* peaks) noexcept {
    int64_t n = 0;
    for (; n + 2 <= count; n += 2) {
        const Float4 x = load4(frames + 2 * n) * splat(boost);
        store4(frames + 2 * n, x);
        const Float4 magnitude = abs4(x);
        const Float4 neighbour = swapPairs(magnitude);
        const Float4 peak = select(neighbour > magnitude, neighbour, magnitude);
        peaks[n] = peak[0];
        peaks[n + 1] = peak[2];
    }
    for (; n < count; ++n) {
        float* frame = frames + 2 * n;
        frame[0] *= boost;
        frame[1] *= boost;
        const float left = std::fabs(frame[0]);
        const float right = std::fabs(frame[1]);
        peaks[n] = right > left ? right : left;
    }
}

SORIX_LANES_INLINE void applyStereo(float* frames, int64_t count, const float* gains) noexcept {
    int64_t n = 0;
    for (; n + 2 <= count; n += 2) {
        const Float4 g{gains[n], gains[n], gains[n + 1], gains[n + 1]};
        store4(frames + 2 * n, clipToCeiling(g * load4(frames + 2 * n)));
    }
    for (; n < count; ++n) {
        frames[2 * n] = clipToCeiling(gains[n] * frames[2 * n]);
        frames[2 * n + 1] = clipToCeiling(gains[n] * frames[2 * n + 1]);
    }
}

}  // namespace

LoudnessProcessor::LoudnessProcessor()
    : attackCoeff_(attackCoefficientAt(RenderSpec{}.sampleRate)),
      releaseCoeff_(releaseCoefficientAt(RenderSpec{}.sampleRate)),
      envelope_(std::make_unique<float>(0.0f)) {}

void LoudnessProcessor::prepare(const RenderSpec& spec) noexcept {
    if (!(spec.sampleRate > 0) || !std::isfinite(spec.sampleRate)) return;
    attackCoeff_ = attackCoefficientAt(spec.sampleRate);
    releaseCoeff_ = releaseCoefficientAt(spec.sampleRate);
}

void LoudnessProcessor::reset() noexcept { *envelope_ = 0.0f; }

float LoudnessProcessor::attackCoefficientAt(double sampleRate) {
    return smoothingCoefficient(sampleRate, 0.001);
}

float LoudnessProcessor::releaseCoefficientAt(double sampleRate) {
    return smoothingCoefficient(sampleRate, 0.08);
}

SORIX_RENDER_CLONES void LoudnessProcessor::process(float* buffer, int64_t channels,
                                                    int64_t frames) noexcept {
    // setBoost lets only finite factors through: a NaN would stay in the envelope for good.
    const float gainIn = boost_;
    if (gainIn == 1.0f) return;

    const float attack = attackCoeff_;
    const float release = releaseCoeff_;
    const Follower follower{splat(attack), splat(1.0f - attack), splat(release),
                            splat(1.0f - release)};
    Float4 e = splat(*envelope_);

    for (int64_t start = 0; start < frames; start += chunkFrames) {
        const int64_t count = std::min(chunkFrames, frames - start);
        float* chunk = buffer + start * channels;
        float* levels = chunkLevels_.data();

        // Boost, and take the linked peak of every frame.
        if (channels == 2) {
            boostStereo(chunk, count, gainIn, levels);
        } else {
            for (int64_t n = 0; n < count; ++n) {
                float* frame = chunk + n * channels;
                float peak = 0.0f;
                for (int64_t c = 0; c < channels; ++c) {
                    frame[c] *= gainIn;
                    const float magnitude = std::fabs(frame[c]);
                    peak = magnitude > peak ? magnitude : peak;
                }
                levels[n] = peak;
            }
        }

        // The only serial step: the envelope follows the peaks frame by frame.
        for (int64_t n = 0; n < count; ++n) {
            e = follower.next(e, splat(levels[n]));
            levels[n] = e[0];
        }

        // The gains, eight frames at a time (lanes past the chunk's end are never used).
        for (int64_t n = 0; n < count; n += 8)
            store8(&chunkGains_[n], kneeGain(load8(&levels[n])));

        if (channels == 2) {
            applyStereo(chunk, count, chunkGains_.data());
        } else {
            for (int64_t n = 0; n < count; ++n) {
                const float g = chunkGains_[n];
                float* frame = chunk + n * channels;
                for (int64_t c = 0; c < channels; ++c)
                    frame[c] = clipToCeiling(g * frame[c]);
            }
        }
    }
    *envelope_ = e[0];
}

}  // namespace sorix
