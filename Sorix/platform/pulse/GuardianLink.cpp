#include "GuardianLink.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

#include "GuardianRecord.h"

extern char** environ;

namespace sorix::pulse {

namespace {

// Where the guardian finds its end of the socket; any number above the standard three will do.
constexpr int kGuardianDescriptor = 3;

}  // namespace

std::unique_ptr<GuardianLink> GuardianLink::start(const std::string& program, Report report) {
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
        report("could not start the guardian: " + std::string(std::strerror(errno)));
        return nullptr;
    }
    // dup2 onto another number clears close-on-exec for the guardian's copy alone.
    int theirs = ends[1];
    if (theirs == kGuardianDescriptor) {
        theirs = ::fcntl(ends[1], F_DUPFD_CLOEXEC, kGuardianDescriptor + 1);
        ::close(ends[1]);
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, theirs, kGuardianDescriptor);
    const std::string descriptor = std::to_string(kGuardianDescriptor);
    std::vector<char*> arguments{const_cast<char*>(program.c_str()),
                                 const_cast<char*>(descriptor.c_str()), nullptr};
    pid_t pid = 0;
    const int failure =
        ::posix_spawn(&pid, program.c_str(), &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(theirs);
    if (failure != 0) {
        ::close(ends[0]);
        report("could not start the guardian " + program + ": " + std::strerror(failure));
        return nullptr;
    }
    return std::unique_ptr<GuardianLink>(new GuardianLink(ends[0], pid, std::move(report)));
}

GuardianLink::GuardianLink(int socket, pid_t pid, Report report)
    : socket_(socket), pid_(pid), report_(std::move(report)) {}

GuardianLink::~GuardianLink() {
    ::close(socket_);
    // It leaves at once when nothing is left to undo; one that still works on the server is left
    // to finish on its own rather than holding up the exit.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(500);
    while (::waitpid(pid_, nullptr, WNOHANG) == 0 && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
}

void GuardianLink::send(const std::string& line) {
    if (failed_) return;
    const std::string text = line + "\n";
    std::size_t sent = 0;
    while (sent < text.size()) {
        const ssize_t wrote = ::send(socket_, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
        if (wrote < 0 && errno == EINTR) continue;
        if (wrote <= 0) {
            failed_ = true;
            report_("the guardian is gone (" + std::string(std::strerror(errno)) +
                    "); a Sorix killed now leaves its tap behind until the next start");
            return;
        }
        sent += static_cast<std::size_t>(wrote);
    }
}

void GuardianLink::tapLoaded(uint32_t module) { send(GuardianRecord::tapLine(module)); }
void GuardianLink::tapUnloaded(uint32_t module) { send(GuardianRecord::untapLine(module)); }
void GuardianLink::streamMoved(uint32_t input, const std::string& home) {
    send(GuardianRecord::movedLine(input, home));
}
void GuardianLink::streamForgotten(uint32_t input) { send(GuardianRecord::forgetLine(input)); }
void GuardianLink::defaultTaken(const std::string& userSink) {
    send(GuardianRecord::defaultLine(userSink));
}
void GuardianLink::defaultGivenBack() { send(GuardianRecord::noDefaultLine()); }
void GuardianLink::serverLost() { send(GuardianRecord::lostLine()); }

}  // namespace sorix::pulse
