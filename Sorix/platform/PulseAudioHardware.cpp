#include "PulseAudioHardware.h"

#include <pulse/pulseaudio.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstring>
#include <thread>

#include "PulsePipelineDetail.h"
#include "SinkLatency.h"
#include "SinkTransport.h"

namespace sorix {

namespace {

constexpr uint32_t kSubscriptionMask = PA_SUBSCRIPTION_MASK_SINK | PA_SUBSCRIPTION_MASK_SERVER |
                                       PA_SUBSCRIPTION_MASK_CLIENT |
                                       PA_SUBSCRIPTION_MASK_SINK_INPUT | PA_SUBSCRIPTION_MASK_CARD;
constexpr pa_usec_t kReconnectDelayMicroseconds = 1'000'000;
// After the server announced a change (see scheduleServerRecheck).
constexpr pa_usec_t kServerRecheckDelaysMicroseconds[] = {250'000, 1'000'000};

// Holds the main-loop lock for one scope; only ever taken off the server thread.
class LoopLock {
  public:
    explicit LoopLock(pa_threaded_mainloop* loop) : loop_(loop) {
        pa_threaded_mainloop_lock(loop_);
    }
    ~LoopLock() { pa_threaded_mainloop_unlock(loop_); }
    LoopLock(const LoopLock&) = delete;
    LoopLock& operator=(const LoopLock&) = delete;

  private:
    pa_threaded_mainloop* loop_;
};

void dropOperation(pa_operation* operation) {
    if (operation != nullptr) pa_operation_unref(operation);
}

// A property holding a whole decimal number; none when absent or anything else.
std::optional<uint64_t> unsignedProperty(const pa_proplist* list, const char* key) {
    const char* text = pa_proplist_gets(list, key);
    if (text == nullptr) return std::nullopt;
    const char* const end = text + std::strlen(text);
    uint64_t value = 0;
    const auto [stop, error] = std::from_chars(text, end, value);
    if (error != std::errc{} || stop != end || stop == text) return std::nullopt;
    return value;
}

std::map<std::string, std::string> properties(const pa_proplist* list) {
    std::map<std::string, std::string> result;
    void* state = nullptr;
    while (const char* key = pa_proplist_iterate(list, &state)) {
        if (const char* value = pa_proplist_gets(list, key)) result.emplace(key, value);
    }
    return result;
}

}  // namespace

PulseAudioHardware::PulseAudioHardware(MainQueue& mainQueue, double connectTimeoutSeconds)
    : mainQueue_(mainQueue), loop_(pa_threaded_mainloop_new()) {
    pa_threaded_mainloop_set_name(loop_, "sorix-pulse");
    {
        LoopLock lock(loop_);
        pa_threaded_mainloop_start(loop_);
        connect();
    }
    waitUntilConnected(connectTimeoutSeconds);
}

PulseAudioHardware::~PulseAudioHardware() {
    // Whatever the engine left running goes now, so no stream stays captured by a dead tap.
    std::vector<AudioObjectID> aggregates;
    std::vector<AudioObjectID> taps;
    {
        std::lock_guard lock(mutex_);
        for (const auto& [object, aggregate] : aggregates_)
            aggregates.push_back(object);
        for (const auto& [object, tap] : taps_)
            taps.push_back(object);
    }
    for (AudioObjectID object : aggregates)
        destroyAggregateDevice(object);
    for (AudioObjectID object : taps)
        destroyProcessTap(object);
    releaseRetiredTap();
    {
        LoopLock lock(loop_);
        shuttingDown_ = true;
        for (pa_time_event** timer : {&reconnectTimer_, &serverRecheckTimer_}) {
            if (*timer == nullptr) continue;
            pa_threaded_mainloop_get_api(loop_)->time_free(*timer);
            *timer = nullptr;
        }
        if (context_ != nullptr) {
            pa_context_set_state_callback(context_, nullptr, nullptr);
            pa_context_set_subscribe_callback(context_, nullptr, nullptr);
            pa_context_disconnect(context_);
            pa_context_unref(context_);
            context_ = nullptr;
        }
    }
    pa_threaded_mainloop_stop(loop_);
    pa_threaded_mainloop_free(loop_);
}

bool PulseAudioHardware::onPipeWire() const {
    std::lock_guard lock(mutex_);
    return onPipeWire_;
}

bool PulseAudioHardware::isConnected() const {
    std::lock_guard lock(mutex_);
    return connected_;
}

bool PulseAudioHardware::waitUntilConnected(double timeoutSeconds) const {
    const auto deadline = std::chrono::steady_clock::now() +
                          std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                              std::chrono::duration<double>(timeoutSeconds));
    while (!isConnected()) {
        if (std::chrono::steady_clock::now() >= deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

int32_t PulseAudioHardware::currentProcessID() const { return static_cast<int32_t>(::getpid()); }

// --- Connection (server thread, or any thread holding the main-loop lock) ---

void PulseAudioHardware::connect() {
    if (context_ != nullptr) {
        pa_context_set_state_callback(context_, nullptr, nullptr);
        pa_context_set_subscribe_callback(context_, nullptr, nullptr);
        pa_context_disconnect(context_);
        pa_context_unref(context_);
    }
    pa_proplist* identity = pa_proplist_new();
    pa_proplist_sets(identity, PA_PROP_APPLICATION_NAME, "Sorix");
    pa_proplist_sets(identity, PA_PROP_APPLICATION_ID, "org.sorix.Sorix");
    pa_proplist_sets(identity, PA_PROP_APPLICATION_ICON_NAME, "sorix");
    context_ = pa_context_new_with_proplist(pa_threaded_mainloop_get_api(loop_), "Sorix", identity);
    pa_proplist_free(identity);
    pa_context_set_state_callback(context_, &PulseAudioHardware::onContextState, this);
    pa_context_set_subscribe_callback(
        context_,
        [](pa_context* context, pa_subscription_event_type_t event, uint32_t index, void* self) {
            onSubscription(context, static_cast<int>(event), index, self);
        },
        this);
    // Never start a sound server: Sorix follows the one the desktop runs.
    if (pa_context_connect(context_, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0) {
        scheduleReconnect();
    }
}

void PulseAudioHardware::scheduleReconnect() {
    if (shuttingDown_ || reconnectTimer_ != nullptr) return;
    timeval when{};
    pa_timeval_add(pa_gettimeofday(&when), kReconnectDelayMicroseconds);
    reconnectTimer_ = pa_threaded_mainloop_get_api(loop_)->time_new(
        pa_threaded_mainloop_get_api(loop_), &when, &PulseAudioHardware::onReconnectTimer, this);
}

void PulseAudioHardware::onReconnectTimer(pa_mainloop_api* api, pa_time_event* event,
                                          const timeval*, void* self) {
    auto* hardware = static_cast<PulseAudioHardware*>(self);
    api->time_free(event);
    hardware->reconnectTimer_ = nullptr;
    if (!hardware->shuttingDown_) hardware->connect();
}

void PulseAudioHardware::scheduleServerRecheck(bool afterNewEvent) {
    if (shuttingDown_) return;
    if (afterNewEvent) serverRechecksLeft_ = std::size(kServerRecheckDelaysMicroseconds);
    if (serverRechecksLeft_ == 0) return;
    const auto delay =
        kServerRecheckDelaysMicroseconds[std::size(kServerRecheckDelaysMicroseconds) -
                                         serverRechecksLeft_];
    timeval when{};
    pa_timeval_add(pa_gettimeofday(&when), delay);
    pa_mainloop_api* api = pa_threaded_mainloop_get_api(loop_);
    if (serverRecheckTimer_ != nullptr)
        api->time_restart(serverRecheckTimer_, &when);
    else
        serverRecheckTimer_ =
            api->time_new(api, &when, &PulseAudioHardware::onServerRecheckTimer, this);
}

void PulseAudioHardware::onServerRecheckTimer(pa_mainloop_api* api, pa_time_event* event,
                                              const timeval*, void* self) {
    auto* hardware = static_cast<PulseAudioHardware*>(self);
    api->time_free(event);
    hardware->serverRecheckTimer_ = nullptr;
    --hardware->serverRechecksLeft_;
    if (hardware->shuttingDown_ || hardware->context_ == nullptr ||
        pa_context_get_state(hardware->context_) != PA_CONTEXT_READY)
        return;
    hardware->requestServerInfo();
    hardware->scheduleServerRecheck(false);
}

void PulseAudioHardware::onContextState(pa_context* context, void* self) {
    auto* hardware = static_cast<PulseAudioHardware*>(self);
    switch (pa_context_get_state(context)) {
        case PA_CONTEXT_READY:
            hardware->startMirroring(context);
            break;
        case PA_CONTEXT_FAILED:
        case PA_CONTEXT_TERMINATED:
            hardware->connectionLost();
            hardware->scheduleReconnect();
            break;
        default:
            break;
    }
}

void PulseAudioHardware::startMirroring(pa_context* context) {
    {
        std::lock_guard lock(mutex_);
        ownClientIndex_ = pa_context_get_index(context);
    }
    initialRequestsPending_ = 5;
    dropOperation(pa_context_subscribe(
        context, static_cast<pa_subscription_mask_t>(kSubscriptionMask), nullptr, nullptr));
    requestServerInfo();
    requestAllSinks();
    requestAllClients();
    requestAllSinkInputs();
    requestAllCards();
}

void PulseAudioHardware::onSubscription(pa_context*, int event, uint32_t index, void* self) {
    auto* hardware = static_cast<PulseAudioHardware*>(self);
    const int facility = event & PA_SUBSCRIPTION_EVENT_FACILITY_MASK;
    const bool removed = (event & PA_SUBSCRIPTION_EVENT_TYPE_MASK) == PA_SUBSCRIPTION_EVENT_REMOVE;
    switch (facility) {
        case PA_SUBSCRIPTION_EVENT_SINK:
            removed ? hardware->forgetSink(index) : hardware->requestSink(index);
            break;
        case PA_SUBSCRIPTION_EVENT_SERVER:
            hardware->requestServerInfo();
            hardware->scheduleServerRecheck(true);
            break;
        case PA_SUBSCRIPTION_EVENT_CLIENT:
            removed ? hardware->forgetClient(index) : hardware->requestClient(index);
            break;
        case PA_SUBSCRIPTION_EVENT_CARD:
            removed ? hardware->forgetCard(index) : hardware->requestCard(index);
            break;
        case PA_SUBSCRIPTION_EVENT_SINK_INPUT:
            removed ? hardware->forgetSinkInput(index) : hardware->requestSinkInput(index);
            break;
        default:
            break;
    }
}

void PulseAudioHardware::initialRequestDone() {
    if (initialRequestsPending_ <= 0 || --initialRequestsPending_ > 0) return;
    {
        std::lock_guard lock(mutex_);
        connected_ = true;
    }
    // Taps left by a Sorix that was killed still hold other programs' streams.
    removeStaleTapsLocked();
    // A (re)connected server may have a new default and new devices.
    notify({{kAudioObjectSystemObject, Selector::defaultOutputDevice},
            {kAudioObjectSystemObject, Selector::devices}});
}

void PulseAudioHardware::connectionLost() {
    std::vector<Change> changes;
    {
        std::lock_guard lock(mutex_);
        if (!connected_ && sinks_.empty()) return;
        for (const auto& [index, sink] : sinks_)
            changes.push_back({sink.object, Selector::isAlive});
        changes.push_back({kAudioObjectSystemObject, Selector::defaultOutputDevice});
        changes.push_back({kAudioObjectSystemObject, Selector::devices});
        connected_ = false;
        sinks_.clear();
        clients_.clear();
        sinkInputs_.clear();
        portLatencyOffsets_.clear();
        defaultSinkName_.clear();
        // A server that comes back has none of our modules; never unload its by old numbers.
        retiredTap_.reset();
        for (auto& [object, tap] : taps_) {
            tap.module = UINT32_MAX;
            tap.sinkIndex = UINT32_MAX;
            tap.moved.clear();
            tap.audibleCopies.clear();
        }
    }
    initialRequestsPending_ = 0;
    notify(changes);
}

// --- Requests and their answers (server thread) ---

void PulseAudioHardware::requestServerInfo() {
    dropOperation(pa_context_get_server_info(
        context_,
        [](pa_context*, const pa_server_info* info, void* self) {
            auto* hardware = static_cast<PulseAudioHardware*>(self);
            if (info != nullptr) {
                {
                    std::lock_guard lock(hardware->mutex_);
                    hardware->onPipeWire_ = info->server_name != nullptr &&
                                            std::strstr(info->server_name, "PipeWire") != nullptr;
                }
                hardware->storeDefaultSink(info->default_sink_name ? info->default_sink_name : "");
            }
            hardware->initialRequestDone();
        },
        this));
}

PulseAudioHardware::Sink PulseAudioHardware::sinkFromInfo(const pa_sink_info* info) {
    Sink sink;
    sink.index = info->index;
    sink.name = info->name != nullptr ? info->name : "";
    sink.description = info->description != nullptr ? info->description : sink.name;
    SinkDescriptionForTransport described;
    described.properties = properties(info->proplist);
    described.driver = info->driver != nullptr ? info->driver : "";
    if (info->active_port != nullptr && info->active_port->name != nullptr) {
        described.activePort = info->active_port->name;
    }
    sink.transport = sinkTransport(described);
    sink.channelVolumes.assign(info->volume.values, info->volume.values + info->volume.channels);
    sink.volume = std::clamp(
        static_cast<float>(pa_cvolume_avg(&info->volume)) / static_cast<float>(PA_VOLUME_NORM),
        0.0f, 1.0f);
    sink.sampleRate = info->sample_spec.rate;
    sink.card = info->card;
    sink.activePort = described.activePort;
    // The device's own delay as configured, not the momentary fill of its buffer: it changes,
    // and notifies, only when the device's delay really changes.
    sink.configuredLatencyMicroseconds = info->configured_latency;
    sink.channels = info->sample_spec.channels;
    sink.ownerModule = info->owner_module;
    if (const auto pid = unsignedProperty(info->proplist, kTapOwnerProperty)) {
        sink.tapOwner = ProcessIdentity{static_cast<pid_t>(*pid),
                                        unsignedProperty(info->proplist, kTapOwnerStartProperty)};
    }
    return sink;
}

void PulseAudioHardware::requestSink(uint32_t index) {
    dropOperation(pa_context_get_sink_info_by_index(
        context_, index,
        [](pa_context*, const pa_sink_info* info, int, void* self) {
            auto* hardware = static_cast<PulseAudioHardware*>(self);
            if (info != nullptr) hardware->storeSink(sinkFromInfo(info));
        },
        this));
}

void PulseAudioHardware::requestAllSinks() {
    dropOperation(pa_context_get_sink_info_list(
        context_,
        [](pa_context*, const pa_sink_info* info, int eol, void* self) {
            auto* hardware = static_cast<PulseAudioHardware*>(self);
            if (info != nullptr) hardware->storeSink(sinkFromInfo(info));
            if (eol != 0) hardware->initialRequestDone();
        },
        this));
}

namespace {

std::map<std::string, int64_t> portLatencyOffsetsOf(const pa_card_info* info) {
    std::map<std::string, int64_t> offsets;
    for (uint32_t i = 0; i < info->n_ports; ++i) {
        const pa_card_port_info* port = info->ports[i];
        if (port != nullptr && port->name != nullptr) offsets[port->name] = port->latency_offset;
    }
    return offsets;
}

std::optional<int32_t> processIDOf(const pa_proplist* list) {
    const auto pid = unsignedProperty(list, PA_PROP_APPLICATION_PROCESS_ID);
    if (!pid || *pid > static_cast<uint64_t>(INT32_MAX)) return std::nullopt;
    return static_cast<int32_t>(*pid);
}

}  // namespace

void PulseAudioHardware::requestClient(uint32_t index) {
    dropOperation(pa_context_get_client_info(
        context_, index,
        [](pa_context*, const pa_client_info* info, int, void* self) {
            if (info == nullptr) return;
            static_cast<PulseAudioHardware*>(self)->storeClient(
                {info->index, 0, processIDOf(info->proplist)});
        },
        this));
}

void PulseAudioHardware::requestAllClients() {
    dropOperation(pa_context_get_client_info_list(
        context_,
        [](pa_context*, const pa_client_info* info, int eol, void* self) {
            auto* hardware = static_cast<PulseAudioHardware*>(self);
            if (info != nullptr)
                hardware->storeClient({info->index, 0, processIDOf(info->proplist)});
            if (eol != 0) hardware->initialRequestDone();
        },
        this));
}

void PulseAudioHardware::requestSinkInput(uint32_t index) {
    dropOperation(pa_context_get_sink_input_info(
        context_, index,
        [](pa_context*, const pa_sink_input_info* info, int, void* self) {
            if (info == nullptr) return;
            static_cast<PulseAudioHardware*>(self)->storeSinkInput(
                {info->index, info->client, info->corked != 0, info->sink});
        },
        this));
}

void PulseAudioHardware::requestAllSinkInputs() {
    dropOperation(pa_context_get_sink_input_info_list(
        context_,
        [](pa_context*, const pa_sink_input_info* info, int eol, void* self) {
            auto* hardware = static_cast<PulseAudioHardware*>(self);
            if (info != nullptr)
                hardware->storeSinkInput(
                    {info->index, info->client, info->corked != 0, info->sink});
            if (eol != 0) hardware->initialRequestDone();
        },
        this));
}

void PulseAudioHardware::requestCard(uint32_t index) {
    dropOperation(pa_context_get_card_info_by_index(
        context_, index,
        [](pa_context*, const pa_card_info* info, int, void* self) {
            if (info != nullptr)
                static_cast<PulseAudioHardware*>(self)->storeCardPorts(info->index,
                                                                       portLatencyOffsetsOf(info));
        },
        this));
}

void PulseAudioHardware::requestAllCards() {
    dropOperation(pa_context_get_card_info_list(
        context_,
        [](pa_context*, const pa_card_info* info, int eol, void* self) {
            auto* hardware = static_cast<PulseAudioHardware*>(self);
            if (info != nullptr) hardware->storeCardPorts(info->index, portLatencyOffsetsOf(info));
            if (eol != 0) hardware->initialRequestDone();
        },
        this));
}

// --- The mirror (server thread writes, any thread reads) ---

uint32_t PulseAudioHardware::latencyFramesOf(const Sink& sink) const {
    int64_t offset = 0;
    const auto card = portLatencyOffsets_.find(sink.card);
    if (card != portLatencyOffsets_.end()) {
        const auto port = card->second.find(sink.activePort);
        if (port != card->second.end()) offset = port->second;
    }
    return sinkLatencyFrames(sink.configuredLatencyMicroseconds, offset, sink.sampleRate);
}

void PulseAudioHardware::storeCardPorts(uint32_t card,
                                        std::map<std::string, int64_t> latencyOffsets) {
    std::vector<Change> changes;
    {
        std::lock_guard lock(mutex_);
        portLatencyOffsets_[card] = std::move(latencyOffsets);
        for (auto& [index, sink] : sinks_) {
            if (sink.card != card) continue;
            const uint32_t frames = latencyFramesOf(sink);
            if (frames == sink.latencyFrames) continue;
            sink.latencyFrames = frames;
            changes.push_back({sink.object, Selector::latency});
        }
    }
    notify(changes);
}

void PulseAudioHardware::forgetCard(uint32_t card) {
    std::lock_guard lock(mutex_);
    portLatencyOffsets_.erase(card);
}

void PulseAudioHardware::storeSink(Sink sink) {
    std::vector<Change> changes;
    {
        std::lock_guard lock(mutex_);
        sink.latencyFrames = latencyFramesOf(sink);
        const auto existing = sinks_.find(sink.index);
        if (existing == sinks_.end()) {
            sink.object = nextObject_++;
            sink.stream = nextObject_++;
            changes.push_back({kAudioObjectSystemObject, Selector::devices});
            if (sink.name == defaultSinkName_) {
                changes.push_back({kAudioObjectSystemObject, Selector::defaultOutputDevice});
            }
        } else {
            const Sink& old = existing->second;
            sink.object = old.object;
            sink.stream = old.stream;
            if (old.channelVolumes != sink.channelVolumes) {
                changes.push_back({sink.object, Selector::virtualMainVolume});
            }
            if (old.sampleRate != sink.sampleRate) {
                changes.push_back({sink.object, Selector::nominalSampleRate});
            }
            if (old.latencyFrames != sink.latencyFrames) {
                changes.push_back({sink.object, Selector::latency});
            }
        }
        sinks_[sink.index] = std::move(sink);
    }
    notify(changes);
}

void PulseAudioHardware::forgetSink(uint32_t index) {
    std::vector<Change> changes;
    {
        std::lock_guard lock(mutex_);
        const auto found = sinks_.find(index);
        if (found == sinks_.end()) return;
        changes.push_back({found->second.object, Selector::isAlive});
        changes.push_back({kAudioObjectSystemObject, Selector::devices});
        sinks_.erase(found);
    }
    notify(changes);
}

void PulseAudioHardware::storeDefaultSink(const std::string& name) {
    {
        std::lock_guard lock(mutex_);
        if (name == defaultSinkName_) return;
        defaultSinkName_ = name;
    }
    notify({{kAudioObjectSystemObject, Selector::defaultOutputDevice}});
}

void PulseAudioHardware::storeClient(Client client) {
    std::vector<Change> changes;
    {
        std::lock_guard lock(mutex_);
        const auto existing = clients_.find(client.index);
        if (existing == clients_.end()) {
            client.object = nextObject_++;
            changes.push_back({kAudioObjectSystemObject, Selector::processObjects});
        } else {
            client.object = existing->second.object;
        }
        clients_[client.index] = client;
    }
    notify(changes);
}

void PulseAudioHardware::forgetClient(uint32_t index) {
    {
        std::lock_guard lock(mutex_);
        if (clients_.erase(index) == 0) return;
    }
    notify({{kAudioObjectSystemObject, Selector::processObjects}});
}

void PulseAudioHardware::storeSinkInput(SinkInput input) {
    std::vector<Change> changes;
    {
        std::lock_guard lock(mutex_);
        const auto client = clients_.find(input.client);
        const bool wasRunning = clientRunsOutput(input.client);
        sinkInputs_[input.index] = input;
        if (client != clients_.end() && wasRunning != clientRunsOutput(input.client)) {
            changes.push_back({client->second.object, Selector::isRunningOutput});
        }
        captureSinkInput(input);
    }
    notify(changes);
}

void PulseAudioHardware::forgetSinkInput(uint32_t index) {
    std::vector<Change> changes;
    {
        std::lock_guard lock(mutex_);
        const auto found = sinkInputs_.find(index);
        if (found == sinkInputs_.end()) return;
        const uint32_t clientIndex = found->second.client;
        const bool wasRunning = clientRunsOutput(clientIndex);
        sinkInputs_.erase(found);
        const auto client = clients_.find(clientIndex);
        if (client != clients_.end() && wasRunning != clientRunsOutput(clientIndex)) {
            changes.push_back({client->second.object, Selector::isRunningOutput});
        }
    }
    notify(changes);
}

bool PulseAudioHardware::clientRunsOutput(uint32_t clientIndex) const {
    return std::any_of(sinkInputs_.begin(), sinkInputs_.end(), [&](const auto& entry) {
        return entry.second.client == clientIndex && !entry.second.corked;
    });
}

void PulseAudioHardware::notify(const std::vector<Change>& changes) {
    if (changes.empty()) return;
    std::vector<std::pair<PropertyListener, AudioObjectPropertyAddress>> due;
    {
        std::lock_guard lock(mutex_);
        for (const Change& change : changes) {
            for (const Registration& registration : listeners_) {
                if (registration.object == change.object &&
                    registration.address.mSelector == change.selector) {
                    due.emplace_back(registration.listener, registration.address);
                }
            }
        }
    }
    for (auto& [listener, address] : due) {
        mainQueue_.async([listener, address] { (*listener)({address}); });
    }
}

// --- Reads and writes (main thread) ---

const PulseAudioHardware::Sink* PulseAudioHardware::sinkByObject(AudioObjectID object) const {
    for (const auto& [index, sink] : sinks_) {
        if (sink.object == object) return &sink;
    }
    return nullptr;
}

const PulseAudioHardware::Client* PulseAudioHardware::clientByObject(AudioObjectID object) const {
    for (const auto& [index, client] : clients_) {
        if (client.object == object) return &client;
    }
    return nullptr;
}

OSStatus PulseAudioHardware::readSystem(const AudioObjectPropertyAddress& address,
                                        const PropertyQualifier& qualifier,
                                        PropertyValue& value) const {
    switch (address.mSelector) {
        case Selector::devices: {
            std::vector<AudioObjectID> devices;
            for (const auto& [index, sink] : sinks_)
                devices.push_back(sink.object);
            value = devices;
            return kAudioHardwareNoError;
        }
        case Selector::defaultOutputDevice: {
            uint32_t device = kAudioObjectUnknown;
            for (const auto& [index, sink] : sinks_) {
                if (sink.name == defaultSinkName_) device = sink.object;
            }
            value = device;
            return kAudioHardwareNoError;
        }
        case Selector::translateUIDToDevice: {
            const auto* uid = std::get_if<std::string>(&qualifier);
            if (uid == nullptr) return kAudioHardwareBadPropertySizeError;
            uint32_t device = kAudioObjectUnknown;
            for (const auto& [index, sink] : sinks_) {
                if (sink.name == *uid) device = sink.object;
            }
            value = device;
            return kAudioHardwareNoError;
        }
        case Selector::processObjects: {
            std::vector<AudioObjectID> processes;
            for (const auto& [index, client] : clients_)
                processes.push_back(client.object);
            value = processes;
            return kAudioHardwareNoError;
        }
        case Selector::translatePIDToProcess: {
            const auto* pid = std::get_if<int32_t>(&qualifier);
            if (pid == nullptr) return kAudioHardwareBadPropertySizeError;
            uint32_t process = kAudioObjectUnknown;
            // Our own connection first: a program may hold several, the first one speaks for it.
            if (*pid == currentProcessID()) {
                const auto own = clients_.find(ownClientIndex_);
                if (own != clients_.end()) process = own->second.object;
            }
            for (const auto& [index, client] : clients_) {
                if (process == kAudioObjectUnknown && client.pid == *pid) process = client.object;
            }
            value = process;
            return kAudioHardwareNoError;
        }
        default:
            return kAudioHardwareUnknownPropertyError;
    }
}

OSStatus PulseAudioHardware::readSink(const Sink& sink, const AudioObjectPropertyAddress& address,
                                      PropertyValue& value) const {
    switch (address.mSelector) {
        case Selector::deviceUID:
            value = sink.name;
            return kAudioHardwareNoError;
        case Selector::name:
            value = sink.description;
            return kAudioHardwareNoError;
        case Selector::transportType:
            if (!sink.transport) return kAudioHardwareUnknownPropertyError;
            value = *sink.transport;
            return kAudioHardwareNoError;
        case Selector::streams:
            value = std::vector<AudioObjectID>{sink.stream};
            return kAudioHardwareNoError;
        case Selector::virtualMainVolume:
            value = sink.volume;
            return kAudioHardwareNoError;
        case Selector::latency:
            value = sink.latencyFrames;
            return kAudioHardwareNoError;
        case Selector::safetyOffset:
            value = uint32_t{0};
            return kAudioHardwareNoError;
        case Selector::nominalSampleRate:
            value = sink.sampleRate;
            return kAudioHardwareNoError;
        case Selector::isAlive:
            value = uint32_t{1};
            return kAudioHardwareNoError;
        default:
            return kAudioHardwareUnknownPropertyError;
    }
}

OSStatus PulseAudioHardware::getPropertyData(AudioObjectID object,
                                             const AudioObjectPropertyAddress& address,
                                             const PropertyQualifier& qualifier,
                                             PropertyValue& value) const {
    std::lock_guard lock(mutex_);
    if (!connected_) return kAudioHardwareNotRunningError;
    if (object == kAudioObjectSystemObject) return readSystem(address, qualifier, value);
    if (const Sink* sink = sinkByObject(object)) return readSink(*sink, address, value);
    if (const Client* client = clientByObject(object)) {
        if (address.mSelector == Selector::isRunningOutput) {
            value = uint32_t{clientRunsOutput(client->index) ? 1u : 0u};
            return kAudioHardwareNoError;
        }
        if (address.mSelector == Selector::processPID && client->pid) {
            value = *client->pid;
            return kAudioHardwareNoError;
        }
        return kAudioHardwareUnknownPropertyError;
    }
    if (const Tap* tap = tapByObject(object)) {
        if (address.mSelector != Selector::tapFormat) return kAudioHardwareUnknownPropertyError;
        AudioStreamBasicDescription format;
        format.mSampleRate = tap->rate;
        format.mFormatID = fourCharCode("lpcm");
        format.mFormatFlags = kLinearPCMFloatPacked;
        format.mChannelsPerFrame = tap->channels;
        format.mBitsPerChannel = 32;
        format.mBytesPerFrame = format.mBytesPerPacket = 4 * tap->channels;
        format.mFramesPerPacket = 1;
        value = format;
        return kAudioHardwareNoError;
    }
    if (const Aggregate* aggregate = aggregateByObject(object)) {
        if (address.mSelector == Selector::isAlive) {
            value = uint32_t{aggregate->alive() ? 1u : 0u};
            return kAudioHardwareNoError;
        }
        if (address.mSelector == Selector::name) {
            value = aggregate->name;
            return kAudioHardwareNoError;
        }
        return kAudioHardwareUnknownPropertyError;
    }
    return kAudioHardwareBadObjectError;
}

OSStatus PulseAudioHardware::isPropertySettable(AudioObjectID object,
                                                const AudioObjectPropertyAddress& address,
                                                bool& settable) const {
    PropertyValue value;
    const OSStatus status = getPropertyData(object, address, {}, value);
    if (status != kAudioHardwareNoError) return status;
    settable =
        object != kAudioObjectSystemObject && address.mSelector == Selector::virtualMainVolume;
    return kAudioHardwareNoError;
}

OSStatus PulseAudioHardware::setPropertyData(AudioObjectID object,
                                             const AudioObjectPropertyAddress& address,
                                             const PropertyValue& value) {
    if (address.mSelector != Selector::virtualMainVolume)
        return kAudioHardwareIllegalOperationError;
    const auto* volume = std::get_if<float>(&value);
    if (volume == nullptr) return kAudioHardwareBadPropertySizeError;

    pa_cvolume channels{};
    uint32_t index = 0;
    {
        std::lock_guard lock(mutex_);
        if (!connected_) return kAudioHardwareNotRunningError;
        const Sink* sink = sinkByObject(object);
        if (sink == nullptr) return kAudioHardwareBadObjectError;
        index = sink->index;
        channels.channels = static_cast<uint8_t>(sink->channelVolumes.size());
        std::copy(sink->channelVolumes.begin(), sink->channelVolumes.end(), channels.values);
    }
    const auto target = static_cast<pa_volume_t>(
        std::lround(std::clamp(*volume, 0.0f, 1.0f) * static_cast<float>(PA_VOLUME_NORM)));
    // Scaling keeps the balance between channels; a silent sink has none to keep.
    if (pa_cvolume_max(&channels) == PA_VOLUME_MUTED) {
        pa_cvolume_set(&channels, channels.channels, target);
    } else {
        pa_cvolume_scale(&channels, target);
    }
    LoopLock lock(loop_);
    if (context_ == nullptr) return kAudioHardwareNotRunningError;
    dropOperation(
        pa_context_set_sink_volume_by_index(context_, index, &channels, nullptr, nullptr));
    return kAudioHardwareNoError;
}

OSStatus PulseAudioHardware::addPropertyListener(AudioObjectID object,
                                                 const AudioObjectPropertyAddress& address,
                                                 const PropertyListener& listener) {
    if (!listener) return kAudioHardwareIllegalOperationError;
    std::lock_guard lock(mutex_);
    listeners_.push_back({object, address, listener});
    return kAudioHardwareNoError;
}

OSStatus PulseAudioHardware::removePropertyListener(AudioObjectID object,
                                                    const AudioObjectPropertyAddress& address,
                                                    const PropertyListener& listener) {
    std::lock_guard lock(mutex_);
    const auto found = std::find_if(listeners_.begin(), listeners_.end(), [&](const auto& entry) {
        return entry.object == object && entry.address == address && entry.listener == listener;
    });
    if (found == listeners_.end()) return kAudioHardwareIllegalOperationError;
    listeners_.erase(found);
    return kAudioHardwareNoError;
}

}  // namespace sorix
