#pragma once

#include <algorithm>
#include <cmath>
#include <concepts>

namespace sorix {

// A control value held to its range before it reaches the render path. NaN has no place in any
// range and std::clamp lets it through, so it becomes the control's default; an infinity is just
// a value beyond one end and is clamped like any other.
template <std::floating_point T>
constexpr T clampedOr(T value, T fallback, T low, T high) noexcept {
    if (std::isnan(value)) return fallback;
    return std::clamp(value, low, high);
}

}  // namespace sorix
