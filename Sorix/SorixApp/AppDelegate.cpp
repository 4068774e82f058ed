#include "AppDelegate.h"

#include "SettingsKeys.h"
#include "StoredControls.h"

namespace sorix {

AppDelegate::AppDelegate(TapEngine::Services services)
    : settings_(services.settings), engine_(TapEngine::create(std::move(services))) {}

void AppDelegate::applicationDidFinishLaunching() {
    engine_->loudness().setBoost(launchBoost(settings_));
    // Before the start, so that the very first block is already capped and equalised.
    applyPanelControls();
    if (settings_.boolForKey(SettingsKeys::boostActive)) engine_->start();
}

// This build has no panel, and the panel is what applies Safe Mode and the equaliser whenever it
// appears. Without this the stored boost would play uncapped and the equaliser would stay flat.
void AppDelegate::applyPanelControls() {
    const float stored = engine_->loudness().boost();
    const float capped = safeModeCapped(stored, settings_);
    if (capped < stored) {
        engine_->log().log(
            "Safe Mode caps the boost at %.1fx (stored %.1fx); safeMode=false lifts it",
            static_cast<double>(capped), static_cast<double>(stored));
    }
    engine_->loudness().setBoost(capped);
    applyStoredEqualiser(*engine_, settings_);
    // The output card reads the volumes and starts following them whenever it appears; without
    // it, linked outputs would not follow a volume changed elsewhere.
    engine_->refreshDeviceVolumes();
}

void AppDelegate::applicationWillTerminate() { engine_->shutDown(); }

}  // namespace sorix
