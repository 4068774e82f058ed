#pragma once

#include <filesystem>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace sorix::testing {

enum class SoundServerKind { pulseAudio, pipeWire };

// "PulseAudio" or "PipeWire", as the names of the tests that ran on it show it.
std::string nameOf(SoundServerKind kind);
inline void PrintTo(SoundServerKind kind, std::ostream* out) { *out << nameOf(kind); }

// A sound server of the test's own: its own folder, sockets and daemons, null sinks whose
// properties imitate real devices, no sound card. The test process's PULSE_SERVER points at it,
// so neither the code under test nor pactl or paplay can reach a user's server. Stopped, and its
// folder removed, when the object goes (SORIX_KEEP_SERVER_FOLDERS keeps the folder, with the
// daemons' logs, for a look after a failure).
class PrivateSoundServer {
  public:
    // `devices`: lines of a PulseAudio configuration script (load-module, set-default-sink), run
    // on every start, so that a restarted server has its devices again.
    static std::unique_ptr<PrivateSoundServer> create(SoundServerKind kind, std::string devices);
    virtual ~PrivateSoundServer();
    PrivateSoundServer(const PrivateSoundServer&) = delete;
    PrivateSoundServer& operator=(const PrivateSoundServer&) = delete;

    virtual SoundServerKind kind() const = 0;
    std::string name() const { return nameOf(kind()); }
    // The programs it needs, and the given ones a test needs beside it, that are not installed,
    // separated by spaces; empty when all are there.
    std::string missingPrograms(const std::vector<std::string>& alsoNeeded = {}) const;

    // True once the server answers with its devices in place and its default sink set.
    virtual bool start() = 0;
    // SIGKILL to every daemon of the server at once, as a crash would.
    virtual void kill() = 0;
    virtual bool running() const = 0;
    // For the output of a failed test: the sinks and the streams on them, as pactl lists them
    // while the server runs, and the last of what its daemons logged.
    std::string logs() const;

    // Runs a shell command with this server as its PULSE_SERVER; returns its exit status.
    int run(const std::string& command) const;
    // Runs a shell command and returns what it printed.
    std::string output(const std::string& command) const;

    const std::filesystem::path& folder() const { return folder_; }

    // The test devices: a built-in speaker, a USB DAC, a Bluetooth headset, an HDMI monitor and
    // a plain null sink, all at 48 kHz, the speaker the default.
    static std::string imitatedDevices();

  protected:
    virtual std::string daemonLogs() const = 0;

    PrivateSoundServer(const std::string& folderPrefix, std::string devices,
                       std::vector<std::string> programs);
    // Points this process's PulseAudio clients, and the programs it starts, at the socket.
    void pointClientsAt(const std::filesystem::path& socket) const;
    // The last lines of a daemon's log, headed by its name.
    std::string tail(const std::string& daemon, const std::filesystem::path& log) const;

    std::filesystem::path folder_;
    std::string devices_;

  private:
    std::vector<std::string> programs_;
};

// A single-quoted shell word.
std::string shellQuoted(const std::string& text);
// Whether a Unix socket accepts connections, which a daemon's socket does once it listens.
bool acceptsConnections(const std::filesystem::path& socket);

}  // namespace sorix::testing
