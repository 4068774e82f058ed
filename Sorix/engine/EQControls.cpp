#include "EQControls.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace sorix {

void setEQPreset(EQProcessor& eq, const Logger& log, EQProcessor::Preset preset) {
    log.log("EQ preset -> %{public}s", std::string(EQProcessor::rawValue(preset)));
    eq.gainsDB = EQProcessor::gains(preset);
    eq.recompute();
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
    char piece[32];
    for (float gain : gains) {
        std::snprintf(piece, sizeof piece, "%.1f", static_cast<double>(gain));
        if (!text.empty()) text += ',';
        text += piece;
    }
    return text;
}

std::array<float, EQProcessor::bandCount> parseCustomEQGains(std::string_view text) {
    std::array<float, EQProcessor::bandCount> gains{};
    std::size_t count = 0;
    std::size_t start = 0;
    while (start <= text.size() && count < gains.size()) {
        const std::size_t end = std::min(text.find(',', start), text.size());
        const std::string piece(text.substr(start, end - start));
        start = end + 1;
        if (piece.empty()) continue;
        char* parsedEnd = nullptr;
        const float value = std::strtof(piece.c_str(), &parsedEnd);
        const bool number = parsedEnd == piece.c_str() + piece.size();
        gains[count++] = number ? value : 0.0f;
    }
    return gains;
}

EQProcessor::Preset storedPreset(std::string_view rawValue) {
    return EQProcessor::preset(rawValue).value_or(EQProcessor::Preset::flat);
}

}  // namespace sorix
