#pragma once

#include <filesystem>
#include <memory>

#include "AudioCapturePermission.h"
#include "JsonSettingsStore.h"
#include "Logger.h"
#include "PulseAudioHardware.h"
#include "QtMainQueue.h"
#include "TapEngine.h"

namespace sorix {

// What the engine runs on in the real program: the sound server, Qt's event loop, the settings
// file, the capture permission and the log on stderr. Needs the Qt application object to exist.
class DesktopServices {
  public:
    // Connecting waits this long for a server; without one Sorix runs on and the engine's retries
    // show the problem. Sorix never starts a server itself.
    static constexpr double serverConnectTimeoutSeconds = 3.0;

    // $SORIX_SETTINGS_FILE when set, else the per-user settings file.
    static std::filesystem::path settingsFile();

    struct Options {
        double connectTimeoutSeconds = serverConnectTimeoutSeconds;
        // Off for a snapshot, whose stderr says only how the picture went.
        bool logToStderr = true;
        // Off for a snapshot, which takes nothing over.
        bool guarded = true;
    };

    // The guardian program installed beside this one; empty when there is none.
    static std::string guardianProgram();

    DesktopServices() : DesktopServices(Options{}) {}
    explicit DesktopServices(Options options);
    DesktopServices(const DesktopServices&) = delete;
    DesktopServices& operator=(const DesktopServices&) = delete;

    TapEngine::Services engineServices();
    const Logger& log() const { return log_; }
    SettingsStore& settings() { return settings_; }

  private:
    std::shared_ptr<LogSink> logSink_;
    Logger log_;
    QtMainQueue mainQueue_;
    JsonSettingsStore settings_;
    AudioCapturePermission permission_;
    PulseAudioHardware hardware_;
};

}  // namespace sorix
