#include "OutputVolumes.h"

#include <algorithm>
#include <cmath>

#include "SafeNumber.h"
#include "SettingsKeys.h"
#include "SorixError.h"

namespace sorix {

namespace {

// The engine's own volume writes come back as change notifications for a moment.
constexpr double kOwnWriteEchoSeconds = 0.25;
// Steps smaller than this are rounding noise, not a user's move.
constexpr float kLinkThreshold = 0.0005f;

float entryOr(const std::map<std::string, float>& map, const std::string& uid, float fallback) {
    const auto found = map.find(uid);
    return found == map.end() ? fallback : found->second;
}

std::optional<float> hardwareVolume(const AudioHardware& hardware, AudioObjectID device) {
    const auto address = outputAddress(Selector::virtualMainVolume);
    if (!hardware.hasProperty(device, address)) return std::nullopt;
    float volume = 0;
    if (getProperty(hardware, device, address, volume) != kAudioHardwareNoError)
        return std::nullopt;
    return volume;
}

bool setHardwareVolume(AudioHardware& hardware, AudioObjectID device, float value) {
    const auto address = outputAddress(Selector::virtualMainVolume);
    if (!hardware.hasProperty(device, address)) return false;
    bool settable = false;
    if (hardware.isPropertySettable(device, address, settable) != kAudioHardwareNoError ||
        !settable)
        return false;
    return hardware.setPropertyData(device, address, value) == kAudioHardwareNoError;
}

}  // namespace

float OutputVolumes::validVolume(double volume) {
    return static_cast<float>(clampedOr(volume, 1.0, 0.0, 1.0));
}

OutputVolumes::OutputVolumes(const OutputServices& services, const BufferRanges& ranges,
                             ActiveOutputs activeOutputs)
    : services_(services), ranges_(ranges), activeOutputs_(std::move(activeOutputs)) {
    // Any stored value counts, read as a switch (so one of another type is off); only an
    // absent key means the default.
    volumesLinked_ = services_.settings.has(SettingsKeys::volumesLinked)
                         ? services_.settings.boolForKey(SettingsKeys::volumesLinked)
                         : SettingsKeys::volumesLinkedDefault;
    std::map<std::string, float> stored;
    for (const auto& [uid, volume] :
         services_.settings.numberDictionary(SettingsKeys::outputVolumes))
        stored.emplace(uid, validVolume(volume));
    outputVolumes_ = std::move(stored);
}

OutputVolumes::~OutputVolumes() { stopWatching(); }

void OutputVolumes::applyVolume(const std::string& uid, float volume) {
    suppressListenerUntil_ = services_.mainQueue.now() + kOwnWriteEchoSeconds;
    auto volumes = deviceVolumes_.get();
    const auto device = services_.queries.deviceID(uid);
    volumes[uid] = volume;
    if (device && setHardwareVolume(services_.hardware, *device, volume)) {
        deviceVolumes_ = std::move(volumes);
        return;
    }
    auto softwareVolumes = outputVolumes_.get();
    softwareVolumes[uid] = volume;
    services_.settings.setObject(SettingsKeys::outputVolumes,
                                 SettingsStore::Value(softwareVolumes));
    outputVolumes_ = std::move(softwareVolumes);
    deviceVolumes_ = std::move(volumes);
    const auto range = ranges_.find(uid);
    if (range != ranges_.end())
        fillSlots(services_.renderPath.buffers().outputGains, range->second, volume);
}

void OutputVolumes::setOutputVolume(const std::string& uid, float volume, bool propagateLink) {
    const float value = validVolume(static_cast<double>(volume));
    const float old = entryOr(deviceVolumes_, uid, value);
    applyVolume(uid, value);
    if (!propagateLink || !volumesLinked_) return;
    const float step = value - old;
    if (std::fabs(step) <= kLinkThreshold) return;
    moveLinkedOutputs(uid, step);
}

void OutputVolumes::moveLinkedOutputs(const std::string& changedUID, float step) {
    for (const std::string& uid : activeOutputs_()) {
        if (uid == changedUID) continue;
        applyVolume(uid,
                    validVolume(static_cast<double>(entryOr(deviceVolumes_, uid, 1.0f) + step)));
    }
}

void OutputVolumes::setVolumesLinked(bool linked) {
    volumesLinked_ = linked;
    services_.settings.setBool(SettingsKeys::volumesLinked, linked);
}

void OutputVolumes::stopWatching() {
    const auto address = outputAddress(Selector::virtualMainVolume);
    for (const VolumeListener& entry : volumeListeners_)
        services_.hardware.removePropertyListener(entry.device, address, entry.listener);
    volumeListeners_.clear();
}

void OutputVolumes::refreshDeviceVolumes() {
    stopWatching();
    std::vector<std::string> watched = activeOutputs_();
    try {
        // The default output is watched even when others are pinned: its volume keys move
        // the linked outputs.
        const std::string defaultUID = services_.queries.defaultOutputDeviceUID();
        if (std::find(watched.begin(), watched.end(), defaultUID) == watched.end())
            watched.push_back(defaultUID);
    } catch (const SorixError&) {
    }

    const auto address = outputAddress(Selector::virtualMainVolume);
    std::map<std::string, float> volumes;
    for (const std::string& uid : watched) {
        const auto device = services_.queries.deviceID(uid);
        if (!device) continue;
        const auto volume = hardwareVolume(services_.hardware, *device);
        if (!volume) {
            volumes[uid] = entryOr(outputVolumes_, uid, 1.0f);
            continue;
        }
        volumes[uid] = *volume;
        // Handled one main-queue turn after delivery, as every listener of the outputs is.
        auto listener = std::make_shared<const PropertyListenerBlock>(
            [this, alive = std::weak_ptr<char>(lifetime_), uid,
             id = *device](const std::vector<AudioObjectPropertyAddress>&) {
                if (alive.expired()) return;
                services_.mainQueue.async([this, alive, uid, id] {
                    if (!alive.expired()) handleExternalChange(uid, id);
                });
            });
        if (services_.hardware.addPropertyListener(*device, address, listener) ==
            kAudioHardwareNoError)
            volumeListeners_.push_back({*device, std::move(listener)});
    }
    deviceVolumes_ = std::move(volumes);
}

void OutputVolumes::handleExternalChange(const std::string& uid, AudioObjectID device) {
    if (services_.mainQueue.now() < suppressListenerUntil_) return;
    const auto volume = hardwareVolume(services_.hardware, device);
    if (!volume) return;
    const float old = entryOr(deviceVolumes_, uid, *volume);
    auto volumes = deviceVolumes_.get();
    volumes[uid] = *volume;
    deviceVolumes_ = std::move(volumes);
    const float step = *volume - old;
    if (volumesLinked_ && std::fabs(step) > kLinkThreshold) moveLinkedOutputs(uid, step);
}

float OutputVolumes::pipelineGain(const std::string& uid,
                                  std::optional<AudioObjectID> device) const {
    if (device && hardwareVolume(services_.hardware, *device)) return 1.0f;
    return entryOr(outputVolumes_, uid, 1.0f);
}

}  // namespace sorix
