#include "DesktopServices.h"

#include <cstdlib>

#include "UserPaths.h"

namespace sorix {

std::filesystem::path DesktopServices::settingsFile() {
    const char* override = std::getenv("SORIX_SETTINGS_FILE");
    if (override != nullptr && *override != '\0') return override;
    return JsonSettingsStore::defaultPath();
}

namespace {

// Takes every line and keeps none.
class SilentLogSink : public LogSink {
  public:
    bool isEnabled(LogLevel) const override { return false; }
    void write(LogLevel, std::string_view, std::string_view) override {}
};

}  // namespace

DesktopServices::DesktopServices(Options options)
    : logSink_(options.logToStderr ? std::shared_ptr<LogSink>(std::make_shared<StreamLogSink>())
                                   : std::make_shared<SilentLogSink>()),
      log_("TapEngine", logSink_),
      settings_(settingsFile(), [this](const std::string& problem) { log_.error("%s", problem); }),
      permission_(mainQueue_),
      hardware_(mainQueue_, options.connectTimeoutSeconds, logSink_,
                options.guarded ? guardianProgram() : std::string()) {}

std::string DesktopServices::guardianProgram() {
    const auto self = runningProgramPath();
    if (!self) return {};
    const std::filesystem::path guardian = self->parent_path() / "sorix-guardian";
    std::error_code error;
    return std::filesystem::exists(guardian, error) ? guardian.string() : std::string();
}

TapEngine::Services DesktopServices::engineServices() {
    return {.hardware = hardware_,
            .mainQueue = mainQueue_,
            .settings = settings_,
            .permission = permission_,
            .logSink = logSink_};
}

}  // namespace sorix
