#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "AudioHardware.h"
#include "MainQueue.h"
#include "ProcessLiveness.h"

struct pa_context;
struct pa_mainloop_api;
struct pa_operation;
struct pa_sink_info;
struct pa_stream;
struct pa_threaded_mainloop;
struct pa_time_event;

namespace sorix {

// The audio hardware layer on a PulseAudio server (or PipeWire's PulseAudio server). Sinks are
// the devices, the default sink is the default output, clients are the process objects. Reads
// answer from a mirror of the server's state that subscription events keep current, so a read
// never waits on the server; volume writes go to the server and the mirror follows. Listeners
// fire on the main queue when what they watch changes. A lost server makes every read fail and
// wakes the liveness and default-output listeners; the layer reconnects when the server returns.
// Sorix never starts a sound server itself.
class PulseAudioHardware : public AudioHardware {
  public:
    // Connects and waits up to `connectTimeoutSeconds` for a first full picture of the server.
    explicit PulseAudioHardware(MainQueue& mainQueue, double connectTimeoutSeconds = 3.0);
    ~PulseAudioHardware() override;
    PulseAudioHardware(const PulseAudioHardware&) = delete;
    PulseAudioHardware& operator=(const PulseAudioHardware&) = delete;

    // Whether the server is connected and mirrored.
    bool isConnected() const;
    // Waits (for tools and tests) until connected, or the timeout passes.
    bool waitUntilConnected(double timeoutSeconds) const;

