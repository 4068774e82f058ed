#pragma once

#include <functional>
#include <memory>

#include "ChildProcess.h"
#include "PrivateSoundServer.h"

namespace sorix::testing {

// PipeWire as a desktop runs it, privately: a session bus of its own, the pipewire daemon,
// WirePlumber and pipewire-pulse with their stock configurations (WirePlumber without its
// hardware monitors), in a runtime, state and configuration folder of the test's own, so
// WirePlumber's saved stream state starts empty and never touches a user's; like a crashed
// server's, it outlives a kill() into the next start(). The devices are null sinks made through
// pactl once pipewire-pulse answers, again on every start.
class PrivatePipeWireServer : public PrivateSoundServer {
  public:
    explicit PrivatePipeWireServer(std::string devices);
    ~PrivatePipeWireServer() override;

    SoundServerKind kind() const override { return SoundServerKind::pipeWire; }
    bool start() override;
    void kill() override;
    bool running() const override { return pulse_ != nullptr; }

  private:
    std::string daemonLogs() const override;
    std::unique_ptr<ChildProcess> spawn(const std::string& program,
                                        std::vector<std::string> arguments = {}) const;
    bool launch();
    bool loadDevices();
    bool runAll(const std::vector<std::string>& commands);
    // Waits until the condition holds, and says why not (a daemon ended, or the time ran out).
    bool waitFor(const std::string& what, const std::function<bool()>& condition);

    std::filesystem::path runtime_;
    std::vector<std::string> environment_;
    std::unique_ptr<ChildProcess> bus_;
    std::unique_ptr<ChildProcess> pipeWire_;
    std::unique_ptr<ChildProcess> wirePlumber_;
    std::unique_ptr<ChildProcess> pulse_;
    std::string problem_;
};

}  // namespace sorix::testing
