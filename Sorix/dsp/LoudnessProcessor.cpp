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
    Float4 next(Float4 envelope, Float4 peak) const noexcept {
        const Float4 risen = envelope * attack + peak * oneMinusAttack;
        const Float4 fallen = envelope * release + peak * oneMinusRelease;
        return select(envelope < peak, risen, fallen);
    }
};

// The gain curve: levels up to the knee pass; above it the level bends towards the ceiling.
inline Float4 kneeGain(Float4 envelope) noexcept {
    constexpr float knee = LoudnessProcessor::kneeStart;
    constexpr float width = LoudnessProcessor::kneeWidth;
    const Float4 bent =
        (splat(knee) + splat(width) * tanh4((envelope - splat(knee)) / splat(width))) / envelope;
    return select(envelope > splat(knee), bent, splat(1.0f));
}

inline float clipToCeiling(float y) noexcept {
    if (y > LoudnessProcessor::ceiling) return LoudnessProcessor::ceiling;
    if (y < -LoudnessProcessor::ceiling) return -LoudnessProcessor::ceiling;
    return y;
}

}  // namespace

LoudnessProcessor::LoudnessProcessor() : envelope_(std::make_unique<float>(0.0f)) {}

float LoudnessProcessor::attackCoefficient(double sampleRate) {
    return smoothingCoefficient(sampleRate, 0.001);
}

float LoudnessProcessor::releaseCoefficient(double sampleRate) {
    return smoothingCoefficient(sampleRate, 0.08);
}

void LoudnessProcessor::setSampleRate(double sampleRate) {
    attackCoeff = attackCoefficient(sampleRate);
    releaseCoeff = releaseCoefficient(sampleRate);
}

void LoudnessProcessor::process(float* buffer, int64_t channels, int64_t frames) noexcept {
    const float gainIn = boost;
    if (gainIn == 1.0f) return;

    const float attack = attackCoeff;
    const float release = releaseCoeff;
    const Follower follower{splat(attack), splat(1.0f - attack), splat(release),
                            splat(1.0f - release)};
    Float4 e = splat(*envelope_);

    for (int64_t start = 0; start < frames; start += chunkFrames) {
        const int64_t count = std::min(chunkFrames, frames - start);
        float* chunk = buffer + start * channels;

        // Boost, and follow the linked peak of every frame.
        if (channels == 2) {
            for (int64_t n = 0; n < count; ++n) {
                float* frame = chunk + 2 * n;
                frame[0] *= gainIn;
                frame[1] *= gainIn;
                const float left = std::fabs(frame[0]);
                const float right = std::fabs(frame[1]);
                e = follower.next(e, splat(left > right ? left : right));
                chunkEnvelopes_[n] = e[0];
            }
        } else {
            for (int64_t n = 0; n < count; ++n) {
                float* frame = chunk + n * channels;
                float peak = 0.0f;
                for (int64_t c = 0; c < channels; ++c) {
                    frame[c] *= gainIn;
                    const float magnitude = std::fabs(frame[c]);
                    peak = magnitude > peak ? magnitude : peak;
                }
                e = follower.next(e, splat(peak));
                chunkEnvelopes_[n] = e[0];
            }
        }

        // The gains, four frames at a time (lanes past the chunk's end are never used).
        for (int64_t n = 0; n < count; n += 4) {
            store4(&chunkGains_[n], kneeGain(load4(&chunkEnvelopes_[n])));
        }

        // Apply and clip.
        for (int64_t n = 0; n < count; ++n) {
            const float g = chunkGains_[n];
            float* frame = chunk + n * channels;
            for (int64_t c = 0; c < channels; ++c) frame[c] = clipToCeiling(g * frame[c]);
        }
    }
    *envelope_ = e[0];
}

}  // namespace sorix
