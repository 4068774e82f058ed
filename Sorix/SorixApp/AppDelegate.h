#pragma once

#include <memory>

#include "AudioCapturePermission.h"
#include "JsonSettingsStore.h"
#include "Logger.h"
#include "PulseAudioHardware.h"
#include "QtMainQueue.h"
#include "TapEngine.h"

namespace sorix {

// The application around the one engine: it owns the engine and the services it runs on, starts
// boosting at launch when the user left it on, and shuts the pipeline down at quit so that every
// captured program plays on its own output again.
class AppDelegate {
  public:
    explicit AppDelegate(const std::filesystem::path& settingsFile);

    // Launch: the stored boost and equaliser are applied, and the engine starts if it was on.
    void applicationDidFinishLaunching();
    // Quit: the pipeline goes whatever the outputs, and the engine is off. The stored master
    // switch keeps its value, so the next launch starts again.
    void applicationWillTerminate();

    TapEngine& engine() { return *engine_; }

  private:
    void applyStoredBoost();
    void applyStoredEqualiser();

    std::shared_ptr<LogSink> logSink_;
    Logger log_;
    QtMainQueue mainQueue_;
    JsonSettingsStore settings_;
    AudioCapturePermission permission_;
    PulseAudioHardware hardware_;
    std::shared_ptr<TapEngine> engine_;
};

}  // namespace sorix
