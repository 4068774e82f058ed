#include "RenderCommandLine.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <set>
#include <string_view>

#include "BoostRange.h"
#include "DecimalText.h"
#include "RenderPath.h"

namespace sorix::render {

namespace {

constexpr float kMaxOutputGain = 1000.0f;
constexpr double kMaxDelayMs = 1500.0;
constexpr int kMaxCurvePoints = 100'000;

enum class Option { in, out, boost, preset, gains, block, bypass, curve, rate, points, help };

struct OptionName {
    std::string_view name;
    Option option;
    bool takesValue;
};

constexpr std::array<OptionName, 11> kOptions = {{
    {"--in", Option::in, true},
    {"--out", Option::out, true},
    {"--boost", Option::boost, true},
    {"--preset", Option::preset, true},
    {"--gains", Option::gains, true},
    {"--block", Option::block, true},
    {"--bypass", Option::bypass, false},
    {"--curve", Option::curve, false},
    {"--rate", Option::rate, true},
    {"--points", Option::points, true},
    {"--help", Option::help, false},
}};

const OptionName* findOption(std::string_view name) {
    const auto* found = std::find_if(kOptions.begin(), kOptions.end(),
                                     [&](const OptionName& o) { return o.name == name; });
    return found == kOptions.end() ? nullptr : found;
}

bool rendersOnly(Option option) {
    return option == Option::in || option == Option::out || option == Option::boost ||
           option == Option::block || option == Option::bypass;
}

// Keeps empty pieces: "a::b" and "a:" have an empty field, which is a mistake to report.
std::vector<std::string_view> split(std::string_view text, char separator) {
    std::vector<std::string_view> pieces;
    for (;;) {
        const std::size_t at = text.find(separator);
        pieces.push_back(text.substr(0, at));
        if (at == std::string_view::npos) return pieces;
        text.remove_prefix(at + 1);
    }
}

std::string inQuotes(std::string_view text) {
    // Built up piece by piece: GCC 12 misreports a restrict overlap for "'" + std::string + "'".
    std::string quoted = "'";
    quoted.append(text).push_back('\'');
    return quoted;
}

std::string presetNames() {
    std::string names;
    for (EQProcessor::Preset preset : EQProcessor::allPresets) {
        if (!names.empty()) names += ", ";
        names += EQProcessor::rawValue(preset);
    }
    return names;
}

// Two spellings of one file ("out.wav", "./out.wav", through a symlink) must count as the same.
std::filesystem::path identity(const std::string& path) {
    std::error_code error;
    const std::filesystem::path absolute = std::filesystem::absolute(path, error);
    if (error) return std::filesystem::path(path).lexically_normal();
    // Made absolute first: a relative path whose first part does not exist comes back as is.
    std::filesystem::path canonical = std::filesystem::weakly_canonical(absolute, error);
    return error ? absolute.lexically_normal() : canonical;
}

std::optional<std::string> readOutput(std::string_view text, OutputSpec& output) {
    const std::string where = "--out " + inQuotes(text) + ": ";
    const std::vector<std::string_view> fields = split(text, ':');
    if (fields.size() > 4) {
        return where + "expected PATH[:CHANNELS[:GAIN[:DELAY_MS]]] (a path cannot contain ':')";
    }
    if (fields[0].empty()) return where + "the path is empty";
    output.path = fields[0];
    if (fields.size() > 1) {
        const auto channels = parseDecimal<uint32_t>(fields[1]);
        if (!channels || *channels < 1 || *channels > kMaxFileChannels)
            return where + "channels must be a whole number from 1 to 64";
        output.channels = *channels;
    }
    if (fields.size() > 2) {
        const auto gain = parseDecimal<float>(fields[2]);
        if (!gain || *gain < 0.0f || *gain > kMaxOutputGain)
            return where + "gain must be a number from 0 to 1000";
        output.gain = *gain;
    }
    if (fields.size() > 3) {
        const auto delay = parseDecimal<double>(fields[3]);
        if (!delay || *delay < 0.0 || *delay > kMaxDelayMs)
            return where + "delay must be a number of milliseconds from 0 to 1500";
        output.delayMs = *delay;
    }
    return std::nullopt;
}

std::optional<std::string> readEqualiser(const std::optional<std::string>& presetName,
                                         const std::optional<std::string>& gainsText,
                                         EqualiserChoice& choice) {
    if (presetName && gainsText) return "--preset and --gains cannot be combined";
    if (presetName) {
        choice.preset = EQProcessor::preset(*presetName);
        if (!choice.preset)
            return "unknown preset " + inQuotes(*presetName) + " (one of " + presetNames() + ")";
    }
    if (gainsText) {
        choice.gains.emplace();
        for (std::string_view piece : split(*gainsText, ',')) {
            const auto gain = parseDecimal<float>(piece);
            if (!gain) return "--gains: " + inQuotes(piece) + " is not a number";
            choice.gains->push_back(*gain);
        }
    }
    return std::nullopt;
}

std::optional<std::string> checkOutputs(const RenderOptions& render) {
    if (render.outputs.size() > RenderBuffers::outputSlots) return "at most 32 outputs";
    const std::filesystem::path input = identity(render.input);
    std::set<std::filesystem::path> seen;
    for (const OutputSpec& output : render.outputs) {
        const std::filesystem::path path = identity(output.path);
        if (path == input) return "output " + inQuotes(output.path) + " would overwrite the input";
        if (!seen.insert(path).second) return "output " + inQuotes(output.path) + " given twice";
    }
    return std::nullopt;
}

}  // namespace

Command parseCommandLine(const std::vector<std::string>& arguments) {
    RenderOptions render;
    CurveOptions curve;
    bool curveMode = false;
    std::string_view renderOption, curveOption;  // the first of each seen, for mix-ups
    std::optional<std::string> presetName, gainsText;

    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& name = arguments[i];
        const OptionName* known = findOption(name);
        if (known == nullptr) return UsageError{"unknown option " + inQuotes(name)};
        if (known->option == Option::help) return HelpRequest{};
        std::string value;
        if (known->takesValue) {
            if (i + 1 == arguments.size()) return UsageError{name + " needs a value"};
            value = arguments[++i];
        }
        if (rendersOnly(known->option) && renderOption.empty()) renderOption = known->name;
        if ((known->option == Option::rate || known->option == Option::points) &&
            curveOption.empty())
            curveOption = known->name;

        switch (known->option) {
            case Option::in:
                render.input = value;
                break;
            case Option::out:
                if (auto error = readOutput(value, render.outputs.emplace_back()))
                    return UsageError{*error};
                break;
            case Option::boost: {
                const auto boost = parseDecimal<float>(value);
                if (!boost || !BoostRange::offers(*boost))
                    return UsageError{"--boost " + inQuotes(value) + ": must be a number from " +
                                      fixedDecimal(BoostRange::minimum, 0) + " to " +
                                      fixedDecimal(BoostRange::maximum, 0)};
                render.boost = *boost;
                break;
            }
            case Option::preset:
                presetName = value;
                break;
            case Option::gains:
                gainsText = value;
                break;
            case Option::block: {
                const auto block = parseDecimal<uint32_t>(value);
                if (!block || *block < 1 || *block > RenderBuffers::scratchSamples) {
                    return UsageError{"--block " + inQuotes(value) +
                                      ": must be a whole number of frames from 1 to " +
                                      std::to_string(RenderBuffers::scratchSamples)};
                }
                render.blockFrames = *block;
                break;
            }
            case Option::bypass:
                render.bypass = true;
                break;
            case Option::curve:
                curveMode = true;
                break;
            case Option::rate: {
                const auto rate = parseDecimal<float>(value);
                if (!rate || *rate <= 0.0f)
                    return UsageError{"--rate " + inQuotes(value) + ": must be a number above 0"};
                curve.sampleRate = *rate;
                break;
            }
            case Option::points: {
                const auto points = parseDecimal<int>(value);
                if (!points || *points < 0 || *points > kMaxCurvePoints)
                    return UsageError{"--points " + inQuotes(value) +
                                      ": must be a whole number from 0 to 100000"};
                curve.points = *points;
                break;
            }
            case Option::help:
                break;
        }
    }

    EqualiserChoice equaliser;
    if (auto error = readEqualiser(presetName, gainsText, equaliser)) return UsageError{*error};
    if (curveMode) {
        if (!renderOption.empty())
            return UsageError{"--curve cannot be combined with " + std::string(renderOption)};
        curve.equaliser = std::move(equaliser);
        return curve;
    }
    if (!curveOption.empty()) return UsageError{std::string(curveOption) + " needs --curve"};
    if (render.input.empty()) return UsageError{"missing --in"};
    if (render.outputs.empty()) return UsageError{"missing --out"};
    if (auto error = checkOutputs(render)) return UsageError{*error};
    render.equaliser = std::move(equaliser);
    return render;
}

}  // namespace sorix::render
