#include "SinkTransport.h"

#include <algorithm>
#include <cctype>
#include <string_view>

#include "AudioHardware.h"

namespace sorix {

namespace {

std::string lowercase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

bool contains(const std::string& text, std::string_view part) {
    return text.find(part) != std::string::npos;
}

std::string property(const SinkDescriptionForTransport& sink, const std::string& key) {
    const auto found = sink.properties.find(key);
    return found == sink.properties.end() ? std::string() : lowercase(found->second);
}

}  // namespace

std::optional<uint32_t> sinkTransport(const SinkDescriptionForTransport& sink) {
    const std::string bus = property(sink, "device.bus");
    const std::string deviceClass = property(sink, "device.class");
    const std::string driver = lowercase(sink.driver);
    const std::string port = lowercase(sink.activePort);
    const std::string profile = property(sink, "device.profile.name") + " " +
                                property(sink, "api.bluez5.profile") + " " +
                                property(sink, "bluetooth.protocol");

    if (bus == "bluetooth") {
        // LE Audio profiles are the broadcast and unicast audio profiles (BAP).
        return contains(profile, "bap") || contains(profile, "le-audio") ? Transport::bluetoothLE
                                                                         : Transport::bluetooth;
    }
    if (bus == "usb") return Transport::usb;
    if (contains(port, "hdmi") || contains(profile, "hdmi")) return Transport::hdmi;
    if (contains(port, "displayport") || contains(profile, "displayport")) {
        return Transport::displayPort;
    }
    if (contains(driver, "raop") || !property(sink, "raop.ip").empty()) return Transport::airPlay;
    if (contains(driver, "combine")) return Transport::aggregate;
    if (deviceClass == "abstract" || deviceClass == "filter") return Transport::virtualDevice;
    if (bus == "pci" || bus == "platform" || bus == "isa") return Transport::builtIn;
    // PipeWire's null sinks and virtual nodes carry no device class unless one is given; a class
    // or a bus that was given says more.
    if (deviceClass.empty() && (property(sink, "factory.name") == "support.null-audio-sink" ||
                                property(sink, "node.virtual") == "true"))
        return Transport::virtualDevice;
    return std::nullopt;
}

}  // namespace sorix
