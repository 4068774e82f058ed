#pragma once

#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <optional>
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
#include "OutputDevice.h"
#include "Published.h"
#include "RenderPath.h"
#include "SettingsStore.h"

namespace sorix {

// The one object that owns the capture-and-playback pipeline: a tap on every other program's
// audio, a device around the tap and the chosen outputs, and the IO procedure that boosts,
// limits, equalises and fans the audio out. The panel reads the published members and calls the
// operations; everything runs on the main thread except the render path, which sees only the
// render buffers and the two processors, never the engine.
//
// Its definition is split by concern: TapEngine.cpp (construction, start, stop, state),
// PipelineBuild.cpp, PipelineRecovery.cpp, EngineEQ.cpp, and in Sorix/outputs the catalogue and
// selection.
class TapEngine : public std::enable_shared_from_this<TapEngine> {
    // First, as the render tables below refer into it.
    const std::shared_ptr<RenderPath> renderPath_ = std::make_shared<RenderPath>();

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

    // Published state, in declaration order.
    Published<std::vector<OutputDevice>> availableOutputs;
    Published<std::vector<std::string>> selectedOutputUIDs;  // empty: follow the system default
    Published<std::map<std::string, float>> outputVolumes;
    Published<std::map<std::string, float>> deviceVolumes;
    Published<bool> volumesLinked{true};
    struct VolumeListener {
        AudioObjectID device;
        PropertyListener listener;
    };
    std::vector<VolumeListener> volumeListeners;
    TimePoint suppressListenerUntil = distantPast;
    Published<State> state{State::inactive()};

    // The render path's side: shared with the IO procedure, which holds it for its whole life.
    LoudnessProcessor& loudness() { return renderPath_->loudness(); }
    const LoudnessProcessor& loudness() const { return renderPath_->loudness(); }
    EQProcessor& eq() { return renderPath_->eq(); }
    const EQProcessor& eq() const { return renderPath_->eq(); }
    RelaxedAtomic<uint64_t>& samplesRendered;
    std::array<RelaxedAtomic<uint64_t>, RenderBuffers::diagnosticSlots>& ioDiagnostics;
    std::array<RelaxedAtomic<float>, RenderBuffers::outputSlots>& outputGains;

    // Which output buffers of the IO procedure belong to which output: [begin, end).
    struct BufferRange {
        uint32_t begin = 0;
        uint32_t end = 0;
        friend bool operator==(const BufferRange&, const BufferRange&) = default;
    };
    std::map<std::string, BufferRange> deviceBufferRanges;

    std::array<RelaxedAtomic<uint32_t>, RenderBuffers::outputSlots>& outputDelays;
    RelaxedAtomic<uint32_t>& processBypass;
    Published<std::map<std::string, double>> deviceDelaysMs;
    std::map<std::string, uint32_t> autoDelayFrames;
    // The sample rate of the current pipeline (of the last one while none runs).
    double pipelineSampleRate() const { return renderPath_->spec().sampleRate; }

    // Start and stop (TapEngine.cpp).
    void start();
    void stop();
    // The application's exit: the pipeline goes whatever the outputs, and the engine is off.
    void shutDown();
    bool pipelineExists() const { return aggregateID_ != kAudioObjectUnknown && ioProcID_ != 0; }

    // Pipeline construction (PipelineBuild.cpp).
    void activatePipeline();
    void setUpPipeline();  // raises SorixError, leaving what it made for tearDownPipeline
    void tearDownPipeline();

    // Health and recovery (PipelineRecovery.cpp).
    void scheduleRetry(double delaySeconds);
    void startSilenceWatchdog();
    void startMeterLogging();
    void installDefaultDeviceListener();
    void installOutputDeviceListeners();
    void removeOutputDeviceListeners();
    void rebuildIfRunning();

    // Audio object queries.
    std::string defaultOutputDeviceUID() const { return queries_.defaultOutputDeviceUID(); }
    std::optional<AudioObjectID> deviceID(const std::string& uid) const {
        return queries_.deviceID(uid);
    }
    std::optional<std::string> stringProperty(AudioObjectID object, uint32_t selector) const {
        return queries_.stringProperty(object, selector);
    }
    std::vector<AudioObjectID> ownProcessObjects() const { return queries_.ownProcessObjects(); }
    bool anyOtherProcessPlayingAudio() const { return queries_.anyOtherProcessPlayingAudio(); }
    void waitForDeviceAlive(AudioObjectID device, double timeoutSeconds) const {
        queries_.waitForDeviceAlive(device, timeoutSeconds);
    }

