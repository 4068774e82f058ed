#include "EQCardRules.h"

#include <algorithm>
#include <cmath>

#include "DecimalText.h"
#include "EQProcessor.h"

namespace sorix::EQCardRules {

double bandGainAt(double y, double height, double maxGain) {
    const double t = height > 0 ? std::clamp(y / height, 0.0, 1.0) : 0.5;
    const double value = 2 * (1 - t) * maxGain - maxGain;
    // std::round takes halves away from zero, as the half-dB grid wants.
    return std::round(2 * value) / 2;
}

std::string gainText(double gain) {
    const std::string digits = fixedDecimal(gain, 0);
    return digits.front() == '-' ? digits : "+" + digits;
}

std::vector<float> responseCurve(std::span<const float> gains) {
    return EQProcessor::responseCurveDB(gains, curveSampleRate, curvePoints);
}

double curvePosition(double hz) { return std::log(hz / 20.0) / std::log(1000.0); }

}  // namespace sorix::EQCardRules
