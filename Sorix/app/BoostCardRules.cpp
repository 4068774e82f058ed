#include "BoostCardRules.h"

#include <algorithm>
#include <cmath>

#include "BoostRange.h"

namespace sorix::BoostCardRules {

namespace {

constexpr double kStepsPerUnit = 20;  // 5 % steps
constexpr double kLabelLeftInset = 15;
constexpr double kLabelRightInset = 17;

// A value's whole hundredths, read through the binary noise of a grid value: 1.15 is stored as
// 1.14999999999999991 and must not show as 114.
long wholeHundredths(double value) { return static_cast<long>(std::floor(value * 100 + 1e-9)); }

}  // namespace

double sliderValue(double fraction, std::optional<double> cap) {
    const double t = std::clamp(std::isnan(fraction) ? 0.0 : fraction, 0.0, 1.0);
    double value = lowerEnd * std::pow(upperEnd / lowerEnd, t);
    value = std::min(value, cap.value_or(upperEnd));
    return std::trunc(value * kStepsPerUnit) / kStepsPerUnit;
}

double sliderFraction(double value) {
    if (!(value > 0)) return 0;
    return std::log(value / lowerEnd) / std::log(upperEnd / lowerEnd);
}

double scaleLabelCentre(double value, double width) {
    const double centre = width * sliderFraction(value);
    return std::max(kLabelLeftInset, std::min(centre, width - kLabelRightInset));
}

double effectiveBoost(double volumeBoost, bool safeMode) {
    return safeMode ? std::min(volumeBoost, static_cast<double>(BoostRange::safeModeCap))
                    : volumeBoost;
}

std::string percentText(double boost) { return std::to_string(wholeHundredths(boost)); }

bool subtitleWarns(double volumeBoost, bool safeMode) {
    return safeMode && volumeBoost > BoostRange::safeModeCap;
}

std::string subtitle(double volumeBoost, bool safeMode) {
    if (subtitleWarns(volumeBoost, safeMode))
        return "Safe Mode is capping " + percentText(volumeBoost) + "% to 200%";
    return "System volume boosted beyond 100%";
}

LimiterRow limiterRow(bool safeMode, double volumeBoost) {
    if (!safeMode) return {"Limiter Off", "Safeguards off • Tap to restore Safe Mode", true, false};
    if (volumeBoost > BoostRange::safeModeCap)
        return {"Boost Capped — Tap to Unlock", "Safe Mode limits output to 200% • Tap to unlock",
                true, true};
    return {"Limiter On (Safe Mode)", "Peak protection enabled • Tap to unlock 800%", false, true};
}

}  // namespace sorix::BoostCardRules
