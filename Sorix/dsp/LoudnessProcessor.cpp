#include "LoudnessProcessor.h"

#include <cmath>

namespace sorix {

namespace {

float smoothingCoefficient(double sampleRate, double timeConstantSeconds) {
    // The product is rounded to single precision first, then divided and exponentiated there.
    const auto samples = static_cast<float>(sampleRate * timeConstantSeconds);
    return std::exp(-1.0f / samples);
}

// Follows the linked peak of one frame and returns the gain the limiter applies to it.
inline float limiterGain(float& envelope, float peak, float attack, float oneMinusAttack,
                         float release, float oneMinusRelease) noexcept {
    const bool rising = envelope < peak;
    const float k = rising ? attack : release;
    const float rest = rising ? oneMinusAttack : oneMinusRelease;
    envelope = envelope * k + peak * rest;
    if (envelope > LoudnessProcessor::kneeStart) {
        const float over = (envelope - LoudnessProcessor::kneeStart) / LoudnessProcessor::kneeWidth;
        return (LoudnessProcessor::kneeStart + LoudnessProcessor::kneeWidth * std::tanh(over)) /
               envelope;
    }
    return 1.0f;
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
    const float oneMinusAttack = 1.0f - attack;
    const float oneMinusRelease = 1.0f - release;
    float e = *envelope_;

    if (channels == 2) {
        // The common stereo case without the inner channel loops.
        for (int64_t n = 0; n < frames; ++n) {
            float* frame = buffer + 2 * n;
            const float l = gainIn * frame[0];
            const float r = gainIn * frame[1];
            const float peak = std::fmax(std::fabs(l), std::fabs(r));
            const float g =
                limiterGain(e, peak, attack, oneMinusAttack, release, oneMinusRelease);
            frame[0] = clipToCeiling(g * l);
            frame[1] = clipToCeiling(g * r);
        }
    } else {
        for (int64_t n = 0; n < frames; ++n) {
            float* frame = buffer + n * channels;
            float peak = 0.0f;
            for (int64_t c = 0; c < channels; ++c) {
                frame[c] *= gainIn;
                peak = std::fmax(peak, std::fabs(frame[c]));
            }
            const float g =
                limiterGain(e, peak, attack, oneMinusAttack, release, oneMinusRelease);
            for (int64_t c = 0; c < channels; ++c) frame[c] = clipToCeiling(g * frame[c]);
        }
    }
    *envelope_ = e;
}

}  // namespace sorix
