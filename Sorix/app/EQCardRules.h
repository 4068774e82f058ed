#pragma once

#include <span>
#include <string>
#include <vector>

// What the equaliser card shows and how its band sliders map a drag to a gain, kept apart from
// the views so that the views only draw.
namespace sorix::EQCardRules {

// The band sliders reach this far either side of 0 dB.
inline constexpr double maxGain = 12.0;
// The response curve: this many points, computed at this rate, drawn to +-this many dB.
inline constexpr int curvePoints = 64;
inline constexpr float curveSampleRate = 48000.0f;
inline constexpr double curveScaleDB = 9.0;

// The gain a drag `y` down a slider `height` high sets: the top is +maxGain, the middle 0 and the
// bottom -maxGain, in 0.5 dB steps with halves rounded away from zero; beyond the ends, the end.
double bandGainAt(double y, double height, double maxGain);
// "+3" for 3.0, "-12" for -12: a band's gain as its slider labels it.
std::string gainText(double gain);
// The equaliser's summed response to these gains, in dB, 20 Hz to 20 kHz on a log grid.
std::vector<float> responseCurve(std::span<const float> gains);
// Where frequency `hz` lies across the curve's width, 0 at 20 Hz and 1 at 20 kHz.
double curvePosition(double hz);

}  // namespace sorix::EQCardRules
