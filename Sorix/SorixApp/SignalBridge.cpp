#include "SignalBridge.h"

#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

namespace sorix {

namespace {

int signalSockets[2] = {-1, -1};

void forwardSignal(int signal) {
    const unsigned char byte = static_cast<unsigned char>(signal);
    [[maybe_unused]] const ssize_t written = ::write(signalSockets[0], &byte, 1);
}

}  // namespace

SignalBridge::SignalBridge(std::function<void(int)> onSignal) : onSignal_(std::move(onSignal)) {
    ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, signalSockets);
    notifier_ = std::make_unique<QSocketNotifier>(signalSockets[1], QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, this, [this] {
        unsigned char byte = 0;
        if (::read(signalSockets[1], &byte, 1) == 1) onSignal_(byte);
    });
    struct sigaction action {};
    action.sa_handler = forwardSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGINT, &action, nullptr);
    ::sigaction(SIGTERM, &action, nullptr);
}

SignalBridge::~SignalBridge() {
    ::signal(SIGINT, SIG_DFL);
    ::signal(SIGTERM, SIG_DFL);
    notifier_.reset();
    ::close(signalSockets[0]);
    ::close(signalSockets[1]);
    signalSockets[0] = signalSockets[1] = -1;
}

}  // namespace sorix
