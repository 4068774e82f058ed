#include "Probe.h"

#include <cstdio>
#include <sstream>

#include "OutputCatalogue.h"

namespace sorix::probe {

namespace {

template <typename T>
std::optional<T> read(const AudioHardware& hardware, AudioObjectID object,
                      const AudioObjectPropertyAddress& address,
                      const PropertyQualifier& qualifier = {}) {
    T value{};
    if (getProperty(hardware, object, address, value, qualifier) != kAudioHardwareNoError) {
        return std::nullopt;
    }
    return value;
}

template <typename T>
nlohmann::json orNull(const std::optional<T>& value) {
    return value ? nlohmann::json(*value) : nlohmann::json(nullptr);
}

template <typename T>
std::string cell(const std::optional<T>& value) {
    if (!value) return "-";
    std::ostringstream text;
    text << *value;
    return text.str();
}

}  // namespace

Report collect(const AudioHardware& hardware) {
    Report report;
    const auto system = kAudioObjectSystemObject;
    if (const auto id =
            read<uint32_t>(hardware, system, globalAddress(Selector::defaultOutputDevice));
        id && *id != kAudioObjectUnknown) {
        report.defaultOutput = read<std::string>(hardware, *id, globalAddress(Selector::deviceUID));
    }

    for (AudioObjectID id :
         read<std::vector<AudioObjectID>>(hardware, system, globalAddress(Selector::devices))
             .value_or(std::vector<AudioObjectID>{})) {
        DeviceReport device;
        device.id = id;
        device.uid = read<std::string>(hardware, id, globalAddress(Selector::deviceUID));
        device.name = read<std::string>(hardware, id, globalAddress(Selector::name));
        if (const auto code =
                read<uint32_t>(hardware, id, globalAddress(Selector::transportType))) {
            device.transport = fourCharCodeString(*code);
        }
        uint32_t streamBytes = 0;
        if (hardware.getPropertyDataSize(id, outputAddress(Selector::streams), {}, streamBytes) ==
            kAudioHardwareNoError) {
            device.outputStreams = streamBytes / 4;
        }
        device.volume = read<float>(hardware, id, outputAddress(Selector::virtualMainVolume));
        device.latencyFrames = read<uint32_t>(hardware, id, outputAddress(Selector::latency));
        device.safetyOffset = read<uint32_t>(hardware, id, outputAddress(Selector::safetyOffset));
        device.sampleRate = read<double>(hardware, id, globalAddress(Selector::nominalSampleRate));
        device.alive = read<uint32_t>(hardware, id, globalAddress(Selector::isAlive)) == 1u;
        report.devices.push_back(device);
    }

    const auto own =
        read<uint32_t>(hardware, system, globalAddress(Selector::translatePIDToProcess),
                       hardware.currentProcessID());
    for (AudioObjectID id :
         read<std::vector<AudioObjectID>>(hardware, system, globalAddress(Selector::processObjects))
             .value_or(std::vector<AudioObjectID>{})) {
        ProcessReport process;
        process.id = id;
        process.pid = read<int32_t>(hardware, id, globalAddress(Selector::processPID));
        process.runningOutput =
            read<uint32_t>(hardware, id, globalAddress(Selector::isRunningOutput)) == 1u;
        process.own = own == id;
        report.processes.push_back(process);
    }
    report.catalogue = physicalOutputDevices(hardware);
    return report;
}

nlohmann::json toJson(const Report& report) {
    nlohmann::json devices = nlohmann::json::array();
    for (const DeviceReport& device : report.devices) {
        devices.push_back({{"id", device.id},
                           {"uid", orNull(device.uid)},
                           {"name", orNull(device.name)},
                           {"transport", orNull(device.transport)},
                           {"outputStreams", orNull(device.outputStreams)},
                           {"volume", orNull(device.volume)},
                           {"latencyFrames", orNull(device.latencyFrames)},
                           {"safetyOffset", orNull(device.safetyOffset)},
                           {"sampleRate", orNull(device.sampleRate)},
                           {"alive", device.alive}});
    }
    nlohmann::json processes = nlohmann::json::array();
    for (const ProcessReport& process : report.processes) {
        nlohmann::json entry = {
            {"id", process.id}, {"runningOutput", process.runningOutput}, {"own", process.own}};
        if (process.pid) entry["pid"] = *process.pid;
        processes.push_back(entry);
    }
    nlohmann::json catalogue = nlohmann::json::array();
    for (const OutputDevice& output : report.catalogue)
        catalogue.push_back({{"uid", output.uid}, {"name", output.name}});
    return {{"defaultOutput", orNull(report.defaultOutput)},
            {"devices", devices},
            {"processes", processes},
            {"catalogue", catalogue}};
}

std::string toTable(const Report& report) {
    std::ostringstream out;
    out << "Default output: " << report.defaultOutput.value_or("(none)") << "\n\nDevices\n";
    char line[512];
    std::snprintf(line, sizeof line, "  %-5s %-28s %-24s %-5s %-7s %-6s %-8s %-6s %-8s %s\n", "ID",
                  "UID", "NAME", "TRANS", "STREAMS", "VOLUME", "LATENCY", "SAFETY", "RATE",
                  "ALIVE");
    out << line;
    for (const DeviceReport& d : report.devices) {
        std::snprintf(line, sizeof line, "  %-5u %-28s %-24s %-5s %-7s %-6s %-8s %-6s %-8s %s\n",
                      d.id, cell(d.uid).c_str(), cell(d.name).c_str(), cell(d.transport).c_str(),
                      cell(d.outputStreams).c_str(), cell(d.volume).c_str(),
                      cell(d.latencyFrames).c_str(), cell(d.safetyOffset).c_str(),
                      cell(d.sampleRate).c_str(), d.alive ? "yes" : "no");
        out << line;
    }
    out << "\nProcesses\n";
    std::snprintf(line, sizeof line, "  %-5s %-8s %-8s %s\n", "ID", "PID", "PLAYING", "");
    out << line;
    for (const ProcessReport& p : report.processes) {
        std::snprintf(line, sizeof line, "  %-5u %-8s %-8s %s\n", p.id, cell(p.pid).c_str(),
                      p.runningOutput ? "yes" : "no", p.own ? "(sorix-probe)" : "");
        out << line;
    }
    out << "\nOutputs Sorix offers\n";
    for (const OutputDevice& output : report.catalogue) {
        std::snprintf(line, sizeof line, "  %-28s %s\n", output.uid.c_str(), output.name.c_str());
        out << line;
    }
    return out.str();
}

}  // namespace sorix::probe
