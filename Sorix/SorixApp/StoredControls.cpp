#include "StoredControls.h"

#include <string>

#include "EQControls.h"
#include "SettingsKeys.h"

namespace sorix {

float launchBoost(const SettingsStore& settings) {
    // The store reads a non-finite number as absent.
    return BoostRange::effective(
        settings.number(SettingsKeys::volumeBoost).value_or(SettingsKeys::volumeBoostDefault),
        false);
}

float safeModeCapped(float boost, const SettingsStore& settings) {
    return BoostRange::effective(
        boost, settings.boolean(SettingsKeys::safeMode).value_or(SettingsKeys::safeModeDefault));
}

bool storeChosenBoost(SettingsStore& settings, double factor) {
    if (!BoostRange::offers(factor)) return false;
    settings.setDouble(SettingsKeys::volumeBoost, factor);
    settings.setBool(SettingsKeys::boostActive, true);
    if (factor > BoostRange::safeModeCap) settings.setBool(SettingsKeys::safeMode, false);
    return true;
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
