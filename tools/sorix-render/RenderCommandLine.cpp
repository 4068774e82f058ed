#include "RenderCommandLine.h"

#include <cmath>
#include <cstdlib>
#include <set>
#include <sstream>

#include "RenderPath.h"

namespace sorix::render {

const char* const usageText =
    "Usage:\n"
    "  sorix-render --in IN --out PATH[:CHANNELS[:GAIN[:DELAY_MS]]] [--out ...]\n"
    "               [--boost X] [--preset NAME | --gains G1,G2,...] [--block FRAMES] [--bypass]\n"
    "  sorix-render --curve [--preset NAME | --gains G1,G2,...] [--rate HZ] [--points N]\n"
    "\n"
    "Runs Sorix's render path (boost, limiter, equaliser, per-output gain and delay) over an\n"
    "audio file, one IO cycle per block, and writes one 32-bit float WAV per output.\n"
    "\n"
    "  --in IN          input audio file (any format libsndfile reads)\n"
    "  --out SPEC       an output: PATH (no ':' in it), then optionally CHANNELS (1..64, default\n"
    "                   the input's), GAIN (0 or more, default 1) and DELAY_MS (0..1500,\n"
    "                   default 0); up to 32 outputs\n"
    "  --boost X        boost factor 1..8 (default 1)\n"
    "  --preset NAME    flat, music, bass, treble, voice, movie or custom\n"
    "  --gains LIST     custom band gains in dB for 100 Hz, 300 Hz, 1 kHz, 3 kHz, 6 kHz, 10 kHz;\n"
    "                   clamped to +-12, padded with zeros or cut to six\n"
    "  --block FRAMES   frames per IO cycle (default 512)\n"
    "  --bypass         transparent mode: no boost, limiter or equaliser\n"
    "  --curve          print the equaliser's response instead: frequency (Hz) and level (dB)\n"
    "                   per line; --gains are taken as the equaliser would store them\n"
    "  --rate HZ        sample rate for the curve (default 48000)\n"
    "  --points N       points on the curve, 20 Hz to 20 kHz (default 64)\n"
    "  --help           this text\n";

namespace {

std::optional<double> parseNumber(const std::string& text) {
    if (text.empty() || std::isspace(static_cast<unsigned char>(text.front()))) return std::nullopt;
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (end != text.c_str() + text.size() || !std::isfinite(value)) return std::nullopt;
    return value;
}

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> pieces;
    std::string piece;
    std::istringstream stream(text);
    while (std::getline(stream, piece, separator))
        pieces.push_back(piece);
    if (!text.empty() && text.back() == separator) pieces.emplace_back();
    return pieces;
}

std::string presetNames() {
    std::string names;
    for (EQProcessor::Preset preset : EQProcessor::allPresets) {
        if (!names.empty()) names += ", ";
        names += EQProcessor::rawValue(preset);
    }
    return names;
}

// Reads one option's value, or explains what is missing.
class Arguments {
  public:
    explicit Arguments(const std::vector<std::string>& arguments) : arguments_(arguments) {}
    bool done() const { return next_ >= arguments_.size(); }
    const std::string& take() { return arguments_[next_++]; }
    std::optional<std::string> value() {
        if (done()) return std::nullopt;
        return take();
    }

  private:
    const std::vector<std::string>& arguments_;
    std::size_t next_ = 0;
};

}  // namespace

