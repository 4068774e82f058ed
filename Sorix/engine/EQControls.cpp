#include "EQControls.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "DecimalText.h"

namespace sorix {

namespace {

// A hand-edited list may well read "3, 0, -1.5".
std::string_view trimmed(std::string_view piece) {
    constexpr std::string_view blanks = " \t";
    const std::size_t first = piece.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return piece.substr(first, piece.find_last_not_of(blanks) - first + 1);
}

// One gain in "C" notation whatever the process's locale (the program runs in the user's, where
// "3.5" may not be a number at all). A leading '+' is allowed, as in "+3"; anything that is not
// one whole finite single-precision number counts as 0 dB, so "nan" and "1e999" are flat too.
float gainOfPiece(std::string_view piece) {
    if (piece.front() == '+') {
        piece.remove_prefix(1);
        if (piece.empty() || piece.front() == '-') return 0.0f;
    }
    float value = 0.0f;
    const char* const end = piece.data() + piece.size();
    const auto [stop, error] = std::from_chars(piece.data(), end, value);
    if (error != std::errc{} || stop != end || !std::isfinite(value)) return 0.0f;
    return value;
}

}  // namespace

void setEQPreset(EQProcessor& eq, const Logger& log, EQProcessor::Preset preset) {
    log.log("EQ preset -> %{public}s", std::string(EQProcessor::rawValue(preset)));
    eq.setGains(EQProcessor::gains(preset));
}

void setEQGains(EQProcessor& eq, const Logger& log, std::span<const float> gains) {
    // The text is only worth building when someone reads it.
    if (log.isEnabled(LogLevel::standard)) {
        log.log("EQ custom gains -> %{public}s", formatCustomEQGains(gains));
    }
    eq.setGains(gains);
}

std::string formatCustomEQGains(std::span<const float> gains) {
    std::string text;
    for (float gain : gains) {
        if (!text.empty()) text += ',';
        text += fixedDecimal(static_cast<double>(gain), 1);
    }
    return text;
}

std::array<float, EQProcessor::bandCount> parseCustomEQGains(std::string_view text) {
    std::array<float, EQProcessor::bandCount> gains{};
    std::size_t count = 0;
    std::size_t start = 0;
    while (start <= text.size() && count < gains.size()) {
        const std::size_t end = std::min(text.find(',', start), text.size());
        const std::string_view piece = trimmed(text.substr(start, end - start));
        start = end + 1;
        if (piece.empty()) continue;
        gains[count++] = gainOfPiece(piece);
    }
    return gains;
}

EQProcessor::Preset storedPreset(std::string_view rawValue) {
    return EQProcessor::preset(rawValue).value_or(EQProcessor::Preset::flat);
}

}  // namespace sorix
