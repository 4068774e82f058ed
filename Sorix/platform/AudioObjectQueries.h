#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "AudioHardware.h"
#include "Logger.h"

namespace sorix {

// The engine's questions about audio objects: the default output and its UID, the device with a
// UID, an object's name, this program's process object, whether another process plays, and
// whether a fresh device has come alive. They keep no state; every failure but the default
// output's becomes "nothing".
class AudioObjectQueries {
  public:
    // Blocks the calling thread for the given seconds (waitForDeviceAlive polls).
    using Sleeper = std::function<void(double seconds)>;
    // Seconds on a monotonic clock.
    using Clock = std::function<double()>;

    AudioObjectQueries(const AudioHardware& hardware, const Logger& log, Clock now = steadyNow,
                       Sleeper sleep = sleepFor);

    // Raises SorixError when there is no default output or it cannot be identified.
    std::string defaultOutputDeviceUID() const;
    std::optional<AudioObjectID> deviceID(const std::string& uid) const;
    std::optional<std::string> stringProperty(AudioObjectID object, uint32_t selector) const;
    // Empty, or the one process object that stands for this program.
    std::vector<AudioObjectID> ownProcessObjects() const;
    bool anyOtherProcessPlayingAudio() const;
    // Returns once the device reports alive, or after the timeout with an error line logged.
    void waitForDeviceAlive(AudioObjectID device, double timeoutSeconds) const;

    static double steadyNow();
    static void sleepFor(double seconds);

  private:
    const AudioHardware& hardware_;
    const Logger& log_;
    Clock now_;
    Sleeper sleep_;
};

}  // namespace sorix
