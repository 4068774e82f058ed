#pragma once

#include <sys/types.h>

#include <functional>
#include <memory>
#include <string>

#include "TakeoverJournal.h"

namespace sorix::pulse {

// This program's side of the guardian: a small process started with it that keeps a copy of the
// journal and, should this program die without undoing its takeover (SIGKILL, the out-of-memory
// killer), undoes it on the server. It learns of the death as the end of the socket between
// them, which the kernel closes with the last process that holds it.
class GuardianLink final : public TakeoverJournal {
  public:
    using Report = std::function<void(const std::string& problem)>;

    // Runs `program FD`; none when the program cannot be started (reported once).
    static std::unique_ptr<GuardianLink> start(const std::string& program, Report report);
    // Closes the socket: with nothing left to undo, the guardian leaves at once.
    ~GuardianLink() override;
    GuardianLink(const GuardianLink&) = delete;
    GuardianLink& operator=(const GuardianLink&) = delete;

    pid_t pid() const { return pid_; }

    void tapLoaded(uint32_t module) override;
    void tapUnloaded(uint32_t module) override;
    void streamMoved(uint32_t input, const std::string& home) override;
    void streamForgotten(uint32_t input) override;
    void defaultTaken(const std::string& userSink) override;
    void defaultGivenBack() override;
    void serverLost() override;

  private:
    GuardianLink(int socket, pid_t pid, Report report);
    void send(const std::string& line);

    int socket_;
    pid_t pid_;
    Report report_;
    bool failed_ = false;
};

}  // namespace sorix::pulse