    OSStatus getPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                             const PropertyQualifier& qualifier,
                             PropertyValue& value) const override;
    OSStatus isPropertySettable(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                bool& settable) const override;
    OSStatus setPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                             const PropertyValue& value) override;
    OSStatus addPropertyListener(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                 const PropertyListener& listener) override;
    OSStatus removePropertyListener(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                    const PropertyListener& listener) override;

    // The process tap is a null sink that every other program's streams are moved onto; the
    // aggregate device records its monitor and plays to the chosen sinks; the IO procedure runs
    // on the server thread for each chunk recorded (PulsePipeline.cpp).
    OSStatus createProcessTap(const TapDescription&, AudioObjectID& tap) override;
    OSStatus destroyProcessTap(AudioObjectID) override;
    OSStatus createAggregateDevice(const AggregateDeviceDescription&,
                                   AudioObjectID& device) override;
    OSStatus destroyAggregateDevice(AudioObjectID) override;
    OSStatus createIOProcID(AudioObjectID, AudioDeviceIOBlock,
                            AudioDeviceIOProcID& procID) override;
    OSStatus destroyIOProcID(AudioObjectID, AudioDeviceIOProcID) override;
    OSStatus startDevice(AudioObjectID, AudioDeviceIOProcID) override;
    OSStatus stopDevice(AudioObjectID, AudioDeviceIOProcID) override;

    int32_t currentProcessID() const override;

    // Unloads taps whose owner process is gone, so their streams return to real sinks. Runs at
    // every connection and before every new tap; public for tools and tests.
    void removeStaleTaps();

  private:
    struct Sink {
        uint32_t index = 0;
        AudioObjectID object = 0;
        AudioObjectID stream = 0;
        std::string name;
        std::string description;
        std::optional<uint32_t> transport;
        std::vector<uint32_t> channelVolumes;  // raw server volumes, one per channel
        float volume = 0;                      // channel average, 0..1
        double sampleRate = 0;
        uint32_t card = UINT32_MAX;  // none
        std::string activePort;
        uint64_t configuredLatencyMicroseconds = 0;
        uint32_t latencyFrames = 0;  // configured latency plus the port's offset
        uint32_t channels = 2;
        uint32_t ownerModule = UINT32_MAX;
        std::optional<ProcessIdentity> tapOwner;  // set on a Sorix tap: the process that made it
    };
    struct Client {
        uint32_t index = 0;
        AudioObjectID object = 0;
        std::optional<int32_t> pid;
    };
    struct SinkInput {
        uint32_t index = 0;
        uint32_t client = 0;
        bool corked = true;
        uint32_t sink = UINT32_MAX;
    };
    struct Tap {
        AudioObjectID object = 0;
        std::string uuid;
        std::string sinkName;
        uint32_t module = UINT32_MAX;
        uint32_t sinkIndex = UINT32_MAX;
        uint32_t rate = 48000;
        uint32_t channels = 2;
        bool keepAudible = false;
        // Streams are moved onto the tap only once its recording runs (see startDevice).
        bool capturing = false;
        std::vector<AudioObjectID> excludedProcesses;
        std::map<uint32_t, std::string> moved;          // sink input -> the sink it came from
        std::map<std::string, uint32_t> audibleCopies;  // original sink -> loopback module
    };
    struct Aggregate;
    struct Registration {
        AudioObjectID object;
        AudioObjectPropertyAddress address;
        PropertyListener listener;
    };
    struct Change {
        AudioObjectID object;
        uint32_t selector;
    };

    // Server thread: connection and mirror upkeep (all with the main-loop lock held).
    void connect();
    void scheduleReconnect();
    static void onContextState(pa_context* context, void* self);
    static void onSubscription(pa_context* context, int event, uint32_t index, void* self);
    static void onReconnectTimer(pa_mainloop_api* api, pa_time_event* event, const struct timeval*,
                                 void* self);
    // PipeWire's PulseAudio server announces a change of the default output as soon as it is
    // asked for, and may still name the old one until its session manager has agreed, with no
    // second announcement. So the server is asked again a little later, twice.
    void scheduleServerRecheck(bool afterNewEvent);
    static void onServerRecheckTimer(pa_mainloop_api* api, pa_time_event* event,
                                     const struct timeval*, void* self);
    void startMirroring(pa_context* context);
    static Sink sinkFromInfo(const pa_sink_info* info);
    void requestServerInfo();
    void requestSink(uint32_t index);
    void requestAllSinks();
    void requestClient(uint32_t index);
    void requestAllClients();
    void requestSinkInput(uint32_t index);
    void requestAllSinkInputs();
    void requestCard(uint32_t index);
    void requestAllCards();
    void initialRequestDone();
    void connectionLost();

    // Mirror changes (server thread), then listeners notified on the main queue.
    void storeSink(Sink sink);
    void forgetSink(uint32_t index);
    void storeDefaultSink(const std::string& name);
    void storeClient(Client client);
    void forgetClient(uint32_t index);
    void storeSinkInput(SinkInput input);
    void forgetSinkInput(uint32_t index);
    void storeCardPorts(uint32_t card, std::map<std::string, int64_t> latencyOffsets);
    void forgetCard(uint32_t card);
    uint32_t latencyFramesOf(const Sink& sink) const;
    void notify(const std::vector<Change>& changes);

    // The pipeline (PulsePipeline.cpp).
    bool waitForOperation(pa_operation* operation);  // main-loop lock held
    uint32_t loadModule(const std::string& name, const std::string& arguments);
    void unloadModule(uint32_t module, bool wait);
    void removeStaleTapsLocked();
    // Main thread: until no tap of a gone owner is left in the mirror, or the timeout passes.
    void waitForStaleTapsGone(double timeoutSeconds);
    std::string freeTapSinkName() const;            // mirror lock held
    void startCapture(AudioObjectID tapObject);     // main-loop and mirror locks held
    void captureSinkInput(const SinkInput& input);  // server thread, mirror lock held
    void keepAudibleOn(Tap& tap, const std::string& sinkName);
    // A destroyed tap waits for the end of the main thread's current task before it goes: a
    // rebuild destroys the tap and makes a new one at once, and takes the old one back, so that
    // no stream is moved out and in again.
    void retireTap(Tap tap);
    std::optional<AudioObjectID> takeBackRetiredTap(const TapDescription& description,
                                                    uint32_t rate);
    void releaseRetiredTap();
    void releaseTap(const Tap& tap);  // streams home, then the sink goes
    Aggregate* aggregateByObject(AudioObjectID object) const;
    const Tap* tapByObject(AudioObjectID object) const;
    void aggregateStreamChanged(Aggregate& aggregate);

    // Reads (any thread, under the mirror lock).
    const Sink* sinkByObject(AudioObjectID object) const;
    const Client* clientByObject(AudioObjectID object) const;
    bool onPipeWire() const;
    bool clientRunsOutput(uint32_t clientIndex) const;
    OSStatus readSystem(const AudioObjectPropertyAddress& address,
                        const PropertyQualifier& qualifier, PropertyValue& value) const;
    OSStatus readSink(const Sink& sink, const AudioObjectPropertyAddress& address,
                      PropertyValue& value) const;

    MainQueue& mainQueue_;
    pa_threaded_mainloop* loop_ = nullptr;
    pa_context* context_ = nullptr;
    pa_time_event* reconnectTimer_ = nullptr;
    pa_time_event* serverRecheckTimer_ = nullptr;
    std::size_t serverRechecksLeft_ = 0;
    bool shuttingDown_ = false;
    int initialRequestsPending_ = 0;
    const ProcessIdentity identity_ = currentProcessIdentity();

    mutable std::mutex mutex_;  // the mirror and the listener table
    bool connected_ = false;
    AudioObjectID nextObject_ = 100;
    std::string defaultSinkName_;
    bool onPipeWire_ = false;  // PipeWire's PulseAudio server rather than PulseAudio itself
    uint32_t ownClientIndex_ = UINT32_MAX;
    std::map<uint32_t, Sink> sinks_;  // by server index, which is also the server's order
    std::map<uint32_t, Client> clients_;
    std::map<uint32_t, SinkInput> sinkInputs_;
    // Card index -> port name -> latency offset in microseconds.
    std::map<uint32_t, std::map<std::string, int64_t>> portLatencyOffsets_;
    std::vector<Registration> listeners_;
    std::map<AudioObjectID, Tap> taps_;
    std::optional<Tap> retiredTap_;
    // Tasks posted to the main queue hold it weakly: they may run after this object is gone.
    std::shared_ptr<char> lifetime_ = std::make_shared<char>();
    std::map<AudioObjectID, std::unique_ptr<Aggregate>> aggregates_;
};

}  // namespace sorix
