#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "AggregateStreams.h"
#include "AudioHardware.h"
#include "PulseConnection.h"
#include "ServerObjects.h"

namespace sorix::pulse {

// The aggregate devices and their IO procedures, on the streams connection. Everything here is
// called on the main thread; a device's streams live on the connection's thread. Reading a
// device's name or whether it is alive takes no loop lock, so it never holds up the IO cycle.
class StreamSet {
  public:
    using Plan = AggregateStreams::Plan;
    using Report = AggregateStreams::Report;
    // On the streams' thread, when a device comes alive or dies.
    using AliveChanged = std::function<void(AudioObjectID device)>;

    StreamSet(PulseConnection& connection, ObjectNumbers& numbers, AliveChanged aliveChanged,
              Report report);
    StreamSet(const StreamSet&) = delete;
    StreamSet& operator=(const StreamSet&) = delete;

    OSStatus create(Plan plan, AudioObjectID& device);
    OSStatus destroy(AudioObjectID device);
    void destroyAll();
    OSStatus createIOProc(AudioObjectID device, AudioDeviceIOBlock block,
                          AudioDeviceIOProcID& procID);
    OSStatus destroyIOProc(AudioObjectID device, AudioDeviceIOProcID procID);
    // Starting is two steps around the tap's capture: the recording, which names the tap's sink
    // whose capture is due, then the outputs.
    OSStatus startRecording(AudioObjectID device, AudioDeviceIOProcID procID, std::string& tapSink);
    void startPlayback(AudioObjectID device);
    OSStatus stop(AudioObjectID device);
    // isAlive and the name; kAudioHardwareBadObjectError for an object that is no device here.
    OSStatus read(AudioObjectID object, const AudioObjectPropertyAddress& address,
                  PropertyValue& value) const;

  private:
    struct Device {
        std::unique_ptr<AggregateStreams> streams;
        AudioDeviceIOProcID procID = 0;
    };
    // Table lock held.
    Device* find(AudioObjectID device);

    PulseConnection& connection_;
    ObjectNumbers& numbers_;
    AliveChanged aliveChanged_;
    Report report_;
    // The table; taken on the main thread only, inside the loop lock where both are taken.
    mutable std::mutex mutex_;
    std::map<AudioObjectID, Device> devices_;
};

}  // namespace sorix::pulse
