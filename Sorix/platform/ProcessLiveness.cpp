#include "ProcessLiveness.h"

#include <unistd.h>

#include <charconv>
#include <fstream>
#include <sstream>
#include <string>

namespace sorix {

namespace {

// /proc/PID/stat: "pid (command) state ppid ...", where the command may itself hold spaces and
// parentheses, so the fields are counted from the last ')'. The state is field 3 and the start
// time field 22.
constexpr int kStartTimeField = 22;

}  // namespace

std::optional<uint64_t> processStartTime(pid_t pid, const std::filesystem::path& proc) {
    if (pid <= 0) return std::nullopt;
    std::ifstream file(proc / std::to_string(pid) / "stat");
    std::string line;
    if (!std::getline(file, line)) return std::nullopt;
    const auto close = line.rfind(')');
    if (close == std::string::npos) return std::nullopt;
    std::istringstream fields(line.substr(close + 1));
    std::string state;
    fields >> state;
    // A zombie has exited and only waits to be reaped; 'X' is one being torn down.
    if (state.empty() || state == "Z" || state == "X") return std::nullopt;
    std::string field;
    for (int number = 4; number <= kStartTimeField; ++number) {
        if (!(fields >> field)) return std::nullopt;
    }
    uint64_t startTime = 0;
    const auto [end, error] = std::from_chars(field.data(), field.data() + field.size(), startTime);
    if (error != std::errc{} || end != field.data() + field.size()) return std::nullopt;
    return startTime;
}

ProcessIdentity currentProcessIdentity() {
    const pid_t pid = ::getpid();
    return {pid, processStartTime(pid)};
}

bool processRuns(const ProcessIdentity& process, const std::filesystem::path& proc) {
    const auto startTime = processStartTime(process.pid, proc);
    if (!startTime) return false;
    return !process.startTime || *process.startTime == *startTime;
}

}  // namespace sorix
