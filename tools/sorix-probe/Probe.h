#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "AudioHardware.h"
#include "OutputDevice.h"

namespace sorix::probe {

// What the audio hardware layer sees, as support needs it.
struct DeviceReport {
    AudioObjectID id = 0;
    std::optional<std::string> uid;
    std::optional<std::string> name;
    std::optional<std::string> transport;  // the four-character code as text
    std::optional<uint32_t> outputStreams;
    std::optional<float> volume;
    std::optional<uint32_t> latencyFrames;
    std::optional<uint32_t> safetyOffset;
    std::optional<double> sampleRate;
    bool alive = false;
};

struct ProcessReport {
    AudioObjectID id = 0;
    std::optional<int32_t> pid;
    bool runningOutput = false;
    bool own = false;
};

struct Report {
    std::optional<std::string> defaultOutput;
    std::vector<DeviceReport> devices;
    std::vector<ProcessReport> processes;
    // The outputs Sorix would offer the user.
    std::vector<OutputDevice> catalogue;
};

Report collect(const AudioHardware& hardware);
// One JSON object; failed reads are null.
nlohmann::json toJson(const Report& report);
// The same as a table for people.
std::string toTable(const Report& report);

}  // namespace sorix::probe
