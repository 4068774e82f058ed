#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "EqualiserChoice.h"

namespace sorix::render {

inline constexpr uint32_t kMaxFileChannels = 64;

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

// Reads the arguments after the program name. Every mistake is a UsageError with one line of
// explanation; files are not opened here.
Command parseCommandLine(const std::vector<std::string>& arguments);

extern const char* const usageText;

}  // namespace sorix::render
