#include "PrivatePulseServer.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <thread>
#include <vector>

extern char** environ;

namespace sorix::testing {

PrivatePulseServer::PrivatePulseServer(std::string modules) {
    std::string pattern = (std::filesystem::temp_directory_path() / "sorix-pulse-XXXXXX").string();
    if (::mkdtemp(pattern.data()) != nullptr) folder_ = pattern;
    std::ofstream(folder_ / "test.pa")
        << "load-module module-native-protocol-unix socket=" << (folder_ / "native").string()
        << "\n"
        << modules << "\n";
    ::setenv("PULSE_SERVER", ("unix:" + (folder_ / "native").string()).c_str(), 1);
    // Nothing of a user's session may leak in, nor may anything start a server on its own.
    ::setenv("PULSE_RUNTIME_PATH", folder_.c_str(), 1);
    ::setenv("PULSE_STATE_PATH", folder_.c_str(), 1);
    ::setenv("PULSE_COOKIE", (folder_ / "cookie").c_str(), 1);
}

PrivatePulseServer::~PrivatePulseServer() {
    kill();
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

std::string PrivatePulseServer::imitatedDevices() {
    return "load-module module-null-sink sink_name=speakers rate=48000 "
           "sink_properties=\"device.description=Speakers device.bus=pci device.class=sound\"\n"
           "load-module module-null-sink sink_name=usb_dac rate=48000 "
           "sink_properties=\"device.description='USB DAC' device.bus=usb device.class=sound\"\n"
           "load-module module-null-sink sink_name=headset rate=48000 "
           "sink_properties=\"device.description=Headset device.bus=bluetooth "
           "device.class=sound\"\n"
           "load-module module-null-sink sink_name=monitor rate=48000 "
           "sink_properties=\"device.description=Monitor device.bus=pci device.class=sound "
           "device.profile.name=hdmi-stereo\"\n"
           "load-module module-null-sink sink_name=plain rate=48000\n"
           "set-default-sink speakers\n";
}

bool PrivatePulseServer::start() {
    if (running()) return true;
    const std::string config = (folder_ / "test.pa").string();
    std::vector<std::string> arguments = {"pulseaudio",
                                          "-n",
                                          "-F",
                                          config,
                                          "--daemonize=no",
                                          "--exit-idle-time=-1",
                                          "--use-pid-file=no",
                                          "--disallow-exit",
                                          "--log-target=stderr",
                                          "--log-level=error"};
    std::vector<char*> argv;
    for (std::string& argument : arguments)
        argv.push_back(argument.data());
    argv.push_back(nullptr);

    // The daemon keeps its runtime files in the private folder and logs nowhere.
    ::setenv("XDG_RUNTIME_DIR", folder_.c_str(), 1);
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&files, STDERR_FILENO, (folder_ / "daemon.log").c_str(),
                                     O_WRONLY | O_CREAT | O_APPEND, 0644);
    const int spawned = posix_spawnp(&pid_, "pulseaudio", &files, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&files);
    if (spawned != 0) {
        pid_ = -1;
        return false;
    }
    for (int attempt = 0; attempt < 100; ++attempt) {
        if (run("pactl info") == 0) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return false;
}

void PrivatePulseServer::kill() {
    if (pid_ <= 0) return;
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
    pid_ = -1;
}

int PrivatePulseServer::run(const std::string& command) const {
    const int status = std::system((command + " >/dev/null 2>&1").c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string PrivatePulseServer::output(const std::string& command) const {
    std::string result;
    if (FILE* pipe = ::popen(command.c_str(), "r")) {
        std::array<char, 256> buffer{};
        while (std::fgets(buffer.data(), buffer.size(), pipe) != nullptr)
            result += buffer.data();
        ::pclose(pipe);
    }
    return result;
}

}  // namespace sorix::testing
