#include "SignalBridge.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <system_error>

namespace sorix {

namespace {

// [0] is written by the handler, [1] read on the main thread.
int signalSockets[2] = {-1, -1};

void forwardSignal(int signal) {
    const int savedErrno = errno;
    const auto byte = static_cast<unsigned char>(signal);
    // Non-blocking: with the socket full the main thread has plenty to read already.
    [[maybe_unused]] const ssize_t written = ::write(signalSockets[0], &byte, 1);
    errno = savedErrno;
}

}  // namespace

SignalBridge::SignalBridge(std::initializer_list<int> stopSignals,
                           std::function<void(int)> onSignal)
    : signals_(stopSignals), onSignal_(std::move(onSignal)) {
    if (signalSockets[0] != -1) throw std::logic_error("only one SignalBridge at a time");
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, signalSockets) != 0)
        throw std::system_error(errno, std::generic_category(), "signal socket pair");
    ::fcntl(signalSockets[0], F_SETFL, ::fcntl(signalSockets[0], F_GETFL) | O_NONBLOCK);

    notifier_ = std::make_unique<QSocketNotifier>(signalSockets[1], QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, [this] { received(); });

    struct sigaction action {};
    action.sa_handler = forwardSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (const int signal : signals_)
        ::sigaction(signal, &action, nullptr);
}

SignalBridge::~SignalBridge() {
    restoreDefaults();
    notifier_.reset();
    ::close(signalSockets[0]);
    ::close(signalSockets[1]);
    signalSockets[0] = signalSockets[1] = -1;
}

void SignalBridge::received() {
    unsigned char byte = 0;
    if (::read(signalSockets[1], &byte, 1) != 1) return;
    // Only the first signal counts; later ones take the default action.
    notifier_->setEnabled(false);
    restoreDefaults();
    onSignal_(byte);
}

void SignalBridge::restoreDefaults() {
    for (const int signal : signals_)
        ::signal(signal, SIG_DFL);
}

}  // namespace sorix
