#pragma once

#include <charconv>
#include <cmath>
#include <optional>
#include <string_view>
#include <system_error>
#include <type_traits>

namespace sorix::render {

// A number as typed on the command line. The whole text must be one plain decimal number, so a
// typo such as "2x", "1,5" or an empty field is refused instead of being read up to the slip.
// Hex, a leading '+' or space, nan and inf are refused too, as is a value the type cannot hold,
// and a fraction where a whole number is expected.
template <typename T>
std::optional<T> parseNumber(std::string_view text) {
    T value{};
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (text.empty() || error != std::errc{} || stop != end) return std::nullopt;
    if constexpr (std::is_floating_point_v<T>) {
        if (!std::isfinite(value)) return std::nullopt;
    }
    return value;
}

}  // namespace sorix::render
