#include "StoredControls.h"

#include <algorithm>
#include <string>

#include "EQControls.h"
#include "SettingsKeys.h"

namespace sorix {

namespace {

constexpr float kMinimumBoost = 1.0f;
constexpr float kMaximumBoost = 8.0f;
constexpr float kSafeModeCap = 2.0f;

}  // namespace

float launchBoost(const SettingsStore& settings) {
    const double stored = settings.doubleForKey(SettingsKeys::volumeBoost);
    const float boost = stored <= 1.0 ? 1.0f : static_cast<float>(stored);
    return std::max(std::min(boost, kMaximumBoost), kMinimumBoost);
}

float safeModeCapped(float boost, const SettingsStore& settings) {
    const bool safeMode =
        settings.boolean(SettingsKeys::safeMode).value_or(SettingsKeys::safeModeDefault);
    return safeMode ? std::min(boost, kSafeModeCap) : boost;
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
