#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace sorix {

// What a sink is connected through, from the properties the sound server publishes for it and
// its active port: the transport code of the device, or none when nothing says.
struct SinkDescriptionForTransport {
    std::map<std::string, std::string> properties;  // e.g. device.bus, device.class
    std::string driver;                             // e.g. module-combine-sink.c
    std::string activePort;                         // e.g. hdmi-output-0
};

std::optional<uint32_t> sinkTransport(const SinkDescriptionForTransport& sink);

}  // namespace sorix
