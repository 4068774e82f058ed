#include "StoredControls.h"

#include <string>

#include "BoostRange.h"
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

}  // namespace sorix
