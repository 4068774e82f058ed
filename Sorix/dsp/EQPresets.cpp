#include <algorithm>

#include "EQProcessor.h"

namespace sorix {

namespace {

struct PresetRow {
    EQProcessor::Preset preset;
    std::string_view rawValue;
    std::string_view title;
    std::string_view symbolName;
    std::array<float, EQProcessor::bandCount> gains;
};

// Gains for 100 Hz, 300 Hz, 1 kHz, 3 kHz, 6 kHz, 10 kHz. The custom row is a placeholder: in use
// the user's own gains apply.
constexpr std::array<PresetRow, 7> kPresets = {{
    {EQProcessor::Preset::flat, "flat", "Flat", "minus", {0, 0, 0, 0, 0, 0}},
    {EQProcessor::Preset::music, "music", "Music", "music.note", {5, 1, -2, 2, 3.5f, 5.5f}},
    {EQProcessor::Preset::bass, "bass", "Bass", "speaker.wave.3.fill", {10, 6, 0, -2, -1, 0}},
    {EQProcessor::Preset::treble, "treble", "Treble", "sparkles", {-1, -2, 0, 3, 5.5f, 10}},
    {EQProcessor::Preset::voice, "voice", "Voice", "mic.fill", {-6, -2, 4, 5.5f, 2.5f, -1}},
    {EQProcessor::Preset::movie, "movie", "Movie", "film.fill", {8, 2, -2.5f, 2, 3.5f, 6.5f}},
    {EQProcessor::Preset::custom, "custom", "Custom", "waveform", {0, 0, 0, 0, 0, 0}},
}};

const PresetRow& row(EQProcessor::Preset preset) {
    return kPresets[static_cast<std::size_t>(preset)];
}

}  // namespace

const std::array<EQProcessor::BandSpec, EQProcessor::bandCount> EQProcessor::bands = {{
    {Kind::lowShelf, 100.0f, 0.7f},
    {Kind::peak, 300.0f, 0.9f},
    {Kind::peak, 1000.0f, 0.9f},
    {Kind::peak, 3000.0f, 0.9f},
    {Kind::peak, 6000.0f, 0.9f},
    {Kind::highShelf, 10000.0f, 0.7f},
}};

const std::array<std::string_view, EQProcessor::bandCount> EQProcessor::bandLabels = {
    "100", "300", "1K", "3K", "6K", "10K"};

std::string_view EQProcessor::rawValue(Preset preset) { return row(preset).rawValue; }
std::string_view EQProcessor::title(Preset preset) { return row(preset).title; }
std::string_view EQProcessor::symbolName(Preset preset) { return row(preset).symbolName; }

const std::array<float, EQProcessor::bandCount>& EQProcessor::gains(Preset preset) {
    return row(preset).gains;
}

std::optional<EQProcessor::Preset> EQProcessor::preset(std::string_view rawValue) {
    const auto* found = std::find_if(kPresets.begin(), kPresets.end(),
                                     [&](const PresetRow& r) { return r.rawValue == rawValue; });
    if (found == kPresets.end()) return std::nullopt;
    return found->preset;
}

}  // namespace sorix
