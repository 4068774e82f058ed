#include <algorithm>
#include <cmath>

#include "EQProcessor.h"

namespace sorix {

namespace {

// Magnitude of one biquad at angular frequency w, in dB. The floors keep the result finite for
// any coefficients (at most -120 dB per filter).
float magnitudeDB(const EQProcessor::Coeff& c, float cosW, float sinW, float cos2W, float sin2W) {
    const float nr = c.b0 + c.b1 * cosW + c.b2 * cos2W;
    const float ni = c.b1 * sinW + c.b2 * sin2W;
    const float dr = 1.0f + c.a1 * cosW + c.a2 * cos2W;
    const float di = c.a1 * sinW + c.a2 * sin2W;
    const float magnitude = std::sqrt((nr * nr + ni * ni) / std::fmax(dr * dr + di * di, 1e-12f));
    return 20.0f * std::log10(std::fmax(magnitude, 1e-6f));
}

}  // namespace

float EQProcessor::responseCurveFrequency(int index, int points) {
    // A single point has no span to spread over; it sits at the low end, 20 Hz.
    const float position =
        points > 1 ? static_cast<float>(index) / static_cast<float>(points - 1) : 0.0f;
    return std::pow(20000.0f / 20.0f, position) * 20.0f;
}

std::vector<float> EQProcessor::responseCurveDB(std::span<const float> gains, float rate,
                                                int points) {
    std::vector<Coeff> filters;
    for (int b = 0; b < bandCount; ++b) {
        const float g = b < static_cast<int>(gains.size()) ? gains[b] : 0.0f;
        if (std::fabs(g) > inactiveGainDB) filters.push_back(coefficient(bands[b], g, rate));
    }

    std::vector<float> curve(static_cast<std::size_t>(std::max(points, 0)), 0.0f);
    for (int i = 0; i < points; ++i) {
        const float w = responseCurveFrequency(i, points) * 6.283185f / rate;
        const float cosW = std::cos(w), sinW = std::sin(w);
        const float cos2W = std::cos(2.0f * w), sin2W = std::sin(2.0f * w);
        float sum = 0.0f;
        for (const Coeff& c : filters)
            sum += magnitudeDB(c, cosW, sinW, cos2W, sin2W);
        curve[static_cast<std::size_t>(i)] = sum;
    }
    return curve;
}

}  // namespace sorix
