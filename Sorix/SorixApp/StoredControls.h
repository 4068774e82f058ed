#pragma once

#include "SettingsStore.h"

namespace sorix {

// What the stored panel keys mean for the engine when Sorix starts.

// The boost the launch applies: the stored factor, 1.0 when absent (or not a finite number) or
// at most 1.0, at most 8.0. Safe Mode is not looked at here; its writers keep the stored value
// within its cap.
float launchBoost(const SettingsStore& settings);

// The boost held to 1.0..8.0 (NaN as 1.0) and capped at 2.0 while Safe Mode is on (as it is when
// never set), as the panel applies it whenever it appears.
float safeModeCapped(float boost, const SettingsStore& settings);

// Stores a boost chosen outright (sorix --boost) as the panel would: the factor, the master
// switch on, and Safe Mode off when the factor is beyond its cap. A factor the user cannot
// choose stores nothing and gives false.
bool storeChosenBoost(SettingsStore& settings, double factor);

}  // namespace sorix
