#include "TapEngine.h"

#include <bit>

#include "EQControls.h"

namespace sorix {

namespace {

const char* caseName(TapEngine::State::Case kind) {
    switch (kind) {
        case TapEngine::State::Case::inactive:
            return "inactive";
        case TapEngine::State::Case::starting:
            return "starting";
        case TapEngine::State::Case::active:
            return "active";
        case TapEngine::State::Case::failed:
            return "failed";
    }
    return "unknown";
}

}  // namespace

std::shared_ptr<TapEngine> TapEngine::create(Services services) {
    return std::make_shared<TapEngine>(Token{}, std::move(services));
}

TapEngine::TapEngine(Token, Services services)
    : hardware_(services.hardware),
      mainQueue_(services.mainQueue),
      settings_(services.settings),
      permission_(services.permission),
      log_("TapEngine", std::move(services.logSink)),
      queries_(hardware_, log_, std::move(services.aliveClock), std::move(services.aliveSleep)),
      outputs_(std::make_unique<OutputRouting>(
          OutputServices{hardware_, mainQueue_, settings_, log_, queries_, *renderPath_},
          [this] { rebuildIfRunning(); })) {}

TapEngine::~TapEngine() {
    stopAwaitingServerBack();
    tearDownPipeline();
    if (defaultDeviceListener_) {
        hardware_.removePropertyListener(kAudioObjectSystemObject,
                                         globalAddress(Selector::defaultOutputDevice),
                                         defaultDeviceListener_);
    }
}

void TapEngine::setState(State newState) {
    // Logged on every assignment, also when nothing changes: the log is the engine's history.
    if (newState.kind() == State::Case::failed) {
        log_.error("state -> failed: %{public}s", newState.message());
    } else {
        log_.log("state -> %{public}s", caseName(newState.kind()));
    }
    state_ = std::move(newState);
}

void TapEngine::start() {
    const auto current = state_->kind();
    if (current == State::Case::active || current == State::Case::starting) return;
    stopAwaitingServerBack();

    if (pipelineExists()) {
        // A pipeline kept alive by a multi-output stop: back to processing, nothing rebuilt.
        renderPath_->buffers().processBypass = 0;
        setState(State::active());
        startAttempts_ = 0;
        startSilenceWatchdog();
        startMeterLogging();
        log_.log("resumed from transparent mode (sync preserved)");
        return;
    }

    setState(State::starting());
    startAttempts_ = 0;
    const auto permission = permission_.preflight();
    log_.log("start requested, permission status: %{public}s",
             std::string(AudioCapturePermission::name(permission)));
    switch (permission) {
        case AudioCapturePermission::Status::granted:
            activatePipeline();
            break;
        case AudioCapturePermission::Status::denied:
            setState(State::failed(
                "Sorix doesn't have System Audio Recording permission. Enable it in Privacy & "
                "Security → Screen & System Audio Recording, then try again."));
            break;
        case AudioCapturePermission::Status::undetermined:
            permission_.request(weakly([](TapEngine& engine, bool granted) {
                if (granted) {
                    engine.activatePipeline();
                } else {
                    engine.setState(State::failed(
                        "System Audio Recording permission was declined. Sorix can't boost "
                        "audio without it."));
                }
            }));
            break;
    }
}

void TapEngine::stop() {
    stopAwaitingServerBack();
    if (pipelineExists() && outputs_->deviceBufferRanges().size() >= 2) {
        // Several speakers stay in step only while their streams run, so they keep running,
        // unprocessed, until the next start.
        renderPath_->buffers().processBypass = 1;
        setState(State::inactive());
        log_.log("entered transparent mode (streams kept alive)");
        return;
    }
    tearDownPipeline();
    setState(State::inactive());
}

void TapEngine::shutDown() {
    stopAwaitingServerBack();
    tearDownPipeline();
    setState(State::inactive());
}

void TapEngine::showActiveForSnapshot(float latestOutputPeak) {
    setState(State::active());
    renderPath_->buffers().ioDiagnostics[RenderBuffers::latestOutputPeak] =
        std::bit_cast<uint32_t>(latestOutputPeak);
}

void TapEngine::setEQPreset(EQProcessor::Preset preset) {
    sorix::setEQPreset(renderPath_->eq(), log_, preset);
}

void TapEngine::setEQGains(std::span<const float> gains) {
    sorix::setEQGains(renderPath_->eq(), log_, gains);
}

}  // namespace sorix
