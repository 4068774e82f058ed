#include <algorithm>
#include <cmath>

#include "SafeNumber.h"
#include "SettingsKeys.h"
#include "SorixError.h"
#include "TapEngine.h"

// Per-output volume: the device's own control where it has one, a software gain in the render
// path where it has none, and optionally all outputs moving together.
namespace sorix {

namespace {

// The engine's own volume writes come back as change notifications for a moment.
constexpr double kOwnWriteEchoSeconds = 0.25;
// Steps smaller than this are rounding noise, not a user's move.
constexpr float kLinkThreshold = 0.0005f;

float clampVolume(float volume) { return TapEngine::validVolume(static_cast<double>(volume)); }

float entryOr(const std::map<std::string, float>& map, const std::string& uid, float fallback) {
    const auto found = map.find(uid);
    return found == map.end() ? fallback : found->second;
}

}  // namespace

float TapEngine::validVolume(double volume) {
    return static_cast<float>(clampedOr(volume, 1.0, 0.0, 1.0));
}

std::optional<float> TapEngine::hardwareVolume(const AudioHardware& hardware,
                                               AudioObjectID device) {
    const auto address = outputAddress(Selector::virtualMainVolume);
    if (!hardware.hasProperty(device, address)) return std::nullopt;
    float volume = 0;
    if (getProperty(hardware, device, address, volume) != kAudioHardwareNoError)
        return std::nullopt;
    return volume;
}

bool TapEngine::setHardwareVolume(AudioHardware& hardware, AudioObjectID device, float value) {
    const auto address = outputAddress(Selector::virtualMainVolume);
    if (!hardware.hasProperty(device, address)) return false;
    bool settable = false;
    if (hardware.isPropertySettable(device, address, settable) != kAudioHardwareNoError ||
        !settable)
        return false;
    return hardware.setPropertyData(device, address, clampVolume(value)) == kAudioHardwareNoError;
}

void TapEngine::applyVolume(const std::string& uid, float volume) {
    suppressListenerUntil = mainQueue_.now() + kOwnWriteEchoSeconds;
    auto volumes = deviceVolumes.get();
    const auto device = deviceID(uid);
    if (device && setHardwareVolume(hardware_, *device, volume)) {
        volumes[uid] = volume;
        deviceVolumes = std::move(volumes);
        return;
    }
    auto softwareVolumes = outputVolumes.get();
    softwareVolumes[uid] = volume;
    settings_.setObject(SettingsKeys::outputVolumes, SettingsStore::Value(softwareVolumes));
    outputVolumes = std::move(softwareVolumes);
    volumes[uid] = volume;
    deviceVolumes = std::move(volumes);
    const auto range = deviceBufferRanges.find(uid);
    if (range == deviceBufferRanges.end()) return;
    for (uint32_t slot = range->second.begin; slot < range->second.end && slot < outputGains.size();
         ++slot)
        outputGains[slot] = volume;
}

void TapEngine::setOutputVolume(const std::string& uid, float volume, bool propagateLink) {
    const float value = clampVolume(volume);
    const float old = entryOr(deviceVolumes, uid, value);
    applyVolume(uid, value);
    if (!propagateLink || !volumesLinked) return;
    const float step = value - old;
    if (std::fabs(step) <= kLinkThreshold) return;
    moveLinkedOutputs(uid, step);
}

void TapEngine::moveLinkedOutputs(const std::string& changedUID, float step) {
    // Linked outputs move by the same step, not the same ratio, so an output that reaches an end
    // stays there while the others go on.
    for (const std::string& uid : activeOutputUIDs()) {
        if (uid == changedUID) continue;
        applyVolume(uid, clampVolume(entryOr(deviceVolumes, uid, 1.0f) + step));
    }
}

void TapEngine::setVolumesLinked(bool linked) {
    volumesLinked = linked;
    settings_.setBool(SettingsKeys::volumesLinked, linked);
}

void TapEngine::refreshDeviceVolumes() {
    const auto address = outputAddress(Selector::virtualMainVolume);
    for (const VolumeListener& entry : volumeListeners)
        hardware_.removePropertyListener(entry.device, address, entry.listener);
    volumeListeners.clear();

    std::vector<std::string> watched = activeOutputUIDs();
    try {
        // The default output is watched even when others are pinned: its volume keys move
        // the linked outputs.
        const std::string defaultUID = defaultOutputDeviceUID();
        if (std::find(watched.begin(), watched.end(), defaultUID) == watched.end())
            watched.push_back(defaultUID);
    } catch (const SorixError&) {
    }

    std::map<std::string, float> volumes;
    for (const std::string& uid : watched) {
        const auto device = deviceID(uid);
        if (!device) continue;
        if (const auto volume = hardwareVolume(hardware_, *device)) {
            volumes[uid] = *volume;
            auto listener = std::make_shared<const PropertyListenerBlock>(
                weakly([uid, id = *device](TapEngine& engine,
                                           const std::vector<AudioObjectPropertyAddress>&) {
                    engine.mainQueue_.async(engine.weakly(
                        [uid, id](TapEngine& self) { self.handleExternalVolumeChange(uid, id); }));
                }));
            if (hardware_.addPropertyListener(*device, address, listener) == kAudioHardwareNoError)
                volumeListeners.push_back({*device, std::move(listener)});
        } else {
            volumes[uid] = entryOr(outputVolumes, uid, 1.0f);
        }
    }
    deviceVolumes = std::move(volumes);
}

void TapEngine::handleExternalVolumeChange(const std::string& uid, AudioObjectID device) {
    if (mainQueue_.now() < suppressListenerUntil) return;
    const auto volume = hardwareVolume(hardware_, device);
    if (!volume) return;
    const float old = entryOr(deviceVolumes, uid, *volume);
    auto volumes = deviceVolumes.get();
    volumes[uid] = *volume;
    deviceVolumes = std::move(volumes);
    const float step = *volume - old;
    if (volumesLinked && std::fabs(step) > kLinkThreshold) moveLinkedOutputs(uid, step);
}

}  // namespace sorix
