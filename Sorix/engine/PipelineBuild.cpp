#include <string>

#include "SettingsKeys.h"
#include "SorixError.h"
#include "TapEngine.h"
#include "UUIDString.h"

// Building and tearing down the pipeline: the tap, the device around it and the outputs, and the
// IO procedure, with the retry policy around a build.
namespace sorix {

namespace {

constexpr double kAliveTimeoutSeconds = 2.0;
constexpr int kLastAttempt = 6;

std::string statusText(OSStatus status) { return std::to_string(status); }

}  // namespace

void TapEngine::activatePipeline() {
    ++startAttempts_;
    try {
        setUpPipeline();
    } catch (const SorixError& error) {
        failBuild(error.message());
        return;
    }
    installDefaultDeviceListener();
    setState(State::active());
    startSilenceWatchdog();
    startMeterLogging();
}

void TapEngine::failBuild(const std::string& reason) {
    tearDownPipeline();
    if (startAttempts_ >= kLastAttempt) {
        log_.error("pipeline build failed after %ld attempts — surfacing",
                   static_cast<long>(startAttempts_));
        setState(State::failed(
            "Couldn't start boosting. Toggle Sorix off and on, or check that the sound server is "
            "running."));
        awaitServerBack();
        return;
    }
    const double delay = startAttempts_ < 3 ? 1.0 : 4.0;
    log_.error("pipeline build failed (%{public}s) — retry %ld/6 in %fs", reason,
               static_cast<long>(startAttempts_ + 1), delay);
    scheduleRetry(delay);
}

void TapEngine::setUpPipeline() {
    const std::vector<AudioObjectID> ownProcesses = queries_.ownProcessObjects();
    if (ownProcesses.empty()) {
        throw SorixError(
            "Could not register Sorix with the audio system (process translation failed). Toggle "
            "Sorix off and on to retry.");
    }

    TapDescription tap;
    tap.name = "Sorix System Tap";
    tap.excludedProcesses = ownProcesses;
    tap.muteBehavior = settings_.boolForKey(SettingsKeys::debugUnmuted)
                           ? TapDescription::MuteBehavior::unmuted
                           : TapDescription::MuteBehavior::mutedWhenTapped;
    tap.uuid = newUUIDString();
    AudioObjectID newTap = kAudioObjectUnknown;
    OSStatus status = hardware_.createProcessTap(tap, newTap);
    if (status != kAudioHardwareNoError || newTap == kAudioObjectUnknown) {
        throw SorixError("Could not create the system audio tap (error " + statusText(status) +
                         "). Check that the sound server is running.");
    }
    tapID_ = newTap;

    const std::vector<ResolvedOutput> outputs = outputs_->resolveOutputs();
    outputDeviceID_ = outputs.front().device.value_or(kAudioObjectUnknown);

    // The first output is the clock; the others follow it.
    AggregateDeviceDescription aggregate{.name = "Sorix Boost Device", .tap = tap.uuid};
    for (const ResolvedOutput& output : outputs)
        aggregate.subDevices.push_back(output.uid);
    AudioObjectID newAggregate = kAudioObjectUnknown;
    status = hardware_.createAggregateDevice(aggregate, newAggregate);
    if (status != kAudioHardwareNoError || newAggregate == kAudioObjectUnknown) {
        throw SorixError("Could not create the boost device (error " + statusText(status) + ").");
    }
    aggregateID_ = newAggregate;

    queries_.waitForDeviceAlive(aggregateID_, kAliveTimeoutSeconds);
    lastPipelineBuild_ = mainQueue_.now();
    installOutputDeviceListeners();
    outputs_->assignBuffers(outputs);
    prepareRenderPath();
    outputs_->delays().writeNewPipeline();

    AudioDeviceIOBlock block = [path = renderPath_](const AudioBufferList& input,
                                                    AudioBufferList& output) {
        path->render(input, output);
    };
    AudioDeviceIOProcID procID = 0;
    status = hardware_.createIOProcID(aggregateID_, std::move(block), procID);
    if (status != kAudioHardwareNoError || procID == 0) {
        throw SorixError("Could not attach the audio processor (error " + statusText(status) +
                         ").");
    }
    ioProcID_ = procID;

    status = hardware_.startDevice(aggregateID_, ioProcID_);
    if (status != kAudioHardwareNoError) {
        throw SorixError("Could not start audio processing (error " + statusText(status) + ").");
    }
    renderPath_->buffers().processBypass = 0;
}

void TapEngine::prepareRenderPath() {
    RenderSpec spec = renderPath_->spec();
    AudioStreamBasicDescription format;
    if (getProperty(hardware_, tapID_, globalAddress(Selector::tapFormat), format) ==
        kAudioHardwareNoError) {
        spec.sampleRate = format.mSampleRate;
    }
    // Nothing renders yet, so the history can be rewound without a race.
    renderPath_->prepare(spec);
}

void TapEngine::tearDownPipeline() {
    meterTimer_.reset();
    removeOutputDeviceListeners();
    if (aggregateID_ != kAudioObjectUnknown && ioProcID_ != 0) {
        hardware_.stopDevice(aggregateID_, ioProcID_);
        hardware_.destroyIOProcID(aggregateID_, ioProcID_);
    }
    ioProcID_ = 0;
    if (aggregateID_ != kAudioObjectUnknown) {
        hardware_.destroyAggregateDevice(aggregateID_);
        aggregateID_ = kAudioObjectUnknown;
    }
    if (tapID_ != kAudioObjectUnknown) {
        hardware_.destroyProcessTap(tapID_);
        tapID_ = kAudioObjectUnknown;
    }
}

}  // namespace sorix
