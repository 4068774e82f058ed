#include "AudioObjectQueries.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "SorixError.h"

namespace sorix {

AudioObjectQueries::AudioObjectQueries(const AudioHardware& hardware, const Logger& log, Clock now,
                                       Sleeper sleep)
    : hardware_(hardware), log_(log), now_(std::move(now)), sleep_(std::move(sleep)) {}

double AudioObjectQueries::steadyNow() {
    using Seconds = std::chrono::duration<double>;
    return std::chrono::duration_cast<Seconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

void AudioObjectQueries::sleepFor(double seconds) {
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

std::string AudioObjectQueries::defaultOutputDeviceUID() const {
    uint32_t device = kAudioObjectUnknown;
    OSStatus status = getProperty(hardware_, kAudioObjectSystemObject,
                                  globalAddress(Selector::defaultOutputDevice), device);
    if (status != kAudioHardwareNoError || device == kAudioObjectUnknown) {
        throw SorixError("No default output device found (error " + std::to_string(status) + ").");
    }
    std::string uid;
    status = getProperty(hardware_, device, globalAddress(Selector::deviceUID), uid);
    if (status != kAudioHardwareNoError) {
        throw SorixError("Could not identify the output device (error " + std::to_string(status) +
                         ").");
    }
    return uid;
}

std::optional<AudioObjectID> AudioObjectQueries::deviceID(const std::string& uid) const {
    uint32_t device = kAudioObjectUnknown;
    if (getProperty(hardware_, kAudioObjectSystemObject,
                    globalAddress(Selector::translateUIDToDevice), device, uid) != 0 ||
        device == kAudioObjectUnknown) {
        return std::nullopt;
    }
    return device;
}

std::optional<std::string> AudioObjectQueries::stringProperty(AudioObjectID object,
                                                              uint32_t selector) const {
    std::string value;
    if (getProperty(hardware_, object, globalAddress(selector), value) != kAudioHardwareNoError) {
        return std::nullopt;
    }
    return value;
}

std::vector<AudioObjectID> AudioObjectQueries::ownProcessObjects() const {
    uint32_t process = kAudioObjectUnknown;
    if (getProperty(hardware_, kAudioObjectSystemObject,
                    globalAddress(Selector::translatePIDToProcess), process,
                    hardware_.currentProcessID()) != kAudioHardwareNoError ||
        process == kAudioObjectUnknown) {
        return {};
    }
    return {process};
}

bool AudioObjectQueries::anyOtherProcessPlayingAudio() const {
    const auto address = globalAddress(Selector::processObjects);
    uint32_t size = 0;
    if (hardware_.getPropertyDataSize(kAudioObjectSystemObject, address, {}, size) !=
            kAudioHardwareNoError ||
        size == 0) {
        return false;
    }
    std::vector<AudioObjectID> processes;
    if (getProperty(hardware_, kAudioObjectSystemObject, address, processes) !=
        kAudioHardwareNoError) {
        return false;
    }
    const std::vector<AudioObjectID> own = ownProcessObjects();
    for (AudioObjectID process : processes) {
        if (std::find(own.begin(), own.end(), process) != own.end()) continue;
        uint32_t running = 0;
        if (getProperty(hardware_, process, globalAddress(Selector::isRunningOutput), running) ==
                kAudioHardwareNoError &&
            running == 1) {
            return true;
        }
    }
    return false;
}

void AudioObjectQueries::waitForDeviceAlive(AudioObjectID device, double timeoutSeconds) const {
    const double deadline = now_() + timeoutSeconds;
    do {
        uint32_t alive = 0;
        if (getProperty(hardware_, device, globalAddress(Selector::isAlive), alive) ==
                kAudioHardwareNoError &&
            alive == 1) {
            return;
        }
        sleep_(0.1);
    } while (now_() < deadline);
    log_.error("aggregate device did not report alive within %{public}fs — continuing anyway",
               timeoutSeconds);
}

}  // namespace sorix
