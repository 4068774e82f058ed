#pragma once

#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "AudioCapturePermission.h"
#include "AudioHardware.h"
#include "AudioObjectQueries.h"
#include "EQProcessor.h"
#include "Logger.h"
#include "LoudnessProcessor.h"
#include "MainQueue.h"
#include "OutputRouting.h"
#include "Published.h"
#include "RenderPath.h"
#include "SettingsStore.h"

namespace sorix {

class TapEngineTestAccess;

// The one object that owns the capture-and-playback pipeline: a tap on every other program's
// audio, a device around the tap and the chosen outputs, and the IO procedure that boosts,
// limits, equalises and fans the audio out. The panel observes the published state and calls the
// operations; everything runs on the main thread except the render path, which sees only the
// render path object, never the engine.
//
// Start, stop and the state machine are in TapEngine.cpp, the pipeline's construction in
// PipelineBuild.cpp and its health and recovery in PipelineRecovery.cpp. The outputs (catalogue,
// choice, volumes, delays) are an OutputRouting of its own, which the output operations forward
// to.
class TapEngine : public std::enable_shared_from_this<TapEngine> {
  public:
    using OutputDevice = sorix::OutputDevice;
    using TimePoint = double;  // seconds on the main queue's clock
    static constexpr TimePoint distantPast = -std::numeric_limits<double>::infinity();

    class State {
      public:
        enum class Case { inactive, starting, active, failed };

        static State inactive() { return State(Case::inactive); }
        static State starting() { return State(Case::starting); }
        static State active() { return State(Case::active); }
        static State failed(std::string message) { return State(Case::failed, std::move(message)); }

        Case kind() const { return kind_; }
        // The reason of a failed state; empty otherwise.
        const std::string& message() const { return message_; }
        friend bool operator==(const State&, const State&) = default;

      private:
        explicit State(Case kind, std::string message = {})
            : kind_(kind), message_(std::move(message)) {}
        Case kind_;
        std::string message_;
    };

    // What the engine runs on. The hardware, queue, store and permission outlive the engine.
    struct Services {
        AudioHardware& hardware;
        MainQueue& mainQueue;
        SettingsStore& settings;
        AudioCapturePermission& permission;
        std::shared_ptr<LogSink> logSink;
        // The clock and sleep of the short wait for a new device to come alive.
        AudioObjectQueries::Clock aliveClock = AudioObjectQueries::steadyNow;
        AudioObjectQueries::Sleeper aliveSleep = AudioObjectQueries::sleepFor;
    };

    // Reads the output settings and scans the outputs; starts nothing. Listeners, timers and
    // delayed calls hold the engine weakly, so it is always owned by a shared pointer.
    static std::shared_ptr<TapEngine> create(Services services);
    ~TapEngine();
    TapEngine(const TapEngine&) = delete;
    TapEngine& operator=(const TapEngine&) = delete;

    // The queue the engine and its observers run on.
    MainQueue& mainQueue() const { return mainQueue_; }

    // Published state, observable on the main thread.
    const Published<State>& state() const { return state_; }
    const Published<std::vector<OutputDevice>>& availableOutputs() const {
        return outputs_->availableOutputs();
    }
    // Empty: the pipeline follows the system's default output.
    const Published<std::vector<std::string>>& selectedOutputUIDs() const {
        return outputs_->selectedOutputUIDs();
    }
    const Published<std::map<std::string, float>>& outputVolumes() const {
        return outputs_->volumes().outputVolumes();
    }
    const Published<std::map<std::string, float>>& deviceVolumes() const {
        return outputs_->volumes().deviceVolumes();
    }
    const Published<bool>& volumesLinked() const { return outputs_->volumes().volumesLinked(); }
    const Published<std::map<std::string, double>>& deviceDelaysMs() const {
        return outputs_->delays().deviceDelaysMs();
    }

    // Start and stop. start returns at once, the outcome arrives through state; stop keeps a
    // pipeline of several outputs running unprocessed (transparent mode) so that they stay in
    // step for the next start.
    void start();
    void stop();
    // The application's exit: the pipeline goes whatever the outputs, and the engine is off.
    void shutDown();
    // After the chosen outputs change: a running engine builds again, a kept-alive pipeline goes.
    void rebuildIfRunning();
    // For a picture of the panel: the engine reads as active, with that output level, though no
    // pipeline is built and no audio runs.
    void showActiveForSnapshot(float latestOutputPeak);

    // Boost and equaliser. The loudness processor takes the boost directly (setBoost); the
    // equaliser is set through the two operations, which log what they set.
    LoudnessProcessor& loudness() { return renderPath_->loudness(); }
    const LoudnessProcessor& loudness() const { return renderPath_->loudness(); }
    const EQProcessor& eq() const { return renderPath_->eq(); }
    void setEQPreset(EQProcessor::Preset preset);
    void setEQGains(std::span<const float> gains);

