#include "DecimalText.h"
#include "SorixError.h"
#include "TapEngine.h"

// Keeping a pipeline alive: the delayed retry, the watchdog after each build, the meter that
// notices a dead tap, and the listeners on the default output and the current outputs.
namespace sorix {

namespace {

constexpr double kWatchdogDelaySeconds = 2.0;
constexpr double kMeterIntervalSeconds = 2.0;
// Ten seconds of silence while something else plays means the tap has died quietly.
constexpr int kSilentTicksBeforeRebuild = 5;
// Building a pipeline makes its own outputs report changes; those echoes are not news.
constexpr double kBuildEchoSeconds = 1.5;

std::string peakText(float peak) { return fixedDecimal(static_cast<double>(peak), 4); }

}  // namespace

PropertyListener TapEngine::listenerRunning(void (TapEngine::*handler)()) {
    return std::make_shared<const PropertyListenerBlock>(
        weakly([handler](TapEngine& engine, const std::vector<AudioObjectPropertyAddress>&) {
            (engine.*handler)();
        }));
}

void TapEngine::scheduleRetry(double delaySeconds) {
    setState(State::starting());
    mainQueue_.asyncAfter(delaySeconds, weakly([](TapEngine& engine) {
                              // A stop in the meantime cancels the retry.
                              if (engine.state_->kind() == State::Case::starting)
                                  engine.activatePipeline();
                          }));
}

void TapEngine::recoveryRebuild() {
    tearDownPipeline();
    startAttempts_ = 0;
    activatePipeline();
}

void TapEngine::rebuildIfRunning() {
    const auto current = state_->kind();
    if (current == State::Case::active || current == State::Case::starting) {
        recoveryRebuild();
    } else if (pipelineExists()) {
        // A kept-alive pipeline plays the old outputs; the next start builds with the new ones.
        tearDownPipeline();
    }
}

void TapEngine::startSilenceWatchdog() {
    const uint64_t samplesAtBuild = renderPath_->buffers().samplesRendered;
    mainQueue_.asyncAfter(kWatchdogDelaySeconds, weakly([samplesAtBuild](TapEngine& engine) {
                              engine.checkWatchdog(samplesAtBuild);
                          }));
}

void TapEngine::checkWatchdog(uint64_t samplesAtBuild) {
    if (state_->kind() != State::Case::active) return;
    const auto& ioDiagnostics = renderPath_->buffers().ioDiagnostics;
    const uint64_t samples = renderPath_->buffers().samplesRendered;
    log_.log("watchdog: callbacks=%llu inputBuffers=%llu inputBytes=%llu samplesRendered=%llu",
             static_cast<unsigned long long>(ioDiagnostics[RenderBuffers::callbacks].load()),
             static_cast<unsigned long long>(ioDiagnostics[RenderBuffers::inputBuffers].load()),
             static_cast<unsigned long long>(ioDiagnostics[RenderBuffers::inputBytes].load()),
             static_cast<unsigned long long>(samples));
    if (samples != samplesAtBuild) {
        startAttempts_ = 0;
        log_.log("pipeline alive: %llu samples rendered in first 2s, boost %{public}fx",
                 static_cast<unsigned long long>(samples - samplesAtBuild),
                 static_cast<double>(loudness().boost()));
        return;
    }
    // No limit here: a device that builds but never renders is retried until the user stops.
    tearDownPipeline();
    const double delay = startAttempts_ < 3 ? 1.0 : 5.0;
    log_.log("dead pipeline (0 callbacks), retrying in %{public}fs (attempt %ld)", delay,
             static_cast<long>(startAttempts_ + 1));
    scheduleRetry(delay);
}

void TapEngine::startMeterLogging() {
    meterTimer_.reset();
    silentTicks_ = 0;
    rebuiltForThisSilence_ = false;
    callbacksAtLastTick_ = renderPath_->buffers().ioDiagnostics[RenderBuffers::callbacks].load();
    meterTimer_ = mainQueue_.repeating(kMeterIntervalSeconds,
                                       weakly([](TapEngine& engine) { engine.meterTick(); }));
}

void TapEngine::meterTick() {
    RenderBuffers& buffers = renderPath_->buffers();
    auto& ioDiagnostics = buffers.ioDiagnostics;
    const float inputPeak = buffers.peak(RenderBuffers::inputPeak);
    const float outputPeak = buffers.peak(RenderBuffers::outputPeak);
    log_.log("meter: inPeak=%{public}s outPeak=%{public}s callbacks=%llu", peakText(inputPeak),
             peakText(outputPeak),
             static_cast<unsigned long long>(ioDiagnostics[RenderBuffers::callbacks].load()));
    // Each tick reports the loudest moment of the last interval.
    ioDiagnostics[RenderBuffers::inputPeak] = 0;
    ioDiagnostics[RenderBuffers::outputPeak] = 0;

    // A tap whose recording still delivers is alive, even when what it delivers is silence: a
    // program may play digital silence, and only a tap that stopped delivering is dead.
    const uint64_t callbacks = ioDiagnostics[RenderBuffers::callbacks].load();
    const bool delivered = callbacks != callbacksAtLastTick_;
    callbacksAtLastTick_ = callbacks;
    if (inputPeak > 0 || delivered) {
        silentTicks_ = 0;
        rebuiltForThisSilence_ = false;
        return;
    }
    ++silentTicks_;
    if (silentTicks_ >= kSilentTicksBeforeRebuild && !rebuiltForThisSilence_ &&
        state_->kind() == State::Case::active && queries_.anyOtherProcessPlayingAudio()) {
        rebuiltForThisSilence_ = true;
        log_.error(
            "dead tap suspected: 10s of silence while another process is playing — fast rebuild");
        recoveryRebuild();
    }
}

void TapEngine::installDefaultDeviceListener() {
    if (defaultDeviceListenerInstalled_) return;
    PropertyListener listener = listenerRunning(&TapEngine::handleDefaultOutputChange);
    defaultDeviceListenerInstalled_ =
        hardware_.addPropertyListener(kAudioObjectSystemObject,
                                      globalAddress(Selector::defaultOutputDevice),
                                      listener) == kAudioHardwareNoError;
    if (defaultDeviceListenerInstalled_) defaultDeviceListener_ = std::move(listener);
}

void TapEngine::handleDefaultOutputChange() {
    // Pinned outputs do not care which output the system prefers.
    if (state_->kind() == State::Case::active && outputs_->selectedOutputUIDs()->empty())
        recoveryRebuild();
}

void TapEngine::awaitServerBack() {
    if (serverBackListener_) return;
    PropertyListener listener = listenerRunning(&TapEngine::handleDevicesChange);
    if (hardware_.addPropertyListener(kAudioObjectSystemObject, globalAddress(Selector::devices),
                                      listener) == kAudioHardwareNoError)
        serverBackListener_ = std::move(listener);
}

void TapEngine::stopAwaitingServerBack() {
    if (!serverBackListener_) return;
    hardware_.removePropertyListener(kAudioObjectSystemObject, globalAddress(Selector::devices),
                                     serverBackListener_);
    serverBackListener_.reset();
}

void TapEngine::handleDevicesChange() {
    // Sound servers restart as a matter of course; a user whose switch is on expects the boost
    // back with the server, without touching anything. The device list changes when the server
    // goes too; only one with a default output again is worth a start.
    if (state_->kind() != State::Case::failed) return stopAwaitingServerBack();
    try {
        queries_.defaultOutputDeviceUID();
    } catch (const SorixError&) {
        return;
    }
    stopAwaitingServerBack();
    log_.log("audio system back — starting again");
    start();
}

void TapEngine::installOutputDeviceListeners() {
    removeOutputDeviceListeners();
    if (outputDeviceID_ == kAudioObjectUnknown) return;

    const auto add = [this](AudioObjectID object, AudioObjectPropertyAddress address,
                            void (TapEngine::*handler)()) {
        PropertyListener listener = listenerRunning(handler);
        if (hardware_.addPropertyListener(object, address, listener) == kAudioHardwareNoError)
            outputDeviceListeners_.push_back({object, address, std::move(listener)});
    };
    add(outputDeviceID_, globalAddress(Selector::isAlive), &TapEngine::handlePrimaryOutputChange);
    add(outputDeviceID_, globalAddress(Selector::nominalSampleRate),
        &TapEngine::handlePrimaryOutputChange);
    for (const std::string& uid : outputs_->selectedOutputUIDs().get()) {
        if (const auto device = queries_.deviceID(uid)) {
            add(*device, outputAddress(Selector::latency), &TapEngine::handleOutputLatencyChange);
        }
    }
}

void TapEngine::removeOutputDeviceListeners() {
    for (const OutputDeviceListener& entry : outputDeviceListeners_)
        hardware_.removePropertyListener(entry.object, entry.address, entry.listener);
    outputDeviceListeners_.clear();
}

void TapEngine::handlePrimaryOutputChange() {
    mainQueue_.async(weakly([](TapEngine& engine) {
        if (engine.mainQueue_.now() - engine.lastPipelineBuild_ <= kBuildEchoSeconds) return;
        if (engine.state_->kind() == State::Case::active) {
            engine.log_.log("output device changed (alive/rate) — fast rebuild");
            engine.recoveryRebuild();
        } else if (engine.pipelineExists()) {
            engine.log_.log(
                "output device changed while transparent — dropping kept-alive pipeline");
            engine.tearDownPipeline();
        }
    }));
}

void TapEngine::handleOutputLatencyChange() {
    mainQueue_.async(weakly([](TapEngine& engine) {
        if (engine.pipelineExists()) engine.outputs_->delays().recomputeReportedSync();
    }));
}

}  // namespace sorix
