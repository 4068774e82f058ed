#include "AppDelegate.h"

#include <algorithm>

#include "EQControls.h"
#include "SettingsKeys.h"

namespace sorix {

namespace {

constexpr double kServerConnectTimeoutSeconds = 3.0;
constexpr float kSafeModeBoostCap = 2.0f;

}  // namespace

AppDelegate::AppDelegate(const std::filesystem::path& settingsFile)
    : logSink_(std::make_shared<StreamLogSink>()),
      log_("TapEngine", logSink_),
      settings_(settingsFile, [this](const std::string& problem) { log_.error("%s", problem); }),
      permission_(mainQueue_),
      hardware_(mainQueue_, kServerConnectTimeoutSeconds),
      engine_(TapEngine::create({.hardware = hardware_,
                                 .mainQueue = mainQueue_,
                                 .settings = settings_,
                                 .permission = permission_,
                                 .logSink = logSink_})) {}

void AppDelegate::applicationDidFinishLaunching() {
    applyStoredBoost();
    applyStoredEqualiser();
    if (settings_.boolForKey(SettingsKeys::boostActive)) engine_->start();
}

void AppDelegate::applyStoredBoost() {
    const double stored = settings_.doubleForKey(SettingsKeys::volumeBoost);
    float boost = stored <= 1.0 ? 1.0f : static_cast<float>(stored);
    boost = std::max(std::min(boost, 8.0f), 1.0f);
    // Without the panel nobody else applies the hearing-protection cap.
    if (settings_.boolean(SettingsKeys::safeMode).value_or(SettingsKeys::safeModeDefault))
        boost = std::min(boost, kSafeModeBoostCap);
    engine_->loudness->boost = boost;
}

void AppDelegate::applyStoredEqualiser() {
    const auto preset = storedPreset(settings_.string(SettingsKeys::eqPreset)
                                         .value_or(std::string(SettingsKeys::eqPresetDefault)));
    if (preset == EQProcessor::Preset::custom) {
        const auto gains =
            parseCustomEQGains(settings_.string(SettingsKeys::customEQGains)
                                   .value_or(std::string(SettingsKeys::customEQGainsDefault)));
        engine_->setEQGains(gains);
    } else {
        engine_->setEQPreset(preset);
    }
}

void AppDelegate::applicationWillTerminate() { engine_->shutDown(); }

}  // namespace sorix
