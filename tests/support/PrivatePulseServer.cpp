#include "PrivatePulseServer.h"

#include <cstdlib>
#include <fstream>

namespace sorix::testing {

PrivatePulseServer::PrivatePulseServer(std::string devices)
    : PrivateSoundServer("sorix-pulse", std::move(devices), {"pulseaudio", "pactl"}) {
    std::ofstream(folder_ / "test.pa")
        << "load-module module-native-protocol-unix socket=" << (folder_ / "native").string()
        << "\n"
        << devices_ << "\n";
    pointClientsAt(folder_ / "native");
    // The daemon keeps its runtime files in the private folder.
    ::setenv("XDG_RUNTIME_DIR", folder_.c_str(), 1);
}

PrivatePulseServer::~PrivatePulseServer() { kill(); }

bool PrivatePulseServer::start() {
    if (running()) return true;
    daemon_ = std::make_unique<ChildProcess>(
        std::vector<std::string>{"pulseaudio", "-n", "-F", (folder_ / "test.pa").string(),
                                 "--daemonize=no", "--exit-idle-time=-1", "--use-pid-file=no",
                                 "--disallow-exit", "--log-target=stderr", "--log-level=error"},
        folder_ / "daemon.log");
    // The script runs before the daemon serves its first client, so an answer means the devices
    // are there.
    const bool ready = daemon_->started() &&
                       eventually(
                           5, [&] { return !daemon_->running() || run("pactl info") == 0; },
                           std::chrono::milliseconds(20)) &&
                       daemon_->running();
    if (!ready) kill();
    return ready;
}

void PrivatePulseServer::kill() { daemon_.reset(); }

std::string PrivatePulseServer::daemonLogs() const {
    return tail("pulseaudio", folder_ / "daemon.log");
}

}  // namespace sorix::testing
