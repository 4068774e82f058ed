#include "OutputCardRules.h"

#include <algorithm>
#include <cmath>

namespace sorix::OutputCardRules {

double volumeAt(double x, double width) {
    const double fraction = width > 0 ? std::clamp(x / width, 0.0, 1.0) : 0.0;
    return std::round(fraction * 20) / 20;
}

std::string volumeText(double volume) {
    // Volumes arrive in single precision: 0.57 is 0.569999993 and must still read 57%. A
    // ten-thousandth of a percent is far below anything a row can set.
    return std::to_string(static_cast<long long>(std::trunc(volume * 100 + 1e-4))) + "%";
}

double delayAt(double x, double width) {
    const double fraction = width > 0 ? std::max(x / width, 0.0) : 0.0;
    if (fraction > 1) return maxDelayMs;
    return std::round(fraction * maxDelayMs / delayStepMs) * delayStepMs;
}

double delayStepped(double delayMs, int steps) {
    return std::clamp(delayMs + steps * delayStepMs, 0.0, maxDelayMs);
}

std::string delayText(double delayMs) {
    if (!(delayMs > 0)) return "off";
    return std::to_string(static_cast<long long>(std::trunc(delayMs)));
}

}  // namespace sorix::OutputCardRules
