#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "AudioHardware.h"
#include "AudioObjectQueries.h"
#include "Logger.h"
#include "MainQueue.h"
#include "RenderPath.h"
#include "SettingsStore.h"

namespace sorix {

// What the output side works on; all of it outlives the outputs. The render path is where
// volumes and delays reach the audio: its gain and delay tables and its sample rate.
struct OutputServices {
    AudioHardware& hardware;
    MainQueue& mainQueue;
    SettingsStore& settings;
    const Logger& log;
    const AudioObjectQueries& queries;
    RenderPath& renderPath;
};

// Which output buffers of the IO procedure belong to one output: [begin, end). The render
// tables are indexed by buffer, so an output's gain and delay go into each slot of its range.
struct BufferRange {
    uint32_t begin = 0;
    uint32_t end = 0;
    friend bool operator==(const BufferRange&, const BufferRange&) = default;
};
using BufferRanges = std::map<std::string, BufferRange>;

// Writes one value into every slot of a range that the table has.
template <typename Table, typename Value>
void fillSlots(Table& table, const BufferRange& range, Value value) {
    for (uint32_t slot = range.begin; slot < range.end && slot < table.size(); ++slot)
        table[slot] = value;
}

}  // namespace sorix
