#pragma once

#include <vector>

#include "AudioHardware.h"
#include "OutputDevice.h"

namespace sorix {

// Every device that can play sound to a listener, in the audio system's order: devices without
// output streams, virtual devices and aggregates (Sorix's own among them) are left out. A device
// whose UID or name cannot be read is left out too; one whose transport cannot be read is kept.
// A failed device list gives an empty catalogue.
std::vector<OutputDevice> physicalOutputDevices(const AudioHardware& hardware);

}  // namespace sorix
