#include "ChildProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <thread>

extern char** environ;

namespace sorix::testing {

bool eventually(double timeoutSeconds, const std::function<bool()>& condition) {
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::duration<double>(timeoutSeconds);
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
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

    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, output.c_str(),
                                     O_WRONLY | O_CREAT | O_APPEND, 0644);
    posix_spawn_file_actions_adddup2(&files, STDOUT_FILENO, STDERR_FILENO);
    if (posix_spawnp(&pid_, argv[0], &files, nullptr, argv.data(), envp.data()) != 0) pid_ = -1;
    posix_spawn_file_actions_destroy(&files);
}

ChildProcess::~ChildProcess() {
    if (running()) {
        ::kill(pid_, SIGKILL);
        waitForExit(10);
    }
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
    eventually(timeoutSeconds, [this] {
        if (status_) return true;
        int status = 0;
        if (::waitpid(pid_, &status, WNOHANG) != pid_) return false;
        status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        return true;
    });
    return status_;
}

}  // namespace sorix::testing
