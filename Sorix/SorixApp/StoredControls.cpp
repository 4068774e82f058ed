#include "StoredControls.h"

#include <algorithm>
#include <string>

#include "EQControls.h"
#include "SettingsKeys.h"

namespace sorix {

namespace {

constexpr float kSafeModeCap = 2.0f;

}  // namespace

float launchBoost(const SettingsStore& settings) {
    // The store reads a non-finite number as absent; a finite one beyond a float's range must be
    // held in double before it is narrowed.
    const double stored =
        settings.number(SettingsKeys::volumeBoost).value_or(SettingsKeys::volumeBoostDefault);
    const double held = std::clamp(stored, static_cast<double>(LoudnessProcessor::minBoost),
                                   static_cast<double>(LoudnessProcessor::maxBoost));
    return LoudnessProcessor::validBoost(static_cast<float>(held));
}

float safeModeCapped(float boost, const SettingsStore& settings) {
    const bool safeMode =
        settings.boolean(SettingsKeys::safeMode).value_or(SettingsKeys::safeModeDefault);
    const float valid = LoudnessProcessor::validBoost(boost);
    return safeMode ? std::min(valid, kSafeModeCap) : valid;
}

void applyStoredEqualiser(TapEngine& engine, const SettingsStore& settings) {
    const EQProcessor::Preset preset =
        storedPreset(settings.string(SettingsKeys::eqPreset)
                         .value_or(std::string(SettingsKeys::eqPresetDefault)));
    if (preset != EQProcessor::Preset::custom) {
        engine.setEQPreset(preset);
        return;
    }
    const auto gains =
        parseCustomEQGains(settings.string(SettingsKeys::customEQGains)
                               .value_or(std::string(SettingsKeys::customEQGainsDefault)));
    engine.setEQGains(gains);
}

}  // namespace sorix
