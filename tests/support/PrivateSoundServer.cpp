#include "PrivateSoundServer.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <fstream>
#include <iostream>

#include "PrivatePipeWireServer.h"
#include "PrivatePulseServer.h"

namespace sorix::testing {

std::string nameOf(SoundServerKind kind) {
    return kind == SoundServerKind::pipeWire ? "PipeWire" : "PulseAudio";
}

std::unique_ptr<PrivateSoundServer> PrivateSoundServer::create(SoundServerKind kind,
                                                               std::string devices) {
    if (kind == SoundServerKind::pipeWire)
        return std::make_unique<PrivatePipeWireServer>(std::move(devices));
    return std::make_unique<PrivatePulseServer>(std::move(devices));
}

PrivateSoundServer::PrivateSoundServer(const std::string& folderPrefix, std::string devices,
                                       std::vector<std::string> programs)
    : devices_(std::move(devices)), programs_(std::move(programs)) {
    std::string pattern =
        (std::filesystem::temp_directory_path() / (folderPrefix + "-XXXXXX")).string();
    if (::mkdtemp(pattern.data()) != nullptr) folder_ = pattern;
}

PrivateSoundServer::~PrivateSoundServer() {
    if (std::getenv("SORIX_KEEP_SERVER_FOLDERS") != nullptr) {
        std::cerr << "sound server folder kept: " << folder_.string() << "\n";
        return;
    }
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

void PrivateSoundServer::pointClientsAt(const std::filesystem::path& socket) const {
    ::setenv("PULSE_SERVER", ("unix:" + socket.string()).c_str(), 1);
    // Nothing of a user's session may leak in, nor may anything start a server on its own.
    ::setenv("PULSE_RUNTIME_PATH", socket.parent_path().c_str(), 1);
    ::setenv("PULSE_STATE_PATH", folder_.c_str(), 1);
    ::setenv("PULSE_COOKIE", (folder_ / "cookie").c_str(), 1);
}

std::string PrivateSoundServer::missingPrograms(const std::vector<std::string>& alsoNeeded) const {
    std::string missing;
    std::vector<std::string> programs = programs_;
    programs.insert(programs.end(), alsoNeeded.begin(), alsoNeeded.end());
    for (const std::string& program : programs) {
        if (run("command -v " + shellQuoted(program)) != 0)
            missing += (missing.empty() ? "" : " ") + program;
    }
    return missing;
}

int PrivateSoundServer::run(const std::string& command) const {
    const int status = std::system((command + " >/dev/null 2>&1").c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string PrivateSoundServer::output(const std::string& command) const {
    std::string result;
    if (FILE* pipe = ::popen(command.c_str(), "r")) {
        std::array<char, 256> buffer{};
        while (std::fgets(buffer.data(), buffer.size(), pipe) != nullptr)
            result += buffer.data();
        ::pclose(pipe);
    }
    return result;
}

std::string PrivateSoundServer::logs() const {
    std::string text;
    if (running()) {
        text = "--- sinks and streams\n" +
               output(
                   "pactl list short sinks 2>&1; pactl list sink-inputs 2>&1 | grep -E "
                   "'^Sink Input|Sink:|Corked:|media.name|node.name|target.object'");
    }
    return text + daemonLogs();
}

std::string PrivateSoundServer::tail(const std::string& daemon,
                                     const std::filesystem::path& log) const {
    constexpr std::size_t kLines = 40;
    std::deque<std::string> lines;
    std::ifstream file(log);
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line);
        if (lines.size() > kLines) lines.pop_front();
    }
    std::string text = "--- " + daemon + " (" + log.string() + ")\n";
    for (const std::string& line : lines)
        text += line + "\n";
    return text;
}

std::string PrivateSoundServer::imitatedDevices() {
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

std::string shellQuoted(const std::string& text) {
    std::string quoted = "'";
    for (char c : text)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

bool acceptsConnections(const std::filesystem::path& socket) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (socket.string().size() >= sizeof address.sun_path) return false;
    std::strcpy(address.sun_path, socket.c_str());
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return false;
    const bool connected =
        ::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    ::close(fd);
    return connected;
}

}  // namespace sorix::testing
