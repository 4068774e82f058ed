#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace sorix::testing {

// Polls the condition every `interval` until it holds or the timeout passes; true if it held.
bool eventually(double timeoutSeconds, const std::function<bool()>& condition,
                std::chrono::milliseconds interval = std::chrono::milliseconds(50));

// A program run by a test, with stdout and stderr appended to a file. Killed and reaped when the
// object goes, and killed by the kernel when the test process dies, so neither a failed assertion
// nor a crashed or timed-out test leaves anything running.
class ChildProcess {
  public:
    // `environment` entries ("NAME=value") are added to this process's environment.
    ChildProcess(const std::vector<std::string>& arguments, const std::filesystem::path& output,
                 const std::vector<std::string>& environment = {});
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // False when the program could not be run at all.
    bool started() const { return pid_ > 0; }
    pid_t pid() const { return pid_; }
    bool running();
    void signal(int signal) const;
    // The exit status, or 128 + the signal that ended it; none if still running at the timeout.
    std::optional<int> waitForExit(double timeoutSeconds);

  private:
    pid_t pid_ = -1;
    std::optional<int> status_;
};

}  // namespace sorix::testing