    // Outputs: catalogue and selection (Sorix/outputs/EngineOutputs.cpp).
    static std::vector<OutputDevice> physicalOutputDevices(const AudioHardware& hardware);
    std::vector<std::string> activeOutputUIDs() const;
    std::string outputName(const std::string& uid) const;
    std::string currentOutputName() const;
    std::string currentOutputSubtitle() const;
    void toggleOutput(const std::string& uid);
    void clearOutputSelection();
    void persistOutputSelection();
    std::vector<std::string> resolveOutputUIDs();  // raises SorixError
    int activeBluetoothCount() const;
    // Rescans the outputs and publishes the result.
    void refreshAvailableOutputs();

    // Per-output volume, in hardware where the device has a control, else in software
    // (Sorix/outputs/OutputVolumes.cpp).
    void setOutputVolume(const std::string& uid, float volume, bool propagateLink);
    void setVolumesLinked(bool linked);
    void refreshDeviceVolumes();
    void applyVolume(const std::string& uid, float volume);
    void handleExternalVolumeChange(const std::string& uid, AudioObjectID device);
    static std::optional<float> hardwareVolume(const AudioHardware& hardware, AudioObjectID device);
    static bool setHardwareVolume(AudioHardware& hardware, AudioObjectID device, float value);
    // A volume as the engine applies it, whoever asks: within 0..1, NaN as full volume.
    static float validVolume(double volume);

    // Output delays and the sync worked out from reported latencies
    // (Sorix/outputs/OutputDelays.cpp).
    void setOutputDelay(const std::string& uid, double milliseconds);
    void recomputeReportedSync();
    static double reportedLatencySeconds(const AudioHardware& hardware, AudioObjectID device);
    // A manual delay as the engine applies it: within 0..1500 ms, NaN as none.
    static double validDelayMs(double milliseconds);

    // Equaliser (EngineEQ.cpp).
    void setEQPreset(EQProcessor::Preset preset);
    void setEQGains(std::span<const float> gains);

    // Read by tests and tools.
    const Logger& log() const { return log_; }
    int startAttempts() const { return startAttempts_; }
    TimePoint lastPipelineBuild() const { return lastPipelineBuild_; }
    AudioObjectID tapID() const { return tapID_; }
    AudioObjectID aggregateID() const { return aggregateID_; }
    AudioObjectID outputDeviceID() const { return outputDeviceID_; }
    bool meterRunning() const { return meterTimer_ != nullptr; }
    std::size_t outputDeviceListenerCount() const { return outputDeviceListeners_.size(); }

  private:
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
    void selectionChanged();
    void moveLinkedOutputs(const std::string& changedUID, float step);
    void recoveryRebuild();
    void failBuild(const std::string& reason);
    // Wraps work for a listener, timer or delayed call: it holds the engine weakly and does
    // nothing once the engine is gone.
    template <typename Work>
    auto weakly(Work work) {
        return [weak = weak_from_this(), work = std::move(work)](auto&&... arguments) {
            if (const auto engine = weak.lock())
                work(*engine, std::forward<decltype(arguments)>(arguments)...);
        };
    }
    PropertyListener listenerRunning(void (TapEngine::*handler)());
    void handlePrimaryOutputChange();
    void handleOutputLatencyChange();
    void handleDefaultOutputChange();
    void meterTick();
    void checkWatchdog(uint64_t samplesAtBuild);
    void assignBufferRanges(const std::vector<std::string>& outputs);
    // Prepares the render path for the tap's rate; a failed read keeps the previous one.
    void prepareRenderPath();
    void writeOutputDelays();
    void loadSettings();

    AudioHardware& hardware_;
    MainQueue& mainQueue_;
    SettingsStore& settings_;
    AudioCapturePermission& permission_;
    Logger log_;
    AudioObjectQueries queries_;

    std::unique_ptr<MainQueue::Timer> meterTimer_;
    int startAttempts_ = 0;
    int silentTicks_ = 0;
    bool rebuiltForThisSilence_ = false;
    TimePoint lastPipelineBuild_ = distantPast;
    AudioObjectID tapID_ = kAudioObjectUnknown;
    AudioObjectID aggregateID_ = kAudioObjectUnknown;
    AudioDeviceIOProcID ioProcID_ = 0;  // 0 = none
    bool defaultDeviceListenerInstalled_ = false;
    PropertyListener defaultDeviceListener_;
    AudioObjectID outputDeviceID_ = kAudioObjectUnknown;
    std::vector<OutputDeviceListener> outputDeviceListeners_;
};

}  // namespace sorix
