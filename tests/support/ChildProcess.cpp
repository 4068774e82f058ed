#include "ChildProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <thread>

extern char** environ;

namespace sorix::testing {

namespace {

int decoded(int status) { return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status); }

}  // namespace

bool eventually(double timeoutSeconds, const std::function<bool()>& condition,
                std::chrono::milliseconds interval) {
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::duration<double>(timeoutSeconds);
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline) return false;
        std::this_thread::sleep_for(interval);
    }
    return true;
}

ChildProcess::ChildProcess(const std::vector<std::string>& arguments,
                           const std::filesystem::path& output,
                           const std::vector<std::string>& environment) {
    std::vector<std::string> variables(environment);
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string name(*entry, std::strcspn(*entry, "="));
        bool overridden = false;
        for (const std::string& added : environment)
            overridden = overridden || added.compare(0, name.size() + 1, name + "=") == 0;
        if (!overridden) variables.emplace_back(*entry);
    }
    std::vector<char*> argv;
    std::vector<char*> envp;
    for (const std::string& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str()));
    for (const std::string& variable : variables)
        envp.push_back(const_cast<char*>(variable.c_str()));
    argv.push_back(nullptr);
    envp.push_back(nullptr);

    // The child reports a failed exec through this pipe; a successful one closes it unwritten.
    int report[2];
    if (::pipe2(report, O_CLOEXEC) != 0) return;
    const pid_t parent = ::getpid();
    const pid_t child = ::fork();
    if (child == 0) {
        // Only async-signal-safe calls from here on: the test process may have other threads.
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() != parent) ::_exit(127);
        const int in = ::open("/dev/null", O_RDONLY);
        const int out = ::open(output.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
        if (in < 0 || out < 0) ::_exit(127);
        ::dup2(in, STDIN_FILENO);
        ::dup2(out, STDOUT_FILENO);
        ::dup2(out, STDERR_FILENO);
        ::execvpe(argv[0], argv.data(), envp.data());
        const int error = errno;
        [[maybe_unused]] const auto written = ::write(report[1], &error, sizeof error);
        ::_exit(127);
    }
    ::close(report[1]);
    int error = 0;
    ssize_t got = 0;
    do {
        got = ::read(report[0], &error, sizeof error);
    } while (got < 0 && errno == EINTR);
    ::close(report[0]);
    if (child < 0) return;
    if (got > 0) {
        ::waitpid(child, nullptr, 0);
        return;
    }
    pid_ = child;
}

ChildProcess::~ChildProcess() {
    if (pid_ <= 0 || status_) return;
    ::kill(pid_, SIGKILL);
    int status = 0;
    if (::waitpid(pid_, &status, 0) == pid_) status_ = decoded(status);
}

bool ChildProcess::running() {
    if (pid_ <= 0 || status_) return false;
    return !waitForExit(0).has_value();
}

void ChildProcess::signal(int signal) const {
    if (pid_ > 0 && !status_) ::kill(pid_, signal);
}

std::optional<int> ChildProcess::waitForExit(double timeoutSeconds) {
    if (pid_ <= 0) return std::nullopt;
    eventually(
        timeoutSeconds,
        [this] {
            if (status_) return true;
            int status = 0;
            if (::waitpid(pid_, &status, WNOHANG) != pid_) return false;
            status_ = decoded(status);
            return true;
        },
        std::chrono::milliseconds(10));
    return status_;
}

}  // namespace sorix::testing
