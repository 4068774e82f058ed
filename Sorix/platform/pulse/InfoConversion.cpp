#include "InfoConversion.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include "SinkTransport.h"
#include "TapSinkProperties.h"

namespace sorix::pulse {

namespace {

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

Sink sinkFrom(const pa_sink_info& info) {
    Sink sink;
    sink.index = info.index;
    sink.name = info.name != nullptr ? info.name : "";
    sink.description = info.description != nullptr ? info.description : sink.name;
    SinkDescriptionForTransport described;
    described.properties = properties(info.proplist);
    described.driver = info.driver != nullptr ? info.driver : "";
    if (info.active_port != nullptr && info.active_port->name != nullptr)
        described.activePort = info.active_port->name;
    sink.transport = sinkTransport(described);
    sink.channelVolumes.assign(info.volume.values, info.volume.values + info.volume.channels);
    sink.volume = std::clamp(
        static_cast<float>(pa_cvolume_avg(&info.volume)) / static_cast<float>(PA_VOLUME_NORM), 0.0f,
        1.0f);
    sink.sampleRate = info.sample_spec.rate;
    sink.card = info.card;
    sink.activePort = described.activePort;
    // The device's own delay as configured, not the momentary fill of its buffer: it changes,
    // and notifies, only when the device's delay really changes.
    sink.configuredLatencyMicroseconds = info.configured_latency;
    sink.channels = info.sample_spec.channels;
    sink.ownerModule = info.owner_module;
    if (const auto pid = unsignedProperty(info.proplist, kTapOwnerProperty)) {
        sink.tapOwner = ProcessIdentity{static_cast<pid_t>(*pid),
                                        unsignedProperty(info.proplist, kTapOwnerStartProperty)};
    }
    return sink;
}

Client clientFrom(const pa_client_info& info) {
    Client client;
    client.index = info.index;
    const auto pid = unsignedProperty(info.proplist, PA_PROP_APPLICATION_PROCESS_ID);
    if (pid && *pid <= static_cast<uint64_t>(INT32_MAX)) client.pid = static_cast<int32_t>(*pid);
    return client;
}

SinkInput sinkInputFrom(const pa_sink_input_info& info) {
    // PipeWire's PulseAudio server names the sink a stream asked for in target.object.
    const char* target = pa_proplist_gets(info.proplist, "target.object");
    return {info.index, info.client, info.corked != 0, info.sink, target != nullptr ? target : ""};
}

Card cardFrom(const pa_card_info& info) {
    Card card;
    card.index = info.index;
    for (uint32_t i = 0; i < info.n_ports; ++i) {
        const pa_card_port_info* port = info.ports[i];
        if (port != nullptr && port->name != nullptr)
            card.portLatencyOffsets[port->name] = port->latency_offset;
    }
    return card;
}

ServerInfo serverInfoFrom(const pa_server_info& info) {
    return {info.default_sink_name != nullptr ? info.default_sink_name : "",
            info.server_name != nullptr && std::strstr(info.server_name, "PipeWire") != nullptr};
}

}  // namespace sorix::pulse
