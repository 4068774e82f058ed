// The capture pipeline on a PulseAudio server. The tap is a null sink that every other program's
// streams are moved onto (which is what keeps them from also playing directly); the aggregate
// device is one record stream on the tap's monitor and one playback stream per chosen sink; the
// IO procedure runs on the server thread for every chunk recorded, writing straight into the
// playback streams' buffers.
#include <algorithm>
#include <chrono>
#include <string>
#include <thread>

#include "PulsePipelineDetail.h"

namespace sorix {

namespace {

constexpr double kModuleTimeoutSeconds = 3.0;
// The playback streams' target length: only the yardstick of their queues (see queuedSeconds).
// With early requests a sink's own latency follows the request size, not this.
constexpr double kPlaybackHeadroomSeconds = 0.100;
// How often the outputs' positions are compared.
constexpr double kPositionSeconds = 0.25;

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

// How much audio a playback stream holds ahead of its sink, from the server's requests: it asks
// for what its sink has taken, so what was written and not yet asked for is still queued. Unlike
// the timing reports, this holds on every server (PipeWire's PulseAudio server reports read
// positions late and in steps of its graph's cycles, which once drained an output while the
// reports still showed a queue), and it costs no request. It is exact at the moment a request
// arrives, when the sink has just taken its block, and only while the queue stays within the
// stream's target length, which is set well above what the pipeline keeps; beyond it, it reads as
// the target length. A queue the sink has read past reads below zero.
double queuedSeconds(pa_stream* stream, std::size_t bytesPerSecond) {
    const pa_buffer_attr* attributes = pa_stream_get_buffer_attr(stream);
    if (attributes == nullptr) return 0;
    const auto writable = static_cast<double>(pa_stream_writable_size(stream));
    return (static_cast<double>(attributes->tlength) - writable) /
           static_cast<double>(bytesPerSecond);
}

uint32_t bytesFor(double seconds, uint32_t rate, uint32_t channels) {
    const auto frames = static_cast<uint32_t>(seconds * rate);
    return std::max<uint32_t>(frames, 1) * channels * static_cast<uint32_t>(sizeof(float));
}

void releaseStream(pa_stream*& stream) {
    if (stream == nullptr) return;
    pa_stream_set_state_callback(stream, nullptr, nullptr);
    pa_stream_set_read_callback(stream, nullptr, nullptr);
    pa_stream_set_write_callback(stream, nullptr, nullptr);
    pa_stream_disconnect(stream);
    pa_stream_unref(stream);
    stream = nullptr;
}

pa_proplist* streamProperties(const std::string& name) {
    pa_proplist* properties = pa_proplist_new();
    pa_proplist_sets(properties, PA_PROP_MEDIA_NAME, name.c_str());
    return properties;
}

}  // namespace

// --- Module and operation helpers (main thread) ---

bool PulseAudioHardware::waitForOperation(pa_operation* operation) {
    if (operation == nullptr) return false;
    pa_operation_set_state_callback(
        operation,
        [](pa_operation*, void* loop) {
            pa_threaded_mainloop_signal(static_cast<pa_threaded_mainloop*>(loop), 0);
        },
        loop_);
    while (pa_operation_get_state(operation) == PA_OPERATION_RUNNING)
        pa_threaded_mainloop_wait(loop_);
    const bool done = pa_operation_get_state(operation) == PA_OPERATION_DONE;
    pa_operation_unref(operation);
    return done;
}

uint32_t PulseAudioHardware::loadModule(const std::string& name, const std::string& arguments) {
    uint32_t module = PA_INVALID_INDEX;
    LoopLock lock(loop_);
    if (context_ == nullptr || pa_context_get_state(context_) != PA_CONTEXT_READY) return module;
    waitForOperation(pa_context_load_module(
        context_, name.c_str(), arguments.c_str(),
        [](pa_context*, uint32_t index, void* result) { *static_cast<uint32_t*>(result) = index; },
        &module));
    return module;
}

void PulseAudioHardware::unloadModule(uint32_t module, bool wait) {
    LoopLock lock(loop_);
    if (context_ == nullptr || pa_context_get_state(context_) != PA_CONTEXT_READY) return;
    pa_operation* operation = pa_context_unload_module(context_, module, nullptr, nullptr);
    wait ? static_cast<void>(waitForOperation(operation)) : dropOperation(operation);
}

void PulseAudioHardware::removeStaleTaps() {
    LoopLock lock(loop_);
    removeStaleTapsLocked();
}

void PulseAudioHardware::removeStaleTapsLocked() {
    if (context_ == nullptr || pa_context_get_state(context_) != PA_CONTEXT_READY) return;
    std::vector<uint32_t> modules;
    {
        std::lock_guard lock(mutex_);
        for (const auto& [index, sink] : sinks_) {
            if (sink.tapOwner && !processRuns(*sink.tapOwner) &&
                sink.ownerModule != PA_INVALID_INDEX)
                modules.push_back(sink.ownerModule);
        }
    }
    // The server moves the streams of an unloaded sink to the default sink.
    for (uint32_t module : modules)
        dropOperation(pa_context_unload_module(context_, module, nullptr, nullptr));
}

void PulseAudioHardware::waitForStaleTapsGone(double timeoutSeconds) {
    const auto deadline = std::chrono::steady_clock::now() +
                          std::chrono::milliseconds(static_cast<int>(timeoutSeconds * 1000));
    const auto staleLeft = [this] {
        std::lock_guard lock(mutex_);
        return std::any_of(sinks_.begin(), sinks_.end(), [](const auto& entry) {
            return entry.second.tapOwner && !processRuns(*entry.second.tapOwner);
        });
    };
    while (staleLeft() && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
}

std::string PulseAudioHardware::freeTapSinkName() const {
    const auto taken = [this](const std::string& name) {
        return std::any_of(sinks_.begin(), sinks_.end(),
                           [&](const auto& entry) { return entry.second.name == name; });
    };
    // Another Sorix that still runs keeps its tap; this one then takes a name of its own.
    if (!taken(kTapSinkName)) return kTapSinkName;
    return std::string(kTapSinkName) + "_" + std::to_string(identity_.pid);
}

// --- The tap ---

OSStatus PulseAudioHardware::createProcessTap(const TapDescription& description,
                                              AudioObjectID& tapID) {
    tapID = kAudioObjectUnknown;
    if (!isConnected()) return kAudioHardwareNotRunningError;
    Tap tap;
    {
        std::lock_guard lock(mutex_);
        for (const auto& [index, sink] : sinks_) {
            if (sink.name == defaultSinkName_ && sink.sampleRate > 0)
                tap.rate = static_cast<uint32_t>(sink.sampleRate);
        }
    }
    if (const auto retired = takeBackRetiredTap(description, tap.rate)) {
        tapID = *retired;
        return kAudioHardwareNoError;
    }
    releaseRetiredTap();
    removeStaleTaps();
    waitForStaleTapsGone(kModuleTimeoutSeconds);
    {
        std::lock_guard lock(mutex_);
        tap.sinkName = freeTapSinkName();
    }
    tap.uuid = description.uuid;
    tap.keepAudible = description.muteBehavior == TapDescription::MuteBehavior::unmuted;
    tap.excludedProcesses = description.excludedProcesses;
    std::string owner = std::string(kTapOwnerProperty) + "=" + std::to_string(identity_.pid);
    if (identity_.startTime)
        owner +=
            std::string(" ") + kTapOwnerStartProperty + "=" + std::to_string(*identity_.startTime);
    const std::string arguments =
        "sink_name=" + tap.sinkName + " rate=" + std::to_string(tap.rate) +
        " channels=2 format=float32le sink_properties=\"device.description='" + description.name +
        "' device.class=abstract " + owner + "\"";
    tap.module = loadModule("module-null-sink", arguments);
    if (tap.module == PA_INVALID_INDEX) return kAudioHardwareUnspecifiedError;

    // The sink reaches the mirror through the subscription, a moment after the module loads. It
    // is known by its module: a tap of the same name may still be on its way out.
    const auto deadline = std::chrono::steady_clock::now() +
                          std::chrono::milliseconds(static_cast<int>(kModuleTimeoutSeconds * 1000));
    while (tap.sinkIndex == PA_INVALID_INDEX && std::chrono::steady_clock::now() < deadline) {
        {
            std::lock_guard lock(mutex_);
            for (const auto& [index, sink] : sinks_) {
                if (sink.ownerModule == tap.module && sink.tapOwner) {
                    tap.sinkIndex = index;
                    tap.sinkName = sink.name;
                }
            }
        }
        if (tap.sinkIndex == PA_INVALID_INDEX)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    if (tap.sinkIndex == PA_INVALID_INDEX) {
        unloadModule(tap.module, true);
        return kAudioHardwareUnspecifiedError;
    }

    std::lock_guard lock(mutex_);
    tap.object = nextObject_++;
    tapID = tap.object;
    taps_[tap.object] = std::move(tap);
    return kAudioHardwareNoError;
}

void PulseAudioHardware::startCapture(AudioObjectID tapObject) {
    const auto tap = taps_.find(tapObject);
    if (tap == taps_.end() || tap->second.capturing) return;
    tap->second.capturing = true;
    for (const auto& [index, input] : sinkInputs_)
        captureSinkInput(input);
}

void PulseAudioHardware::captureSinkInput(const SinkInput& input) {
    if (context_ == nullptr) return;
    // Streams without a client belong to modules (our own audible copies among them), and our
    // own playback must never be captured again.
    if (input.client == PA_INVALID_INDEX || input.client == ownClientIndex_) return;
    for (auto& [object, tap] : taps_) {
        if (!tap.capturing || tap.sinkIndex == PA_INVALID_INDEX || input.sink == tap.sinkIndex)
            continue;
        const auto client = clients_.find(input.client);
        if (client != clients_.end() &&
            std::find(tap.excludedProcesses.begin(), tap.excludedProcesses.end(),
                      client->second.object) != tap.excludedProcesses.end())
            continue;
        const auto from = sinks_.find(input.sink);
        if (from != sinks_.end() && from->second.tapOwner) continue;  // another tap's
        const std::string origin = from != sinks_.end() ? from->second.name : std::string();
        tap.moved.try_emplace(input.index, origin);
        if (tap.keepAudible && !origin.empty()) keepAudibleOn(tap, origin);
        dropOperation(pa_context_move_sink_input_by_index(context_, input.index, tap.sinkIndex,
                                                          nullptr, nullptr));
        return;
    }
}

void PulseAudioHardware::keepAudibleOn(Tap& tap, const std::string& sinkName) {
    if (!tap.audibleCopies.emplace(sinkName, PA_INVALID_INDEX).second) return;
    // A loopback from the tap's monitor: the tapped programs stay audible where they played,
    // and Sorix's own output, which never passes the tap, cannot feed back into it.
    struct Pending {
        PulseAudioHardware* hardware;
        AudioObjectID tap;
        std::string sink;
    };
    const std::string arguments = "source=" + tap.sinkName + ".monitor sink=" + sinkName +
                                  " latency_msec=20 source_dont_move=true sink_dont_move=true";
    dropOperation(pa_context_load_module(
        context_, "module-loopback", arguments.c_str(),
        [](pa_context* context, uint32_t module, void* data) {
            std::unique_ptr<Pending> pending(static_cast<Pending*>(data));
            std::lock_guard lock(pending->hardware->mutex_);
            const auto tap = pending->hardware->taps_.find(pending->tap);
            if (tap == pending->hardware->taps_.end()) {
                if (module != PA_INVALID_INDEX)
                    dropOperation(pa_context_unload_module(context, module, nullptr, nullptr));
                return;
            }
            tap->second.audibleCopies[pending->sink] = module;
        },
        new Pending{this, tap.object, sinkName}));
}

OSStatus PulseAudioHardware::destroyProcessTap(AudioObjectID tapID) {
    Tap tap;
    {
        std::lock_guard lock(mutex_);
        const auto found = taps_.find(tapID);
        if (found == taps_.end()) return kAudioHardwareBadObjectError;
        tap = std::move(found->second);
        taps_.erase(found);
    }
    retireTap(std::move(tap));
    return kAudioHardwareNoError;
}

void PulseAudioHardware::retireTap(Tap tap) {
    releaseRetiredTap();
    {
        std::lock_guard lock(mutex_);
        retiredTap_ = std::move(tap);
    }
    mainQueue_.async([this, alive = std::weak_ptr<char>(lifetime_)] {
        if (alive.lock()) releaseRetiredTap();
    });
}

std::optional<AudioObjectID> PulseAudioHardware::takeBackRetiredTap(
    const TapDescription& description, uint32_t rate) {
    std::lock_guard lock(mutex_);
    if (!retiredTap_) return std::nullopt;
    Tap& tap = *retiredTap_;
    const bool sinkThere = sinks_.count(tap.sinkIndex) > 0;
    const bool keepAudible = description.muteBehavior == TapDescription::MuteBehavior::unmuted;
    if (!sinkThere || tap.rate != rate || tap.keepAudible != keepAudible ||
        tap.excludedProcesses != description.excludedProcesses)
        return std::nullopt;
    tap.object = nextObject_++;
    tap.uuid = description.uuid;
    const AudioObjectID object = tap.object;
    taps_[object] = std::move(tap);
    retiredTap_.reset();
    return object;
}

void PulseAudioHardware::releaseRetiredTap() {
    std::optional<Tap> tap;
    {
        std::lock_guard lock(mutex_);
        tap.swap(retiredTap_);
    }
    if (tap) releaseTap(*tap);
}

void PulseAudioHardware::releaseTap(const Tap& tap) {
    {
        LoopLock loop(loop_);
        std::lock_guard lock(mutex_);
        if (tap.module == PA_INVALID_INDEX || context_ == nullptr) return;
        // Each stream goes home before the tap goes; the server handles our requests in order.
        for (const auto& [input, origin] : tap.moved) {
            const auto current = sinkInputs_.find(input);
            if (current == sinkInputs_.end() || current->second.sink != tap.sinkIndex ||
                origin.empty())
                continue;
            dropOperation(pa_context_move_sink_input_by_name(context_, input, origin.c_str(),
                                                             nullptr, nullptr));
        }
        for (const auto& [sink, copy] : tap.audibleCopies) {
            if (copy != PA_INVALID_INDEX)
                dropOperation(pa_context_unload_module(context_, copy, nullptr, nullptr));
        }
    }
    unloadModule(tap.module, true);
}

const PulseAudioHardware::Tap* PulseAudioHardware::tapByObject(AudioObjectID object) const {
    const auto found = taps_.find(object);
    return found == taps_.end() ? nullptr : &found->second;
}

// --- The aggregate device ---

PulseAudioHardware::Aggregate* PulseAudioHardware::aggregateByObject(AudioObjectID object) const {
    const auto found = aggregates_.find(object);
    return found == aggregates_.end() ? nullptr : found->second.get();
}

OSStatus PulseAudioHardware::createAggregateDevice(const AggregateDeviceDescription& description,
                                                   AudioObjectID& device) {
    device = kAudioObjectUnknown;
    if (!isConnected()) return kAudioHardwareNotRunningError;
    if (description.tap.empty() || description.subDevices.empty())
        return kAudioHardwareIllegalOperationError;

    auto aggregate = std::make_unique<Aggregate>();
    aggregate->owner = this;
    aggregate->name = description.name;
    std::string tapSink;
    std::vector<std::string> outputs;
    {
        std::lock_guard lock(mutex_);
        for (const auto& [object, tap] : taps_) {
            if (tap.uuid != description.tap) continue;
            tapSink = tap.sinkName;
            aggregate->tapSink = tapSink;
            aggregate->rate = tap.rate;
            aggregate->inputChannels = tap.channels;
        }
        if (tapSink.empty()) return kAudioHardwareBadObjectError;
        for (const std::string& member : description.subDevices) {
            const auto sink = std::find_if(sinks_.begin(), sinks_.end(), [&](const auto& entry) {
                return entry.second.name == member;
            });
            if (sink == sinks_.end()) return kAudioHardwareBadDeviceError;
            outputs.push_back(member);
            aggregate->playbackChannels.push_back(std::max<uint32_t>(sink->second.channels, 1));
        }
        aggregate->object = nextObject_++;
    }
    aggregate->outputBuffers.resize(outputs.size());
    aggregate->writeAreas.resize(outputs.size());
    aggregate->timing = PipelineTiming::forServer(onPipeWire());
    aggregate->trimmer = std::make_unique<LatencyTrimmer>(
        outputs.size(),
        LatencyTrimmer::Settings{.rate = static_cast<double>(aggregate->rate),
                                 .targetSeconds = aggregate->timing.lowestQueueSeconds,
                                 .floorSeconds = aggregate->timing.refillBelowSeconds});
    aggregate->positionFrames.resize(outputs.size());
    for (std::size_t i = 0; i < outputs.size(); ++i)
        aggregate->outputSlots.push_back({aggregate.get(), i});

    LoopLock loop(loop_);
    if (context_ == nullptr || pa_context_get_state(context_) != PA_CONTEXT_READY)
        return kAudioHardwareNotRunningError;
    const auto stateChanged = [](pa_stream*, void* data) {
        auto* aggregate = static_cast<Aggregate*>(data);
        aggregate->owner->aggregateStreamChanged(*aggregate);
    };
    const auto cleanUp = [&] {
        releaseStream(aggregate->record);
        for (pa_stream*& stream : aggregate->playback)
            releaseStream(stream);
        return kAudioHardwareUnspecifiedError;
    };

    pa_proplist* properties = streamProperties(aggregate->name);
    const pa_sample_spec inputSpec{PA_SAMPLE_FLOAT32LE, aggregate->rate,
                                   static_cast<uint8_t>(aggregate->inputChannels)};
    aggregate->record = pa_stream_new_with_proplist(context_, aggregate->name.c_str(), &inputSpec,
                                                    nullptr, properties);
    if (aggregate->record == nullptr) {
        pa_proplist_free(properties);
        return cleanUp();
    }
    pa_stream_set_state_callback(aggregate->record, stateChanged, aggregate.get());
    pa_stream_set_read_callback(
        aggregate->record,
        [](pa_stream*, size_t, void* data) { static_cast<Aggregate*>(data)->pump(); },
        aggregate.get());
    pa_buffer_attr recordAttributes{};
    recordAttributes.maxlength = static_cast<uint32_t>(-1);
    recordAttributes.fragsize = bytesFor(aggregate->timing.recordFragmentSeconds, aggregate->rate,
                                         aggregate->inputChannels);
    const auto flags = static_cast<pa_stream_flags_t>(PA_STREAM_ADJUST_LATENCY |
                                                      PA_STREAM_DONT_MOVE | PA_STREAM_START_CORKED);
    const std::string monitor = tapSink + ".monitor";
    if (pa_stream_connect_record(aggregate->record, monitor.c_str(), &recordAttributes, flags) <
        0) {
        pa_proplist_free(properties);
        return cleanUp();
    }

    for (std::size_t i = 0; i < outputs.size(); ++i) {
        const uint32_t channels = aggregate->playbackChannels[i];
        const pa_sample_spec spec{PA_SAMPLE_FLOAT32LE, aggregate->rate,
                                  static_cast<uint8_t>(channels)};
        pa_channel_map map;
        pa_channel_map_init_auto(&map, channels, PA_CHANNEL_MAP_DEFAULT);
        pa_stream* stream =
            pa_stream_new_with_proplist(context_, aggregate->name.c_str(), &spec, &map, properties);
        if (stream == nullptr) {
            pa_proplist_free(properties);
            return cleanUp();
        }
        aggregate->playback.push_back(stream);
        pa_stream_set_state_callback(stream, stateChanged, aggregate.get());
        // The queue is read when the sink has just taken its block, so that what is read is what
        // the sink has left to play: read at any other moment it would hold audio already taken.
        pa_stream_set_write_callback(
            stream,
            [](pa_stream*, size_t, void* data) {
                const auto* slot = static_cast<const Aggregate::OutputSlot*>(data);
                slot->aggregate->requested(slot->output);
            },
            &aggregate->outputSlots[i]);
        pa_buffer_attr attributes{};
        attributes.maxlength = static_cast<uint32_t>(-1);
        attributes.tlength = bytesFor(kPlaybackHeadroomSeconds, aggregate->rate, channels);
        attributes.minreq =
            bytesFor(aggregate->timing.playbackRequestSeconds, aggregate->rate, channels);
        // Without prebuffering an output keeps playing on its sink's clock when a chunk comes
        // late: it plays silence, the late audio is lost rather than played late, and the
        // outputs stay where they were in step with each other. startDevice fills them first.
        attributes.prebuf = 0;
        // Early requests keep each sink's own buffer at one request, whatever the target length.
        const auto playbackFlags = static_cast<pa_stream_flags_t>(
            PA_STREAM_EARLY_REQUESTS | PA_STREAM_DONT_MOVE | PA_STREAM_START_CORKED);
        if (pa_stream_connect_playback(stream, outputs[i].c_str(), &attributes, playbackFlags,
                                       nullptr, nullptr) < 0) {
            pa_proplist_free(properties);
            return cleanUp();
        }
    }
    pa_proplist_free(properties);

    std::lock_guard lock(mutex_);
    device = aggregate->object;
    aggregates_[device] = std::move(aggregate);
    return kAudioHardwareNoError;
}

void PulseAudioHardware::aggregateStreamChanged(Aggregate& aggregate) {
    bool wasAlive = false;
    bool isAlive = false;
    {
        std::lock_guard lock(mutex_);
        wasAlive = aggregate.alive();
        int ready = 0;
        bool failed = false;
        const auto count = [&](pa_stream* stream) {
            if (stream == nullptr) return;
            const pa_stream_state_t state = pa_stream_get_state(stream);
            ready += state == PA_STREAM_READY ? 1 : 0;
            failed = failed || state == PA_STREAM_FAILED || state == PA_STREAM_TERMINATED;
        };
        count(aggregate.record);
        for (pa_stream* stream : aggregate.playback)
            count(stream);
        aggregate.streamsReady = ready;
        aggregate.failed = failed;
        isAlive = aggregate.alive();
    }
    if (wasAlive != isAlive) notify({{aggregate.object, Selector::isAlive}});
}

OSStatus PulseAudioHardware::destroyAggregateDevice(AudioObjectID device) {
    std::unique_ptr<Aggregate> aggregate;
    LoopLock loop(loop_);
    {
        std::lock_guard lock(mutex_);
        const auto found = aggregates_.find(device);
        if (found == aggregates_.end()) return kAudioHardwareBadObjectError;
        aggregate = std::move(found->second);
        aggregates_.erase(found);
    }
    aggregate->running = false;
    releaseStream(aggregate->record);
    for (pa_stream*& stream : aggregate->playback)
        releaseStream(stream);
    return kAudioHardwareNoError;
}

// --- The IO procedure ---

OSStatus PulseAudioHardware::createIOProcID(AudioObjectID device, AudioDeviceIOBlock block,
                                            AudioDeviceIOProcID& procID) {
    procID = 0;
    LoopLock loop(loop_);
    std::lock_guard lock(mutex_);
    Aggregate* aggregate = aggregateByObject(device);
    if (aggregate == nullptr) return kAudioHardwareBadDeviceError;
    if (!block || aggregate->procID != 0) return kAudioHardwareIllegalOperationError;
    aggregate->block = std::move(block);
    aggregate->procID = procID = nextObject_++;
    return kAudioHardwareNoError;
}

OSStatus PulseAudioHardware::destroyIOProcID(AudioObjectID device, AudioDeviceIOProcID procID) {
    LoopLock loop(loop_);
    std::lock_guard lock(mutex_);
    Aggregate* aggregate = aggregateByObject(device);
    if (aggregate == nullptr) return kAudioHardwareBadDeviceError;
    if (procID == 0 || aggregate->procID != procID) return kAudioHardwareIllegalOperationError;
    aggregate->running = false;
    aggregate->block = nullptr;
    aggregate->procID = 0;
    return kAudioHardwareNoError;
}

namespace {

void corkAll(pa_stream* record, const std::vector<pa_stream*>& playback, bool cork) {
    const auto apply = [cork](pa_stream* stream) {
        if (stream != nullptr && pa_stream_get_state(stream) == PA_STREAM_READY)
            dropOperation(pa_stream_cork(stream, cork ? 1 : 0, nullptr, nullptr));
    };
    for (pa_stream* stream : playback)
        apply(stream);
    apply(record);
}

}  // namespace

OSStatus PulseAudioHardware::startDevice(AudioObjectID device, AudioDeviceIOProcID procID) {
    LoopLock loop(loop_);
    std::lock_guard lock(mutex_);
    Aggregate* aggregate = aggregateByObject(device);
    if (aggregate == nullptr) return kAudioHardwareBadDeviceError;
    if (procID == 0 || aggregate->procID != procID) return kAudioHardwareIllegalOperationError;
    if (!aggregate->alive()) return kAudioHardwareNotRunningError;
    aggregate->running = true;
    // Our recording runs before any stream is moved onto the tap: a null sink plans its blocks by
    // the latency its listeners ask for, and a corked recording asks nothing, so a stream moved
    // in first would have the tap plan a long block ahead. Suspending the tap to reset its clock
    // instead would break the links of the streams on it on PipeWire.
    corkAll(aggregate->record, {}, false);
    for (const auto& [object, tap] : taps_) {
        if (tap.sinkName == aggregate->tapSink) {
            startCapture(object);
            break;
        }
    }
    // Every output starts from the same queue of silence, uncorked together, so they start in
    // step and each has the trimmer's target before the first chunk arrives.
    for (std::size_t i = 0; i < aggregate->playback.size(); ++i) {
        pa_stream* stream = aggregate->playback[i];
        if (pa_stream_get_state(stream) != PA_STREAM_READY) continue;
        dropOperation(pa_stream_flush(stream, nullptr, nullptr));
        const std::size_t bytes =
            std::min<std::size_t>(aggregate->silence.size() * sizeof(float),
                                  bytesFor(aggregate->timing.lowestQueueSeconds, aggregate->rate,
                                           aggregate->playbackChannels[i]));
        pa_stream_write(stream, aggregate->silence.data(), bytes, nullptr, 0, PA_SEEK_RELATIVE);
    }
    corkAll(nullptr, aggregate->playback, false);
    return kAudioHardwareNoError;
}

OSStatus PulseAudioHardware::stopDevice(AudioObjectID device, AudioDeviceIOProcID) {
    LoopLock loop(loop_);
    std::lock_guard lock(mutex_);
    Aggregate* aggregate = aggregateByObject(device);
    if (aggregate == nullptr) return kAudioHardwareBadDeviceError;
    aggregate->running = false;
    corkAll(aggregate->record, aggregate->playback, true);
    return kAudioHardwareNoError;
}

void PulseAudioHardware::Aggregate::pump() {
    const std::size_t frameBytes = inputChannels * sizeof(float);
    uint32_t widest = inputChannels;
    for (uint32_t channels : playbackChannels)
        widest = std::max(widest, channels);
    const std::size_t chunkFrames = maxChunkSamples / widest;
    for (;;) {
        const void* data = nullptr;
        std::size_t bytes = 0;
        if (pa_stream_peek(record, &data, &bytes) < 0 || bytes == 0) return;
        if (running.load(std::memory_order_relaxed) && block) {
            const auto* samples = static_cast<const float*>(data);
            std::size_t frames = bytes / frameBytes;
            while (frames > 0) {
                const std::size_t done = render(samples, std::min(frames, chunkFrames));
                if (done == 0) break;  // an output cannot take audio now: the rest is dropped
                if (samples != nullptr) samples += done * inputChannels;
                frames -= done;
            }
        }
        pa_stream_drop(record);
    }
}

void PulseAudioHardware::Aggregate::requested(std::size_t output) {
    if (!running.load(std::memory_order_relaxed)) return;
    trimmer->report(
        output, queuedSeconds(playback[output], rate * playbackChannels[output] * sizeof(float)));
}

std::size_t PulseAudioHardware::Aggregate::render(const float* input, std::size_t frames) {
    // Each output's memory comes from its stream, so the render path writes in place.
    for (std::size_t i = 0; i < playback.size(); ++i) {
        std::size_t bytes = frames * playbackChannels[i] * sizeof(float);
        if (pa_stream_begin_write(playback[i], &writeAreas[i], &bytes) < 0) {
            for (std::size_t j = 0; j < i; ++j)
                pa_stream_cancel_write(playback[j]);
            return 0;
        }
        frames = std::min(frames, bytes / (playbackChannels[i] * sizeof(float)));
    }
    inputBuffer.mNumberChannels = inputChannels;
    inputBuffer.mDataByteSize = static_cast<uint32_t>(frames * inputChannels * sizeof(float));
    // A hole in the recording plays as silence.
    inputBuffer.mData = const_cast<float*>(input != nullptr ? input : silence.data());
    for (std::size_t i = 0; i < playback.size(); ++i) {
        outputBuffers[i].mNumberChannels = playbackChannels[i];
        outputBuffers[i].mDataByteSize =
            static_cast<uint32_t>(frames * playbackChannels[i] * sizeof(float));
        outputBuffers[i].mData = writeAreas[i];
    }
    const AudioBufferList inputList{1, &inputBuffer};
    AudioBufferList outputList{static_cast<uint32_t>(outputBuffers.size()), outputBuffers.data()};
    block(inputList, outputList);
    sampleTime += static_cast<double>(frames);
    for (std::size_t i = 0; i < playback.size(); ++i) {
        const std::size_t frameBytes = playbackChannels[i] * sizeof(float);
        const std::size_t skipped = trimmer->takeSkip(i, frames);
        if (skipped == frames) {
            pa_stream_cancel_write(playback[i]);
            continue;
        }
        // A gap is a seek past the end of the queue; the sink plays the hole as silence.
        const auto gap = static_cast<int64_t>(trimmer->takeGap(i) * frameBytes);
        pa_stream_write(playback[i], static_cast<char*>(writeAreas[i]) + skipped * frameBytes,
                        (frames - skipped) * frameBytes, nullptr, gap, PA_SEEK_RELATIVE);
    }
    trimmer->advance(frames);
    askPositions(frames);
    return frames;
}

void PulseAudioHardware::Aggregate::askPositions(std::size_t frames) {
    framesSincePositions += frames;
    if (positionUpdatesOutstanding > 0 || !trimmer->settled() ||
        static_cast<double>(framesSincePositions) < kPositionSeconds * rate)
        return;
    framesSincePositions = 0;
    // Asked one right after the other, so the answers describe nearly the same moment.
    for (pa_stream* stream : playback) {
        pa_operation* operation = pa_stream_update_timing_info(
            stream,
            [](pa_stream*, int success, void* data) {
                static_cast<Aggregate*>(data)->positionArrived(success != 0);
            },
            this);
        if (operation == nullptr) continue;
        ++positionUpdatesOutstanding;
        pa_operation_unref(operation);
    }
}

void PulseAudioHardware::Aggregate::positionArrived(bool success) {
    positionFailed = positionFailed || !success;
    if (--positionUpdatesOutstanding > 0) return;
    const bool failed = positionFailed;
    positionFailed = false;
    if (failed) return;
    for (std::size_t i = 0; i < playback.size(); ++i) {
        const pa_timing_info* timing = pa_stream_get_timing_info(playback[i]);
        if (timing == nullptr || timing->read_index_corrupt != 0 ||
            timing->write_index_corrupt != 0)
            return;
        // libpulse counts every write up to now into the write index, so its end is the tap's
        // latest frame on every output; the queue behind it holds no skip or gap once settled.
        const auto frameBytes = static_cast<double>(playbackChannels[i] * sizeof(float));
        positionFrames[i] =
            sampleTime - static_cast<double>(timing->write_index - timing->read_index) / frameBytes;
    }
    trimmer->positions(positionFrames.data());
}

}  // namespace sorix
