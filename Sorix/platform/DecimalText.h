#pragma once

#include <algorithm>
#include <charconv>
#include <string>

namespace sorix {

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
