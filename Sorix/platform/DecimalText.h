#pragma once

#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>

namespace sorix {

// A number as typed on a command line, read the same in every locale. The whole text must be
// one plain decimal number, so a typo such as "2x", "1,5" or an empty field is refused instead
// of being read up to the slip. Hex, a leading '+' or space, nan and inf are refused too, as is
// a value the type cannot hold, and a fraction where a whole number is expected.
template <typename T>
std::optional<T> parseDecimal(std::string_view text) {
    T value{};
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (text.empty() || error != std::errc{} || stop != end) return std::nullopt;
    if constexpr (std::is_floating_point_v<T>) {
        if (!std::isfinite(value)) return std::nullopt;
    }
    return value;
}

// A number with a fixed count of decimals, as printf's "%.Nf" prints it in the "C" locale,
// whatever locale the process runs in: the settings file and the log always use '.'.
inline std::string fixedDecimal(double value, int decimals) {
    // Room for the largest double's 309 digits, its sign and point, and the decimals.
    std::string text(320 + static_cast<std::size_t>(std::max(decimals, 0)), '\0');
    const auto result = std::to_chars(text.data(), text.data() + text.size(), value,
                                      std::chars_format::fixed, decimals);
    text.resize(static_cast<std::size_t>(result.ptr - text.data()));
    return text;
}

}  // namespace sorix
