#pragma once

// The boost stage and the equaliser written the plain way, one frame at a time straight from
// their formulas, plus the helpers the tests share. The optimised render code must agree with
// these to the bit.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "EQProcessor.h"
#include "FastTanh.h"

namespace sorix::ref {

struct Limiter {
    float envelope = 0.0f;

    void process(float* buf, int64_t channels, int64_t frames, float boost, float attack,
                 float release) {
        if (boost == 1.0f || !std::isfinite(boost)) return;
        for (int64_t n = 0; n < frames; ++n) {
            float* frame = buf + n * channels;
            float peak = 0.0f;
            for (int64_t c = 0; c < channels; ++c) {
                frame[c] = boost * frame[c];
                peak = std::max(peak, std::fabs(frame[c]));
            }
            const float k = envelope < peak ? attack : release;
            envelope = envelope * k + peak * (1.0f - k);
            float g = 1.0f;
            if (envelope > 0.6f) g = (0.6f + 0.37f * tanhOf((envelope - 0.6f) / 0.37f)) / envelope;
            for (int64_t c = 0; c < channels; ++c) {
                const float y = g * frame[c];
                frame[c] = y > 0.97f ? 0.97f : (y < -0.97f ? -0.97f : y);
            }
        }
    }
};

struct Equaliser {
    std::array<EQProcessor::Coeff, 6> coeffs{};
    float memory[8][6][4] = {};  // x1, x2, y1, y2 per channel and band

    // Runs these filters from silence, as a recompute of an active set or useCoefficients() does.
    void reset(const std::array<EQProcessor::Coeff, 6>& given) {
        coeffs = given;
        std::memset(memory, 0, sizeof memory);
    }

    void process(float* buf, int64_t channels, int64_t frames) {
        if (channels > 8) return;
        for (int64_t n = 0; n < frames; ++n) {
            for (int64_t c = 0; c < channels; ++c) {
                float x = buf[n * channels + c];
                for (int b = 0; b < 6; ++b) {
                    const EQProcessor::Coeff& k = coeffs[b];
                    float* m = memory[c][b];
                    const float y =
                        k.b0 * x + k.b1 * m[0] + k.b2 * m[1] - k.a1 * m[2] - k.a2 * m[3];
                    m[1] = m[0];
                    m[0] = x;
                    m[3] = m[2];
                    m[2] = y;
                    x = y;
                }
                if (!std::isfinite(x)) {
                    x = 0.0f;
                } else if (std::fabs(x) > 0.92f) {
                    const float bent =
                        0.92f + (1.0f - 0.92f) * tanhOf((std::fabs(x) - 0.92f) / (1.0f - 0.92f));
                    x = std::copysign(bent, x);
                }
                buf[n * channels + c] = x;
            }
        }
        // Channels run in pairs (an odd last one alone); a pair whose memories are no longer
        // finite starts the next block from silence.
        for (int64_t first = 0; first < channels; first += 2) {
            const int64_t last = std::min(first + 1, channels - 1);
            bool finite = true;
            for (int64_t c = first; c <= last; ++c)
                for (int b = 0; b < 6; ++b)
                    for (float value : memory[c][b])
                        finite = finite && std::isfinite(value);
            if (!finite) {
                for (int64_t c = first; c <= last; ++c)
                    std::memset(memory[c], 0, sizeof memory[c]);
            }
        }
    }
};

// Noise whose loudness swells and fades over a few thousand frames, so the limiter's envelope
// crosses its knee both ways and the equaliser's soft clipper engages now and then.
inline std::vector<float> program(int64_t channels, int64_t frames, float scale, uint32_t seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> noise(-1.0f, 1.0f);
    std::vector<float> v(static_cast<std::size_t>(channels * frames));
    for (std::size_t i = 0; i < v.size(); ++i) {
        const float swell =
            0.5f + 0.5f * std::sin(static_cast<float>(static_cast<int64_t>(i) / channels) * 0.002f);
        v[i] = scale * swell * noise(rng);
    }
    return v;
}

// The index of the first sample whose bits differ, or -1 when the two agree to the bit.
inline int64_t firstMismatch(const std::vector<float>& a, const std::vector<float>& b) {
    if (a.size() != b.size()) return 0;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (std::memcmp(&a[i], &b[i], sizeof(float)) != 0) return static_cast<int64_t>(i);
    return -1;
}

// Block sizes around the vector widths, the equaliser's pipeline depth and the limiter's chunk.
inline constexpr std::array<int64_t, 15> kBlockSizes = {1,  2,  3,   4,   5,   9,   10,  11,
                                                        12, 64, 255, 256, 257, 511, 4096};

}  // namespace sorix::ref