Command parseCommandLine(const std::vector<std::string>& arguments) {
    RenderOptions render;
    CurveOptions curve;
    bool curveMode = false, renderOnly = false, haveRate = false, havePoints = false;
    std::optional<std::string> presetName, gainsText;

    Arguments args(arguments);
    while (!args.done()) {
        const std::string option = args.take();
        if (option == "--help") return HelpRequest{};
        if (option == "--curve") {
            curveMode = true;
            continue;
        }
        if (option == "--bypass") {
            render.bypass = renderOnly = true;
            continue;
        }
        const auto value = args.value();
        if (!value) return UsageError{option + " needs a value"};
        if (option == "--in") {
            render.input = *value;
            renderOnly = true;
        } else if (option == "--out") {
            renderOnly = true;
            const auto fields = split(*value, ':');
            if (fields.empty() || fields[0].empty() || fields.size() > 4) {
                return UsageError{"--out " + *value +
                                  ": expected PATH[:CHANNELS[:GAIN[:DELAY_MS]]]"};
            }
            OutputSpec output;
            output.path = fields[0];
            if (fields.size() > 1) {
                const auto channels = parseNumber(fields[1]);
                if (!channels || *channels < 1 || *channels > 64 ||
                    std::floor(*channels) != *channels) {
                    return UsageError{"--out " + *value +
                                      ": channels must be a whole number 1..64"};
                }
                output.channels = static_cast<uint32_t>(*channels);
            }
            if (fields.size() > 2) {
                const auto gain = parseNumber(fields[2]);
                if (!gain || *gain < 0 || *gain > 1000) {
                    return UsageError{"--out " + *value + ": gain must be a number from 0 to 1000"};
                }
                output.gain = static_cast<float>(*gain);
            }
            if (fields.size() > 3) {
                const auto delay = parseNumber(fields[3]);
                if (!delay || *delay < 0 || *delay > 1500) {
                    return UsageError{"--out " + *value + ": delay must be 0..1500 ms"};
                }
                output.delayMs = *delay;
            }
            render.outputs.push_back(output);
        } else if (option == "--boost") {
            renderOnly = true;
            const auto boost = parseNumber(*value);
            if (!boost || *boost < 1 || *boost > 8) return UsageError{"--boost must be 1..8"};
            render.boost = static_cast<float>(*boost);
        } else if (option == "--preset") {
            presetName = *value;
        } else if (option == "--gains") {
            gainsText = *value;
        } else if (option == "--block") {
            renderOnly = true;
            const auto block = parseNumber(*value);
            if (!block || *block < 1 || std::floor(*block) != *block ||
                *block > static_cast<double>(RenderBuffers::scratchSamples)) {
                return UsageError{"--block must be a whole number of frames from 1 to " +
                                  std::to_string(RenderBuffers::scratchSamples)};
            }
            render.blockFrames = static_cast<uint32_t>(*block);
        } else if (option == "--rate") {
            const auto rate = parseNumber(*value);
            if (!rate || *rate <= 0 || *rate > 1e6)
                return UsageError{"--rate must be 1..1000000 Hz"};
            curve.sampleRate = static_cast<float>(*rate);
            haveRate = true;
        } else if (option == "--points") {
            const auto points = parseNumber(*value);
            if (!points || *points < 0 || *points > 100000 || std::floor(*points) != *points) {
                return UsageError{"--points must be a whole number 0..100000"};
            }
            curve.points = static_cast<int>(*points);
            havePoints = true;
        } else {
            return UsageError{"unknown option " + option};
        }
    }

    EqualiserChoice equaliser;
    if (presetName && gainsText) return UsageError{"--preset and --gains cannot be combined"};
    if (presetName) {
        equaliser.preset = EQProcessor::preset(*presetName);
        if (!equaliser.preset) {
            return UsageError{"unknown preset " + *presetName + " (one of " + presetNames() + ")"};
        }
    }
    if (gainsText) {
        std::vector<float> gains;
        for (const std::string& piece : split(*gainsText, ',')) {
            const auto gain = parseNumber(piece);
            if (!gain) return UsageError{"--gains: '" + piece + "' is not a number"};
            gains.push_back(static_cast<float>(*gain));
        }
        equaliser.gains = gains;
    }

    if (curveMode) {
        if (renderOnly)
            return UsageError{
                "--curve cannot be combined with --in, --out, --boost, --block or --bypass"};
        curve.equaliser = equaliser;
        return curve;
    }
    if (haveRate || havePoints) return UsageError{"--rate and --points belong to --curve"};
    if (render.input.empty()) return UsageError{"missing --in"};
    if (render.outputs.empty()) return UsageError{"missing --out"};
    if (render.outputs.size() > RenderBuffers::outputSlots) {
        return UsageError{"at most " + std::to_string(RenderBuffers::outputSlots) + " outputs"};
    }
    std::set<std::string> paths;
    for (const OutputSpec& output : render.outputs) {
        if (!paths.insert(output.path).second)
            return UsageError{"output " + output.path + " given twice"};
        if (output.path == render.input)
            return UsageError{"output " + output.path + " would overwrite the input"};
    }
    render.equaliser = equaliser;
    return render;
}

void applyEqualiser(const EqualiserChoice& choice, EQProcessor& eq) {
    if (choice.gains) {
        eq.setGains(*choice.gains);
        return;
    }
    eq.gainsDB = EQProcessor::gains(choice.preset.value_or(EQProcessor::Preset::flat));
    eq.recompute();
}

std::vector<float> equaliserGains(const EqualiserChoice& choice) {
    EQProcessor eq;
    applyEqualiser(choice, eq);
    return {eq.gainsDB.begin(), eq.gainsDB.end()};
}

}  // namespace sorix::render
