#pragma once

#include <string>

// How the output card's rows map a drag to a volume or a delay, and what they read.
namespace sorix::OutputCardRules {

inline constexpr double maxDelayMs = 1500.0;
inline constexpr double delayStepMs = 10.0;

// The volume a drag to `x` across a bar `width` wide sets: 0 to 1 in steps of 0.05.
double volumeAt(double x, double width);
// "57%" for 0.57: the whole percent, truncated, so 0.999 is not yet "100%".
std::string volumeText(double volume);

// The delay a drag to `x` across a bar `width` wide sets: 0 to 1500 ms in steps of 10.
double delayAt(double x, double width);
// The minus (`steps` -1) and plus (+1) buttons: 10 ms a press, held to 0 and 1500.
double delayStepped(double delayMs, int steps);
// "off" for none, else the whole milliseconds without a unit.
std::string delayText(double delayMs);

}  // namespace sorix::OutputCardRules
