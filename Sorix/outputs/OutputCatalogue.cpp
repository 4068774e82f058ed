#include "OutputCatalogue.h"

namespace sorix {

namespace {

bool playsToAListener(const AudioHardware& hardware, AudioObjectID device) {
    uint32_t streamsSize = 0;
    if (hardware.getPropertyDataSize(device, outputAddress(Selector::streams), {}, streamsSize) !=
            kAudioHardwareNoError ||
        streamsSize == 0) {
        return false;
    }
    uint32_t transport = 0;
    if (getProperty(hardware, device, globalAddress(Selector::transportType), transport) ==
        kAudioHardwareNoError) {
        return transport != Transport::virtualDevice && transport != Transport::aggregate;
    }
    return true;
}

}  // namespace

std::vector<OutputDevice> physicalOutputDevices(const AudioHardware& hardware) {
    const auto devicesAddress = globalAddress(Selector::devices);
    uint32_t size = 0;
    std::vector<AudioObjectID> devices;
    if (hardware.getPropertyDataSize(kAudioObjectSystemObject, devicesAddress, {}, size) !=
            kAudioHardwareNoError ||
        getProperty(hardware, kAudioObjectSystemObject, devicesAddress, devices) !=
            kAudioHardwareNoError) {
        return {};
    }

    std::vector<OutputDevice> catalogue;
    for (AudioObjectID device : devices) {
        if (!playsToAListener(hardware, device)) continue;
        OutputDevice output;
        if (getProperty(hardware, device, globalAddress(Selector::deviceUID), output.uid) !=
                kAudioHardwareNoError ||
            getProperty(hardware, device, globalAddress(Selector::name), output.name) !=
                kAudioHardwareNoError) {
            continue;
        }
        catalogue.push_back(std::move(output));
    }
    return catalogue;
}

}  // namespace sorix
