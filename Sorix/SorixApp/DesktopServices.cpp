#include "DesktopServices.h"

#include <cstdlib>

namespace sorix {

std::filesystem::path DesktopServices::settingsFile() {
    const char* override = std::getenv("SORIX_SETTINGS_FILE");
    if (override != nullptr && *override != '\0') return override;
    return JsonSettingsStore::defaultPath();
}

DesktopServices::DesktopServices()
    : logSink_(std::make_shared<StreamLogSink>()),
      log_("TapEngine", logSink_),
      settings_(settingsFile(), [this](const std::string& problem) { log_.error("%s", problem); }),
      permission_(mainQueue_),
      hardware_(mainQueue_, serverConnectTimeoutSeconds) {}

TapEngine::Services DesktopServices::engineServices() {
    return {.hardware = hardware_,
            .mainQueue = mainQueue_,
            .settings = settings_,
            .permission = permission_,
            .logSink = logSink_};
}

}  // namespace sorix
