#pragma once

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace sorix::testing {

// Polls the condition every 50 ms until it holds or the timeout passes; true if it held.
bool eventually(double timeoutSeconds, const std::function<bool()>& condition);

// A program run by a test, with stdout and stderr appended to a file. Killed and reaped when the
// object goes, so a failed test leaves nothing running.
class ChildProcess {
  public:
    // `environment` entries ("NAME=value") are added to this process's environment.
    ChildProcess(const std::vector<std::string>& arguments, const std::filesystem::path& output,
                 const std::vector<std::string>& environment = {});
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

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
