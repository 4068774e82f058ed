#pragma once

#include <array>
#include <span>
#include <string>
#include <string_view>

#include "EQProcessor.h"
#include "Logger.h"

namespace sorix {

// The two ways the equaliser of a running engine is set, with their log lines; both take effect
// on the next render block.
// A named preset, its table gains assigned as they stand (custom assigns six zeros).
void setEQPreset(EQProcessor& eq, const Logger& log, EQProcessor::Preset preset);
// The user's own gains: logged as given, then clamped to +-12 dB, padded or cut to six.
void setEQGains(EQProcessor& eq, const Logger& log, std::span<const float> gains);

// The stored text of the custom gains: each "%.1f" with a '.' whatever the locale, joined by ","
// without spaces.
std::string formatCustomEQGains(std::span<const float> gains);
// Reading it back, whatever the locale: blanks around a piece are ignored, empty pieces are
// dropped, a piece that is not one finite number ("+3" is one; "nan", "1e999" and "3x" are not)
// counts as 0, and the result is padded with zeros or cut to six.
std::array<float, EQProcessor::bandCount> parseCustomEQGains(std::string_view text);
// The stored preset name; one that names no preset is flat.
EQProcessor::Preset storedPreset(std::string_view rawValue);

}  // namespace sorix
