#include <algorithm>

#include "DelayFrames.h"
#include "SafeNumber.h"
#include "SettingsKeys.h"
#include "TapEngine.h"

// Holding outputs back so that speakers with different latencies sound together: an automatic
// part from the latencies the devices report, plus the user's own per-output delay.
namespace sorix {

namespace {

constexpr double kLongestManualDelayMs = 1500;

uint32_t outputFrames(const AudioHardware& hardware, AudioObjectID object, uint32_t selector,
                      uint32_t scope) {
    uint32_t frames = 0;
    const AudioObjectPropertyAddress address{selector, scope, kAudioObjectPropertyElementMain};
    if (!hardware.hasProperty(object, address)) return 0;
    if (getProperty(hardware, object, address, frames) != kAudioHardwareNoError) return 0;
    return frames;
}

}  // namespace

double TapEngine::validDelayMs(double milliseconds) {
    return clampedOr(milliseconds, 0.0, 0.0, kLongestManualDelayMs);
}

void TapEngine::setOutputDelay(const std::string& uid, double milliseconds) {
    const double clamped = validDelayMs(milliseconds);
    auto delays = deviceDelaysMs.get();
    delays[uid] = clamped;
    deviceDelaysMs = delays;
    settings_.setObject(SettingsKeys::outputDelays, SettingsStore::Value(delays));

    const auto range = deviceBufferRanges.find(uid);
    if (range == deviceBufferRanges.end()) return;  // takes effect at the next build
    const auto automatic = autoDelayFrames.find(uid);
    const uint32_t total = (automatic == autoDelayFrames.end() ? 0 : automatic->second) +
                           delayFrames(clamped, pipelineSampleRate());
    for (uint32_t slot = range->second.begin;
         slot < range->second.end && slot < outputDelays.size(); ++slot)
        outputDelays[slot] = total;
}

double TapEngine::reportedLatencySeconds(const AudioHardware& hardware, AudioObjectID device) {
    const uint32_t deviceLatency =
        outputFrames(hardware, device, Selector::latency, kAudioObjectPropertyScopeOutput);
    const uint32_t safetyOffset =
        outputFrames(hardware, device, Selector::safetyOffset, kAudioObjectPropertyScopeOutput);
    uint32_t streamLatency = 0;
    std::vector<AudioObjectID> streams;
    if (getProperty(hardware, device, outputAddress(Selector::streams), streams) ==
            kAudioHardwareNoError &&
        !streams.empty()) {
        streamLatency = outputFrames(hardware, streams.front(), Selector::latency,
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

void TapEngine::recomputeReportedSync() {
    if (deviceBufferRanges.size() < 2) return;
    std::map<std::string, double> latencies;
    double longest = 0;
    for (const auto& [uid, range] : deviceBufferRanges) {
        const auto device = deviceID(uid);
        const double latency = device ? reportedLatencySeconds(hardware_, *device) : 0.0;
        latencies[uid] = latency;
        longest = std::max(longest, latency);
    }
    for (const auto& [uid, range] : deviceBufferRanges) {
        const double hold = std::max(0.0, longest - latencies[uid]);
        const uint32_t holdFrames = framesForSeconds(hold, pipelineSampleRate());
        const auto previous = autoDelayFrames.find(uid);
        if (previous == autoDelayFrames.end() || previous->second != holdFrames) {
            log_.log("reported-sync update: %{public}s auto hold -> %ldms", outputName(uid),
                     static_cast<long>(hold * 1000.0));
        }
        autoDelayFrames[uid] = holdFrames;
        const auto manual = deviceDelaysMs->find(uid);
        const uint32_t manualFrames = delayFrames(
            manual == deviceDelaysMs->end() ? 0.0 : manual->second, pipelineSampleRate());
        for (uint32_t slot = range.begin; slot < range.end && slot < outputDelays.size(); ++slot)
            outputDelays[slot] = holdFrames + manualFrames;
    }
}

}  // namespace sorix
