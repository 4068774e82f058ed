#pragma once

#include <optional>
#include <string>

// What the boost card shows and how its slider maps a drag to a boost, kept apart from the views
// so that the views only draw and every rule has one home.
namespace sorix::BoostCardRules {

// The slider's scale: 100 % to 800 %, logarithmic.
inline constexpr double lowerEnd = 1.0;
inline constexpr double upperEnd = 8.0;

// The boost a drag to `fraction` of the track (0 at the left end, 1 at the right) sets: on the
// logarithmic scale, held to `cap` (Safe Mode) or the upper end, cut down to 5 % steps.
double sliderValue(double fraction, std::optional<double> cap);
// Where a value sits on the track, as a fraction of its width (the inverse of the scale).
double sliderFraction(double value);
// Where a scale label's centre sits on a track `width` wide: at its value, but never closer to
// the ends than the label's half width.
double scaleLabelCentre(double value, double width);

// The boost that reaches the audio and the large number: capped at 2.0 while Safe Mode is on.
double effectiveBoost(double volumeBoost, bool safeMode);
// "250" for 2.5: the whole percent of a boost. A boost on the 5 % grid shows its own percentage,
// though 1.15 is a hair below 1.15 in binary.
std::string percentText(double boost);

// The line under the large number, and whether it warns (amber) rather than informs.
std::string subtitle(double volumeBoost, bool safeMode);
bool subtitleWarns(double volumeBoost, bool safeMode);

// The limiter row.
struct LimiterRow {
    std::string title;
    std::string subtitle;
    bool warns;   // amber; else the Safe Mode cyan
    bool shield;  // a whole shield; else the struck-through one
};
LimiterRow limiterRow(bool safeMode, double volumeBoost);

}  // namespace sorix::BoostCardRules
