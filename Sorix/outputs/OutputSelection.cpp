#include "OutputSelection.h"

#include <algorithm>

#include "SettingsKeys.h"
#include "SorixError.h"

namespace sorix {

namespace {

std::optional<std::string> defaultOutput(const AudioObjectQueries& queries) {
    try {
        return queries.defaultOutputDeviceUID();
    } catch (const SorixError&) {
        return std::nullopt;
    }
}

bool listed(const std::vector<OutputDevice>& catalogue, const std::string& uid) {
    return std::any_of(catalogue.begin(), catalogue.end(),
                       [&](const OutputDevice& device) { return device.uid == uid; });
}

std::string transportSubtitle(uint32_t transport) {
    switch (transport) {
        case Transport::builtIn:
            return "Built-in Output";
        case Transport::usb:
            return "USB Audio";
        case Transport::bluetooth:
        case Transport::bluetoothLE:
            return "Bluetooth";
        case Transport::airPlay:
            return "AirPlay";
        case Transport::hdmi:
            return "HDMI";
        case Transport::displayPort:
            return "DisplayPort";
        default:
            return "System Default";
    }
}

}  // namespace

std::vector<std::string> loadOutputSelection(const SettingsStore& settings) {
    if (const auto stored = settings.stringArray(SettingsKeys::outputDeviceUIDs)) return *stored;
    if (const auto legacy = settings.string(SettingsKeys::outputDeviceUID)) return {*legacy};
    return {};
}

void persistOutputSelection(SettingsStore& settings, const std::vector<std::string>& selected) {
    settings.setStringArray(SettingsKeys::outputDeviceUIDs, selected);
}

std::vector<std::string> activeOutputUIDs(const std::vector<std::string>& selected,
                                          const AudioObjectQueries& queries) {
    if (!selected.empty()) return selected;
    if (const auto uid = defaultOutput(queries)) return {*uid};
    return {};
}

std::string outputName(const std::vector<OutputDevice>& available, const std::string& uid) {
    const auto found = std::find_if(available.begin(), available.end(),
                                    [&](const OutputDevice& device) { return device.uid == uid; });
    return found == available.end() ? "Device" : found->name;
}

std::string currentOutputName(const std::vector<std::string>& selected,
                              const AudioObjectQueries& queries) {
    if (selected.size() >= 2) return std::to_string(selected.size()) + " Outputs";
    const auto uid = selected.empty() ? defaultOutput(queries) : selected.front();
    if (!uid) return "System Output";
    const auto device = queries.deviceID(*uid);
    if (!device) return "System Output";
    // Read live: the catalogue may be older than a rename.
    return queries.stringProperty(*device, Selector::name).value_or("System Output");
}

std::string currentOutputSubtitle(const std::vector<std::string>& selected,
                                  const std::vector<OutputDevice>& available,
                                  const AudioHardware& hardware,
                                  const AudioObjectQueries& queries) {
    if (selected.size() >= 2) {
        std::string names;
        for (const std::string& uid : selected) {
            if (!names.empty()) names += " • ";
            names += outputName(available, uid);
        }
        return names;
    }
    if (selected.size() == 1) return "Pinned output";
    const auto uid = defaultOutput(queries);
    const auto device = uid ? queries.deviceID(*uid) : std::nullopt;
    if (!device) return "System output";
    uint32_t transport = 0;
    getProperty(hardware, *device, globalAddress(Selector::transportType), transport);
    return transportSubtitle(transport);
}

std::vector<std::string> resolveOutputUIDs(const std::vector<OutputDevice>& catalogue,
                                           const std::vector<std::string>& selected,
                                           const AudioObjectQueries& queries, const Logger& log) {
    std::vector<std::string> kept;
    std::copy_if(selected.begin(), selected.end(), std::back_inserter(kept),
                 [&](const std::string& uid) { return listed(catalogue, uid); });
    if (!kept.empty()) {
        if (kept.size() < selected.size()) {
            log.log("some pinned outputs unavailable, using %ld of %ld",
                    static_cast<long>(kept.size()), static_cast<long>(selected.size()));
        }
        return kept;
    }
    std::string fallback = queries.defaultOutputDeviceUID();
    if (listed(catalogue, fallback)) return {fallback};
    throw SorixError(
        "Your selected system output is a virtual device that can't play sound. Pick your real "
        "speakers in Sorix's Output menu (or in System Settings → Sound).");
}

int activeBluetoothCount(const std::vector<std::string>& activeUIDs, const AudioHardware& hardware,
                         const AudioObjectQueries& queries) {
    int count = 0;
    for (const std::string& uid : activeUIDs) {
        const auto device = queries.deviceID(uid);
        if (!device) continue;
        uint32_t transport = 0;
        if (getProperty(hardware, *device, globalAddress(Selector::transportType), transport) ==
                kAudioHardwareNoError &&
            (transport == Transport::bluetooth || transport == Transport::bluetoothLE)) {
            ++count;
        }
    }
    return count;
}

}  // namespace sorix
