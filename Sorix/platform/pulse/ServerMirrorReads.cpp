// Reading the mirror: the properties of the system object, the sinks and the clients, and the
// snapshots the tap controller and the façade work from. Nothing here changes the mirror.
#include "ServerMirror.h"

namespace sorix::pulse {

namespace {

using Lock = std::lock_guard<std::mutex>;

template <typename Object, typename Match>
std::optional<Object> findIn(const KeyedMirror<Object>& mirror, Match match) {
    std::optional<Object> found;
    for (const auto& [index, object] : mirror.all()) {
        if (match(object)) found = object;
    }
    return found;
}

}  // namespace

bool ServerMirror::connected() const {
    Lock lock(mutex_);
    return connected_;
}

bool ServerMirror::onPipeWire() const {
    Lock lock(mutex_);
    return server_.pipeWire;
}

OSStatus ServerMirror::read(AudioObjectID object, const AudioObjectPropertyAddress& address,
                            const PropertyQualifier& qualifier, int32_t ownPid,
                            PropertyValue& value) const {
    Lock lock(mutex_);
    if (!connected_) return kAudioHardwareNotRunningError;
    if (object == kAudioObjectSystemObject) return readSystem(address, qualifier, ownPid, value);
    for (const auto& [index, sink] : sinks_.all()) {
        if (sink.object == object) return readSink(sink, address, value);
    }
    for (const auto& [index, client] : clients_.all()) {
        if (client.object == object) return readClient(client, address, value);
    }
    return kAudioHardwareBadObjectError;
}

OSStatus ServerMirror::readSystem(const AudioObjectPropertyAddress& address,
                                  const PropertyQualifier& qualifier, int32_t ownPid,
                                  PropertyValue& value) const {
    const auto deviceNamed = [this](const std::string& name) {
        const auto sink = findIn(sinks_, [&](const Sink& each) { return each.name == name; });
        return sink ? sink->object : kAudioObjectUnknown;
    };
    switch (address.mSelector) {
        case Selector::devices: {
            std::vector<AudioObjectID> devices;
            for (const auto& [index, sink] : sinks_.all())
                devices.push_back(sink.object);
            value = devices;
            return kAudioHardwareNoError;
        }
        case Selector::defaultOutputDevice:
            value = deviceNamed(reportedDefault());
            return kAudioHardwareNoError;
        case Selector::translateUIDToDevice: {
            const auto* uid = std::get_if<std::string>(&qualifier);
            if (uid == nullptr) return kAudioHardwareBadPropertySizeError;
            value = deviceNamed(*uid);
            return kAudioHardwareNoError;
        }
        case Selector::processObjects: {
            std::vector<AudioObjectID> processes;
            for (const auto& [index, client] : clients_.all()) {
                if (!hiddenClient(index)) processes.push_back(client.object);
            }
            value = processes;
            return kAudioHardwareNoError;
        }
        case Selector::translatePIDToProcess: {
            const auto* pid = std::get_if<int32_t>(&qualifier);
            if (pid == nullptr) return kAudioHardwareBadPropertySizeError;
            uint32_t process = kAudioObjectUnknown;
            // Our own connection first: a program may hold several, the first one speaks for it.
            if (*pid == ownPid) {
                if (const Client* own = clients_.find(ownMirrorClient_)) process = own->object;
            }
            for (const auto& [index, client] : clients_.all()) {
                if (process == kAudioObjectUnknown && client.pid == *pid && !hiddenClient(index))
                    process = client.object;
            }
            value = process;
            return kAudioHardwareNoError;
        }
        default:
            return kAudioHardwareUnknownPropertyError;
    }
}

OSStatus ServerMirror::readSink(const Sink& sink, const AudioObjectPropertyAddress& address,
                                PropertyValue& value) {
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

OSStatus ServerMirror::readClient(const Client& client, const AudioObjectPropertyAddress& address,
                                  PropertyValue& value) const {
    if (address.mSelector == Selector::isRunningOutput) {
        value = uint32_t{clientRunsOutput(client.index) ? 1u : 0u};
        return kAudioHardwareNoError;
    }
    if (address.mSelector == Selector::processPID && client.pid) {
        value = *client.pid;
        return kAudioHardwareNoError;
    }
    return kAudioHardwareUnknownPropertyError;
}

// --- Snapshots ---

std::optional<Sink> ServerMirror::sink(uint32_t index) const {
    Lock lock(mutex_);
    const Sink* sink = sinks_.find(index);
    return sink != nullptr ? std::optional<Sink>(*sink) : std::nullopt;
}

std::optional<Sink> ServerMirror::sinkByObject(AudioObjectID object) const {
    Lock lock(mutex_);
    return findIn(sinks_, [&](const Sink& sink) { return sink.object == object; });
}

std::optional<Sink> ServerMirror::sinkNamed(const std::string& name) const {
    Lock lock(mutex_);
    return findIn(sinks_, [&](const Sink& sink) { return sink.name == name; });
}

std::vector<Sink> ServerMirror::sinks() const {
    Lock lock(mutex_);
    std::vector<Sink> sinks;
    for (const auto& [index, sink] : sinks_.all())
        sinks.push_back(sink);
    return sinks;
}

std::optional<Sink> ServerMirror::defaultSink() const {
    Lock lock(mutex_);
    return findIn(sinks_, [&](const Sink& sink) { return sink.name == reportedDefault(); });
}

std::string ServerMirror::serverDefaultName() const {
    Lock lock(mutex_);
    return server_.defaultSink;
}

std::optional<SinkInput> ServerMirror::sinkInput(uint32_t index) const {
    Lock lock(mutex_);
    const SinkInput* input = sinkInputs_.find(index);
    return input != nullptr ? std::optional<SinkInput>(*input) : std::nullopt;
}

std::vector<SinkInput> ServerMirror::sinkInputs() const {
    Lock lock(mutex_);
    std::vector<SinkInput> inputs;
    for (const auto& [index, input] : sinkInputs_.all())
        inputs.push_back(input);
    return inputs;
}

std::optional<AudioObjectID> ServerMirror::processOfClient(uint32_t index) const {
    Lock lock(mutex_);
    const Client* client = clients_.find(speakerFor(index));
    return client != nullptr ? std::optional<AudioObjectID>(client->object) : std::nullopt;
}

bool ServerMirror::ownClient(uint32_t index) const {
    Lock lock(mutex_);
    return index != kNoIndex && (index == ownMirrorClient_ || index == ownStreamsClient_);
}

}  // namespace sorix::pulse
