#pragma once

#include <algorithm>
#include <cmath>

namespace sorix::BoostRange {

// The boosts a user can choose, 100 % to 800 %, and the cap Safe Mode holds them to.
inline constexpr float minimum = 1.0f;
inline constexpr float maximum = 8.0f;
inline constexpr float safeModeCap = 2.0f;

// The boost in effect for a factor as stored, typed or dragged: within minimum..maximum, and at
// most safeModeCap while Safe Mode is on. NaN is no boost; an infinity is just beyond an end. A
// double is held to the range before it is narrowed, so 1e300 is the maximum, not infinity.
inline float effective(double factor, bool safeMode) noexcept {
    if (std::isnan(factor)) return minimum;
    const double ceiling = safeMode ? safeModeCap : maximum;
    return static_cast<float>(std::clamp(factor, static_cast<double>(minimum), ceiling));
}

// Whether a factor asked for outright (on a command line) is one the user can choose.
constexpr bool offers(double factor) noexcept { return factor >= minimum && factor <= maximum; }

}  // namespace sorix::BoostRange