    // Outputs: catalogue and choice.
    void refreshAvailableOutputs() { outputs_->refreshAvailableOutputs(); }
    std::vector<std::string> activeOutputUIDs() const { return outputs_->activeOutputUIDs(); }
    std::string outputName(const std::string& uid) const { return outputs_->outputName(uid); }
    std::string currentOutputName() const { return outputs_->currentOutputName(); }
    std::string currentOutputSubtitle() const { return outputs_->currentOutputSubtitle(); }
    int activeBluetoothCount() const { return outputs_->activeBluetoothCount(); }
    void toggleOutput(const std::string& uid) { outputs_->toggleOutput(uid); }
    void clearOutputSelection() { outputs_->clearOutputSelection(); }

    // Outputs: volume and delay.
    void setOutputVolume(const std::string& uid, float volume, bool propagateLink) {
        outputs_->volumes().setOutputVolume(uid, volume, propagateLink);
    }
    void setVolumesLinked(bool linked) { outputs_->volumes().setVolumesLinked(linked); }
    void refreshDeviceVolumes() { outputs_->volumes().refreshDeviceVolumes(); }
    void setOutputDelay(const std::string& uid, double milliseconds) {
        outputs_->delays().setOutputDelay(uid, milliseconds);
    }

    // What the render path does, for the level display and the logs: its counters, peaks and
    // tables, and the current pipeline's sample rate (the last one's while none runs).
    const RenderBuffers& renderBuffers() const { return renderPath_->buffers(); }
    double pipelineSampleRate() const { return renderPath_->spec().sampleRate; }
    // Whether a pipeline exists, running or kept alive in transparent mode.
    bool pipelineExists() const { return aggregateID_ != kAudioObjectUnknown && ioProcID_ != 0; }
    const Logger& log() const { return log_; }

  private:
    friend class TapEngineTestAccess;
    struct Token {};

  public:
    TapEngine(Token, Services services);

  private:
    struct OutputDeviceListener {
        AudioObjectID object;
        AudioObjectPropertyAddress address;
        PropertyListener listener;
    };

    void setState(State newState);

    // Pipeline construction (PipelineBuild.cpp).
    void activatePipeline();
    void setUpPipeline();  // raises SorixError, leaving what it made for tearDownPipeline
    void tearDownPipeline();
    void failBuild(const std::string& reason);
    // Prepares the render path for the tap's rate; a failed read keeps the previous one.
    void prepareRenderPath();

    // Health and recovery (PipelineRecovery.cpp).
    void scheduleRetry(double delaySeconds);
    void recoveryRebuild();
    void startSilenceWatchdog();
    void checkWatchdog(uint64_t samplesAtBuild);
    void startMeterLogging();
    void meterTick();
    void installDefaultDeviceListener();
    void installOutputDeviceListeners();
    void removeOutputDeviceListeners();
    PropertyListener listenerRunning(void (TapEngine::*handler)());
    void handlePrimaryOutputChange();
    void handleOutputLatencyChange();
    void handleDefaultOutputChange();
    // A failed engine starts again by itself once the audio system has an output again.
    void awaitServerBack();
    void stopAwaitingServerBack();
    void handleDevicesChange();

    // Wraps work for a listener, timer or delayed call: it holds the engine weakly and does
    // nothing once the engine is gone.
    template <typename Work>
    auto weakly(Work work) {
        return [weak = weak_from_this(), work = std::move(work)](auto&&... arguments) {
            if (const auto engine = weak.lock())
                work(*engine, std::forward<decltype(arguments)>(arguments)...);
        };
    }

    // Shared with the IO procedure, which holds it for its whole life.
    const std::shared_ptr<RenderPath> renderPath_ = std::make_shared<RenderPath>();
    AudioHardware& hardware_;
    MainQueue& mainQueue_;
    SettingsStore& settings_;
    AudioCapturePermission& permission_;
    Logger log_;
    AudioObjectQueries queries_;
    std::unique_ptr<OutputRouting> outputs_;
    Published<State> state_{State::inactive()};

    std::unique_ptr<MainQueue::Timer> meterTimer_;
    int startAttempts_ = 0;
    int silentTicks_ = 0;
    bool rebuiltForThisSilence_ = false;
    uint64_t callbacksAtLastTick_ = 0;
    TimePoint lastPipelineBuild_ = distantPast;
    AudioObjectID tapID_ = kAudioObjectUnknown;
    AudioObjectID aggregateID_ = kAudioObjectUnknown;
    AudioDeviceIOProcID ioProcID_ = 0;  // 0 = none
    bool defaultDeviceListenerInstalled_ = false;
    PropertyListener defaultDeviceListener_;
    PropertyListener serverBackListener_;
    AudioObjectID outputDeviceID_ = kAudioObjectUnknown;
    std::vector<OutputDeviceListener> outputDeviceListeners_;
};

}  // namespace sorix
