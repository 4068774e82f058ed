#pragma once

#include <memory>

#include "EngineAdaptor.h"
#include "PanelState.h"
#include "SettingsStore.h"
#include "TapEngine.h"

namespace sorix {

// The application around the one engine. It owns the engine and what the panel sees of it,
// starts boosting at launch when the user left boosting on, and at quit takes the pipeline down
// so that every captured program plays on its own output again.
class AppDelegate {
  public:
    // Creates the engine, which reads its output settings and starts nothing.
    explicit AppDelegate(TapEngine::Services services);

    // The launch: the stored boost and equaliser are applied, then the engine starts if the
    // stored master switch is on. Its outcome shows only in the engine's state and log.
    void applicationDidFinishLaunching();
    // The quit: the pipeline goes whatever the number of outputs, and the engine is off. The
    // stored master switch keeps its value, so the next launch starts again.
    void applicationWillTerminate();

    TapEngine& engine() { return *engine_; }
    EngineAdaptor& engineAdaptor() { return *adaptor_; }
    PanelState& panelState() { return *panelState_; }

  private:
    void applyPanelControls();

    SettingsStore& settings_;
    std::shared_ptr<TapEngine> engine_;
    std::unique_ptr<EngineAdaptor> adaptor_;
    std::unique_ptr<PanelState> panelState_;
};

}  // namespace sorix
