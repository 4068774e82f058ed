#include "PopoverTestRig.h"

#include <unistd.h>

namespace sorix::testing {

PopoverTestRig::PopoverTestRig() {
    std::string pattern = (std::filesystem::temp_directory_path() / "sorix-ui-XXXXXX").string();
    folder_ = ::mkdtemp(pattern.data());
    reset();
}

PopoverTestRig::~PopoverTestRig() {
    outputMenu_.reset();
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
        outputMenu_ = std::make_unique<OutputMenuAdaptor>(
            *adaptor_, [this](const std::vector<OutputMenuItem>& items, QPoint where) {
                menu_ = items;
                menuPoint_ = where;
            });
    }
    for (const AudioObjectID device : addedOutputs_)
        hardware_->removeDevice(device);
    addedOutputs_.clear();
    menu_.clear();
    engine_->clearOutputSelection();
    engine_->setVolumesLinked(true);
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

void PopoverTestRig::addOutput(const QString& uid, const QString& name, bool bluetooth) {
    addedOutputs_.push_back(
        hardware_->addDevice({.uid = uid.toStdString(),
                              .name = name.toStdString(),
                              .transport = bluetooth ? Transport::bluetooth : Transport::builtIn}));
    engine_->refreshAvailableOutputs();
    queue_.runPending();
}

void PopoverTestRig::pin(const QString& uid) {
    engine_->toggleOutput(uid.toStdString());
    queue_.runPending();
}

QStringList PopoverTestRig::selection() const {
    QStringList uids;
    for (const std::string& uid : engine_->selectedOutputUIDs().get())
        uids.push_back(QString::fromStdString(uid));
    return uids;
}

double PopoverTestRig::outputVolume(const QString& uid) const {
    const auto& volumes = engine_->deviceVolumes().get();
    const auto found = volumes.find(uid.toStdString());
    return found == volumes.end() ? -1.0 : static_cast<double>(found->second);
}

double PopoverTestRig::outputDelay(const QString& uid) const {
    const auto& delays = engine_->deviceDelaysMs().get();
    const auto found = delays.find(uid.toStdString());
    return found == delays.end() ? 0.0 : found->second;
}

bool PopoverTestRig::volumesLinked() const { return engine_->volumesLinked().get(); }

QStringList PopoverTestRig::menu() const {
    QStringList lines;
    for (const OutputMenuItem& item : menu_) {
        if (item.kind == OutputMenuItem::Kind::separator) {
            lines.push_back(QStringLiteral("---"));
            continue;
        }
        lines.push_back((item.checked ? QStringLiteral("[x] ") : QString()) +
                        QString::fromStdString(item.title));
    }
    return lines;
}

void PopoverTestRig::pickMenuItem(int index) {
    outputMenu_->pick(static_cast<std::size_t>(index));
    queue_.runPending();
}

}  // namespace sorix::testing
