#include "OutputDelays.h"

#include <algorithm>

#include "DelayFrames.h"
#include "SafeNumber.h"
#include "SettingsKeys.h"

namespace sorix {

namespace {

constexpr double kLongestManualDelayMs = 1500;

uint32_t reportedFrames(const AudioHardware& hardware, AudioObjectID object, uint32_t selector,
                        uint32_t scope) {
    uint32_t frames = 0;
    const AudioObjectPropertyAddress address{selector, scope, kAudioObjectPropertyElementMain};
    if (!hardware.hasProperty(object, address)) return 0;
    if (getProperty(hardware, object, address, frames) != kAudioHardwareNoError) return 0;
    return frames;
}

}  // namespace

double OutputDelays::validDelayMs(double milliseconds) {
    return clampedOr(milliseconds, 0.0, 0.0, kLongestManualDelayMs);
}

OutputDelays::OutputDelays(const OutputServices& services, const BufferRanges& ranges,
                           NameOf nameOf)
    : services_(services), ranges_(ranges), nameOf_(std::move(nameOf)) {
    std::map<std::string, double> stored;
    for (const auto& [uid, delay] : services_.settings.numberDictionary(SettingsKeys::outputDelays))
        stored.emplace(uid, validDelayMs(delay));
    deviceDelaysMs_ = std::move(stored);
}

uint32_t OutputDelays::manualFrames(const std::string& uid) const {
    const auto manual = deviceDelaysMs_->find(uid);
    return delayFrames(manual == deviceDelaysMs_->end() ? 0.0 : manual->second,
                       services_.renderPath.spec().sampleRate);
}

void OutputDelays::setOutputDelay(const std::string& uid, double milliseconds) {
    auto delays = deviceDelaysMs_.get();
    delays[uid] = validDelayMs(milliseconds);
    services_.settings.setObject(SettingsKeys::outputDelays, SettingsStore::Value(delays));
    deviceDelaysMs_ = std::move(delays);

    const auto range = ranges_.find(uid);
    if (range == ranges_.end()) return;  // takes effect at the next build
    const auto automatic = autoDelayFrames_.find(uid);
    const uint32_t hold = automatic == autoDelayFrames_.end() ? 0 : automatic->second;
    fillSlots(services_.renderPath.buffers().outputDelays, range->second, hold + manualFrames(uid));
}

void OutputDelays::writeNewPipeline() {
    for (const auto& [uid, range] : ranges_)
        fillSlots(services_.renderPath.buffers().outputDelays, range, manualFrames(uid));
}

double OutputDelays::reportedLatencySeconds(const AudioHardware& hardware, AudioObjectID device) {
    const uint32_t deviceLatency =
        reportedFrames(hardware, device, Selector::latency, kAudioObjectPropertyScopeOutput);
    const uint32_t safetyOffset =
        reportedFrames(hardware, device, Selector::safetyOffset, kAudioObjectPropertyScopeOutput);
    uint32_t streamLatency = 0;
    std::vector<AudioObjectID> streams;
    if (getProperty(hardware, device, outputAddress(Selector::streams), streams) ==
            kAudioHardwareNoError &&
        !streams.empty()) {
        streamLatency = reportedFrames(hardware, streams.front(), Selector::latency,
                                       kAudioObjectPropertyScopeGlobal);
    }
    double rate = 48000;
    if (getProperty(hardware, device, globalAddress(Selector::nominalSampleRate), rate) !=
        kAudioHardwareNoError)
        rate = 48000;
    const double frames = static_cast<double>(deviceLatency) + static_cast<double>(safetyOffset) +
                          static_cast<double>(streamLatency);
    return frames / std::max(rate, 1.0);
}

void OutputDelays::recomputeReportedSync() {
    if (ranges_.size() < 2) return;
    std::map<std::string, double> latencies;
    double longest = 0;
    for (const auto& [uid, range] : ranges_) {
        const auto device = services_.queries.deviceID(uid);
        const double latency = device ? reportedLatencySeconds(services_.hardware, *device) : 0.0;
        latencies[uid] = latency;
        longest = std::max(longest, latency);
    }
    const double rate = services_.renderPath.spec().sampleRate;
    for (const auto& [uid, range] : ranges_) {
        const double hold = std::max(0.0, longest - latencies[uid]);
        const uint32_t holdFrames = framesForSeconds(hold, rate);
        const auto previous = autoDelayFrames_.find(uid);
        if (previous == autoDelayFrames_.end() || previous->second != holdFrames) {
            services_.log.log("reported-sync update: %{public}s auto hold -> %ldms", nameOf_(uid),
                              static_cast<long>(hold * 1000.0));
        }
        autoDelayFrames_[uid] = holdFrames;
        fillSlots(services_.renderPath.buffers().outputDelays, range,
                  holdFrames + manualFrames(uid));
    }
}

}  // namespace sorix
