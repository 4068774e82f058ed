#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "AudioHardware.h"
#include "ProcessLiveness.h"

// The sound server's objects as the mirror keeps them: plain values, nothing of libpulse.
namespace sorix::pulse {

// The server's "no object" index.
inline constexpr uint32_t kNoIndex = UINT32_MAX;

struct Sink {
    uint32_t index = kNoIndex;
    AudioObjectID object = 0;
    AudioObjectID stream = 0;
    std::string name;
    std::string description;
    std::optional<uint32_t> transport;
    std::vector<uint32_t> channelVolumes;  // raw server volumes, one per channel
    float volume = 0;                      // channel average, 0..1
    double sampleRate = 0;
    uint32_t card = kNoIndex;
    std::string activePort;
    uint64_t configuredLatencyMicroseconds = 0;
    uint32_t latencyFrames = 0;  // configured latency plus the port's offset
    uint32_t channels = 2;
    uint32_t ownerModule = kNoIndex;
    std::optional<ProcessIdentity> tapOwner;  // set on a Sorix tap: the process that made it
};

struct Client {
    uint32_t index = kNoIndex;
    AudioObjectID object = 0;
    std::optional<int32_t> pid;
};

struct SinkInput {
    uint32_t index = kNoIndex;
    uint32_t client = kNoIndex;  // none for a module's own stream
    bool corked = true;
    uint32_t sink = kNoIndex;  // none while PipeWire has yet to link a new stream
    std::string target;        // the sink a stream asked for, where the server says so
};

struct Card {
    uint32_t index = kNoIndex;
    std::map<std::string, int64_t> portLatencyOffsets;  // port name -> microseconds
};

struct ServerInfo {
    std::string defaultSink;
    bool pipeWire = false;  // PipeWire's PulseAudio server rather than PulseAudio itself
};

// A property of an object that changed, for the listeners on it.
struct Change {
    AudioObjectID object;
    uint32_t selector;
    friend bool operator==(const Change&, const Change&) = default;
};

// Hands out the ids of every object the layer shows: sinks and their streams, clients, taps,
// aggregate devices and IO procedures share one space, so no id is ever taken for another's.
class ObjectNumbers {
  public:
    AudioObjectID next() { return next_.fetch_add(1, std::memory_order_relaxed); }

  private:
    std::atomic<AudioObjectID> next_{100};
};

}  // namespace sorix::pulse
