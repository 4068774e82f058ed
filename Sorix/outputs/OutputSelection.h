#pragma once

#include <string>
#include <vector>

#include "AudioHardware.h"
#include "AudioObjectQueries.h"
#include "Logger.h"
#include "OutputDevice.h"
#include "SettingsStore.h"

// The user's ordered choice of outputs ("pinned" outputs) and what follows from it. An empty
// selection follows the system's default output.
namespace sorix {

// The stored list; an older single-output setting counts only when no list is stored at all.
std::vector<std::string> loadOutputSelection(const SettingsStore& settings);
void persistOutputSelection(SettingsStore& settings, const std::vector<std::string>& selected);

// The outputs that play now: the selection, else the default output, else none.
std::vector<std::string> activeOutputUIDs(const std::vector<std::string>& selected,
                                          const AudioObjectQueries& queries);
// The catalogue's name for the output, or "Device".
std::string outputName(const std::vector<OutputDevice>& available, const std::string& uid);
// The output card's title and the line under it.
std::string currentOutputName(const std::vector<std::string>& selected,
                              const AudioObjectQueries& queries);
std::string currentOutputSubtitle(const std::vector<std::string>& selected,
                                  const std::vector<OutputDevice>& available,
                                  const AudioHardware& hardware, const AudioObjectQueries& queries);
// The outputs a pipeline build plays to, first the clock, given a fresh catalogue. Pinned outputs
// that are absent are skipped for this build only; with none left it is the default output, if
// that can play. Raises SorixError otherwise.
std::vector<std::string> resolveOutputUIDs(const std::vector<OutputDevice>& catalogue,
                                           const std::vector<std::string>& selected,
                                           const AudioObjectQueries& queries, const Logger& log);
// How many of the playing outputs are Bluetooth devices (the card warns from three).
int activeBluetoothCount(const std::vector<std::string>& activeUIDs, const AudioHardware& hardware,
                         const AudioObjectQueries& queries);

}  // namespace sorix
