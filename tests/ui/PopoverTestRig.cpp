#include "PopoverTestRig.h"

#include <unistd.h>

namespace sorix::testing {

PopoverTestRig::PopoverTestRig() {
    std::string pattern = (std::filesystem::temp_directory_path() / "sorix-ui-XXXXXX").string();
    folder_ = ::mkdtemp(pattern.data());
    reset();
}

PopoverTestRig::~PopoverTestRig() {
    panel_.reset();
    adaptor_.reset();
    engine_.reset();
    std::filesystem::remove_all(folder_);
}

void PopoverTestRig::reset() {
    // The objects QML holds stay; what they stand on starts again.
    for (const auto& key : {"volumeBoost", "boostActive", "safeMode", "eqPreset", "customEQGains"})
        settings_.removeObject(key);
    if (!hardware_) {
        hardware_ = std::make_unique<FakeAudioHardware>(queue_);
        const auto speakers = hardware_->addDevice({.uid = "speakers", .name = "Speakers"});
        hardware_->setDefaultOutput(speakers);
        permission_ = std::make_unique<AudioCapturePermission>(
            queue_, [] { return AudioCapturePermission::Service{}; }, [] {});
        engine_ = TapEngine::create({.hardware = *hardware_,
                                     .mainQueue = queue_,
                                     .settings = settings_,
                                     .permission = *permission_,
                                     .logSink = std::make_shared<RecordingLogSink>(),
                                     .aliveClock = [] { return 0.0; },
                                     .aliveSleep = [](double) {}});
        adaptor_ = std::make_unique<EngineAdaptor>(engine_);
        panel_ = std::make_unique<PanelState>(settings_, *adaptor_);
        desktop_ = std::make_unique<DesktopActions>(
            LoginItem(folder_ / "autostart" / "sorix.desktop", "/usr/bin/sorix"),
            SoundSettings([](const std::string&) { return false; }), [] {});
    }
    hardware_->clearFailures();
    engine_->stop();
    panel_->keepSafeMode();
    panel_->closeEQ();
    queue_.runPending();
}

void PopoverTestRig::breakTheAudioSystem() {
    hardware_->injectFailure(FakeAudioHardware::Call::createTap, FakeAudioHardware::anySelector,
                             kAudioHardwareIllegalOperationError);
}

void PopoverTestRig::advance(double seconds) { queue_.advance(seconds); }

QString PopoverTestRig::state() const {
    switch (engine_->state()->kind()) {
        case TapEngine::State::Case::inactive:
            return QStringLiteral("inactive");
        case TapEngine::State::Case::starting:
            return QStringLiteral("starting");
        case TapEngine::State::Case::active:
            return QStringLiteral("active");
        case TapEngine::State::Case::failed:
            return QStringLiteral("failed");
    }
    return {};
}

double PopoverTestRig::engineBoost() const {
    return static_cast<double>(engine_->loudness().boost());
}

}  // namespace sorix::testing
