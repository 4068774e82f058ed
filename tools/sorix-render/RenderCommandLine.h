#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "EQProcessor.h"

namespace sorix::render {

// How the equaliser is set: a preset as the engine's preset control applies it, or custom gains
// as its custom control applies them (clamped to +-12 dB, padded or cut to six).
struct EqualiserChoice {
    std::optional<EQProcessor::Preset> preset;
    std::optional<std::vector<float>> gains;
};

struct OutputSpec {
    std::string path;
    std::optional<uint32_t> channels;  // default: the input's
    float gain = 1.0f;
    double delayMs = 0.0;
};

struct RenderOptions {
    std::string input;
    std::vector<OutputSpec> outputs;
    float boost = 1.0f;
    EqualiserChoice equaliser;
    uint32_t blockFrames = 512;
    bool bypass = false;
};

struct CurveOptions {
    EqualiserChoice equaliser;
    float sampleRate = 48000.0f;
    int points = 64;
};

struct HelpRequest {};
struct UsageError {
    std::string message;
};

using Command = std::variant<RenderOptions, CurveOptions, HelpRequest, UsageError>;

Command parseCommandLine(const std::vector<std::string>& arguments);
extern const char* const usageText;

// The six gains the processor ends up with for this choice.
std::vector<float> equaliserGains(const EqualiserChoice& choice);
void applyEqualiser(const EqualiserChoice& choice, EQProcessor& eq);

}  // namespace sorix::render
