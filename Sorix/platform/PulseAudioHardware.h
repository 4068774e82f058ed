#pragma once

#include <memory>
#include <string>

#include "AudioHardware.h"
#include "MainQueue.h"

namespace sorix {

class LogSink;

// The audio hardware layer on a PulseAudio server (or PipeWire's PulseAudio server). Sinks are
// the devices, the default sink is the default output, clients are the process objects. Reads
// answer from a mirror of the server's state that subscription events keep current, so a read
// never waits on the server; volume writes go to the server and the mirror follows. Listeners
// fire on the main queue when what they watch changes. A lost server makes every read fail and
// wakes the liveness and default-output listeners; the layer reconnects when the server returns.
// Sorix never starts a sound server itself.
//
// The process tap is a null sink that every other program's streams are moved onto, and the
// server's default output while it captures (the user's choice still reads as the default); the
// aggregate device records its monitor and plays to the chosen sinks; the IO procedure runs for
// each chunk recorded, on a connection of its own whose thread runs nothing else. The parts that
// do this live in pulse/; this class only wires them together.
class PulseAudioHardware : public AudioHardware {
  public:
    // Connects and waits up to `connectTimeoutSeconds` for a first full picture of the server.
    // Requests that fail with nobody waiting for them are logged to `log` (stderr by default).
    // With a `guardianProgram` (see Guardian.h), a guardian process started from it undoes the
    // takeover should this program die without undoing it.
    explicit PulseAudioHardware(MainQueue& mainQueue, double connectTimeoutSeconds = 3.0,
                                std::shared_ptr<LogSink> log = nullptr,
                                const std::string& guardianProgram = {});
    ~PulseAudioHardware() override;
    PulseAudioHardware(const PulseAudioHardware&) = delete;
    PulseAudioHardware& operator=(const PulseAudioHardware&) = delete;

    // Whether the server is connected and mirrored.
    bool isConnected() const;
    // Waits (for tools and tests) until connected, or the timeout passes.
    bool waitUntilConnected(double timeoutSeconds) const;

    OSStatus getPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                             const PropertyQualifier& qualifier,
                             PropertyValue& value) const override;
    OSStatus isPropertySettable(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                bool& settable) const override;
    OSStatus setPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                             const PropertyValue& value) override;
    OSStatus addPropertyListener(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                 const PropertyListener& listener) override;
    OSStatus removePropertyListener(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                    const PropertyListener& listener) override;

    OSStatus createProcessTap(const TapDescription&, AudioObjectID& tap) override;
    OSStatus destroyProcessTap(AudioObjectID) override;
    OSStatus createAggregateDevice(const AggregateDeviceDescription&,
                                   AudioObjectID& device) override;
    OSStatus destroyAggregateDevice(AudioObjectID) override;
    OSStatus createIOProcID(AudioObjectID, AudioDeviceIOBlock,
                            AudioDeviceIOProcID& procID) override;
    OSStatus destroyIOProcID(AudioObjectID, AudioDeviceIOProcID) override;
    OSStatus startDevice(AudioObjectID, AudioDeviceIOProcID) override;
    OSStatus stopDevice(AudioObjectID, AudioDeviceIOProcID) override;

    int32_t currentProcessID() const override;

    // Unloads taps whose owner process is gone, so their streams return to real sinks. Runs at
    // every connection and before every new tap; public for tools and tests.
    void removeStaleTaps();

  private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
};

}  // namespace sorix
