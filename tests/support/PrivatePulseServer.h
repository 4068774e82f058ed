#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>

namespace sorix::testing {

// A PulseAudio daemon of the test's own: its own runtime folder and socket, null sinks whose
// properties imitate real devices, no sound card. The test process's PULSE_SERVER points at it,
// so neither the code under test nor pactl or paplay can reach a user's server. Stopped, and its
// folder removed, when the object goes.
class PrivatePulseServer {
  public:
    // Lines of a PulseAudio configuration script, after the native protocol module.
    explicit PrivatePulseServer(std::string modules);
    ~PrivatePulseServer();
    PrivatePulseServer(const PrivatePulseServer&) = delete;
    PrivatePulseServer& operator=(const PrivatePulseServer&) = delete;

    bool start();
    void kill();  // SIGKILL, as a crash would
    bool running() const { return pid_ > 0; }

    // Runs a shell command with this server as its PULSE_SERVER; returns its exit status.
    int run(const std::string& command) const;
    // Runs a shell command and returns what it printed.
    std::string output(const std::string& command) const;

    const std::filesystem::path& folder() const { return folder_; }

    // The test devices: a built-in speaker, a USB DAC, a Bluetooth headset, an HDMI monitor and
    // a plain null sink, all at 48 kHz.
    static std::string imitatedDevices();

  private:
    std::filesystem::path folder_;
    pid_t pid_ = -1;
};

}  // namespace sorix::testing
