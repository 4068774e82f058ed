#pragma once

#include <array>
#include <optional>
#include <vector>

#include "EQProcessor.h"

namespace sorix::render {

// How the equaliser is set: a preset, or custom gains, or neither (flat).
struct EqualiserChoice {
    std::optional<EQProcessor::Preset> preset;
    std::optional<std::vector<float>> gains;
};

// Applies the choice the way the engine's controls do: a preset's table gains as they stand
// (custom has six zeros), custom gains through setGains (clamped to +-12 dB, six of them).
void applyEqualiser(const EqualiserChoice& choice, EQProcessor& eq);

// The six gains the equaliser holds after applyEqualiser.
std::array<float, EQProcessor::bandCount> equaliserGains(const EqualiserChoice& choice);

}  // namespace sorix::render
