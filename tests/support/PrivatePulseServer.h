#pragma once

#include <memory>

#include "ChildProcess.h"
#include "PrivateSoundServer.h"

namespace sorix::testing {

// A PulseAudio daemon of the test's own, its devices loaded from a configuration script at start.
class PrivatePulseServer : public PrivateSoundServer {
  public:
    explicit PrivatePulseServer(std::string devices);
    ~PrivatePulseServer() override;

    SoundServerKind kind() const override { return SoundServerKind::pulseAudio; }
    bool start() override;
    void kill() override;
    bool running() const override { return daemon_ != nullptr; }

  private:
    std::string daemonLogs() const override;
    std::unique_ptr<ChildProcess> daemon_;
};

}  // namespace sorix::testing
