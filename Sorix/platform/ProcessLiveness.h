#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <optional>

namespace sorix {

// Whether the process that made something (a tap sink) still runs. A pid alone says too little:
// a killed process can linger as a zombie until its parent reaps it, and a pid can be reused by
// an unrelated program. So the owner records its start time beside its pid, and only a running
// (not zombie) process with that pid and that start time counts as the owner.
struct ProcessIdentity {
    pid_t pid = 0;
    std::optional<uint64_t> startTime;  // in clock ticks since boot, as /proc gives it
};

// This process, as others should recognise it.
ProcessIdentity currentProcessIdentity();
// The start time of a running, non-zombie process; none when it is gone or a zombie.
std::optional<uint64_t> processStartTime(pid_t pid, const std::filesystem::path& proc = "/proc");
// Whether the identified process still runs. Without a recorded start time, any running process
// with that pid counts.
bool processRuns(const ProcessIdentity& process, const std::filesystem::path& proc = "/proc");

}  // namespace sorix
