#include "AppDelegate.h"

#include "SettingsKeys.h"
#include "StoredControls.h"

namespace sorix {

AppDelegate::AppDelegate(TapEngine::Services services)
    : settings_(services.settings),
      engine_(TapEngine::create(std::move(services))),
      adaptor_(std::make_unique<EngineAdaptor>(engine_)),
      panelState_(std::make_unique<PanelState>(settings_, *adaptor_)) {}

void AppDelegate::applicationDidFinishLaunching() {
    engine_->loudness().setBoost(launchBoost(settings_));
    // Before the start, so that the very first block is already capped and equalised.
    applyPanelControls();
    if (settings_.boolForKey(SettingsKeys::boostActive)) engine_->start();
}

// The panel applies Safe Mode and the equaliser whenever it appears, but it may never appear (no
// display) or only much later: without this the stored boost would play uncapped and the
// equaliser would stay flat until then. The store is left as it is; the panel rewrites it.
void AppDelegate::applyPanelControls() {
    const float stored = engine_->loudness().boost();
    const float capped = safeModeCapped(stored, settings_);
    if (capped < stored) {
        engine_->log().log(
            "Safe Mode caps the boost at %.1fx (stored %.1fx); safeMode=false lifts it",
            static_cast<double>(capped), static_cast<double>(stored));
    }
    engine_->loudness().setBoost(capped);
    panelState_->applyEQ();
    // The output card reads the volumes and starts following them whenever it appears; without
    // it, linked outputs would not follow a volume changed elsewhere.
    engine_->refreshDeviceVolumes();
}

void AppDelegate::applicationWillTerminate() { engine_->shutDown(); }

}  // namespace sorix
