#include "PrivatePipeWireServer.h"

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <sstream>

namespace sorix::testing {

namespace {

constexpr double kStageTimeout = 5;
constexpr auto kPollInterval = std::chrono::milliseconds(10);

// The server's devices are its null sinks alone: WirePlumber must not open the machine's sound
// cards, Bluetooth devices or cameras, which belong to the user's own server.
constexpr const char* kNoHardware =
    "alsa_monitor.enabled = false\n"
    "v4l2_monitor.enabled = false\n"
    "libcamera_monitor.enabled = false\n";
constexpr const char* kNoBluetooth = "bluez_monitor.enabled = false\n";

// The sink the last set-default-sink line names; empty when none does.
std::string defaultOf(const std::string& devices) {
    std::istringstream lines(devices);
    std::string sink;
    for (std::string command; lines >> command;) {
        if (command == "set-default-sink") lines >> sink;
        lines.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
    }
    return sink;
}

std::string trimmed(std::string text) {
    while (!text.empty() && (text.back() == '\n' || text.back() == ' '))
        text.pop_back();
    return text;
}

}  // namespace

PrivatePipeWireServer::PrivatePipeWireServer(std::string devices)
    : PrivateSoundServer("sorix-pipewire", std::move(devices),
                         {"dbus-daemon", "pipewire", "wireplumber", "pipewire-pulse", "pactl"}),
      runtime_(folder_ / "runtime") {
    for (const char* sub : {"runtime/pulse", "state", "config/wireplumber/main.lua.d",
                            "config/wireplumber/bluetooth.lua.d"})
        std::filesystem::create_directories(folder_ / sub);
    std::ofstream(folder_ / "config/wireplumber/main.lua.d/51-sorix-tests.lua") << kNoHardware;
    std::ofstream(folder_ / "config/wireplumber/bluetooth.lua.d/51-sorix-tests.lua")
        << kNoBluetooth;
    environment_ = {"XDG_RUNTIME_DIR=" + runtime_.string(),
                    "PIPEWIRE_RUNTIME_DIR=" + runtime_.string(),
                    "PULSE_RUNTIME_PATH=" + (runtime_ / "pulse").string(),
                    "XDG_STATE_HOME=" + (folder_ / "state").string(),
                    "XDG_CONFIG_HOME=" + (folder_ / "config").string(),
                    "DBUS_SESSION_BUS_ADDRESS=unix:path=" + (runtime_ / "bus").string(),
                    // Nor may it ring a desktop's bell.
                    "DISPLAY=", "WAYLAND_DISPLAY="};
    pointClientsAt(runtime_ / "pulse/native");
    ::setenv("XDG_RUNTIME_DIR", runtime_.c_str(), 1);
    ::setenv("PIPEWIRE_RUNTIME_DIR", runtime_.c_str(), 1);
}

PrivatePipeWireServer::~PrivatePipeWireServer() { kill(); }

std::unique_ptr<ChildProcess> PrivatePipeWireServer::spawn(
    const std::string& program, std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), program);
    return std::make_unique<ChildProcess>(arguments, folder_ / (program + ".log"), environment_);
}

bool PrivatePipeWireServer::alive() const {
    for (const auto* daemon : {&bus_, &pipeWire_, &wirePlumber_, &pulse_}) {
        if (*daemon && !(*daemon)->running()) return false;
    }
    return true;
}

bool PrivatePipeWireServer::start() {
    if (running()) return true;
    const bool ready = launch() && loadDevices();
    if (!ready) kill();
    return ready;
}

// Each daemon is started once the one it talks to listens; a connection it made earlier would
// fail and end it.
bool PrivatePipeWireServer::launch() {
    const auto listening = [&](const std::filesystem::path& socket) {
        return eventually(
                   kStageTimeout, [&] { return !alive() || acceptsConnections(socket); },
                   kPollInterval) &&
               alive();
    };
    std::filesystem::remove(runtime_ / "bus");
    bus_ = spawn("dbus-daemon", {"--session", "--nofork", "--nopidfile",
                                 "--address=unix:path=" + (runtime_ / "bus").string()});
    if (!bus_->started() || !listening(runtime_ / "bus")) return false;
    pipeWire_ = spawn("pipewire");
    if (!pipeWire_->started() || !listening(runtime_ / "pipewire-0")) return false;
    wirePlumber_ = spawn("wireplumber");
    pulse_ = spawn("pipewire-pulse");
    if (!wirePlumber_->started() || !pulse_->started()) return false;
    return eventually(
               kStageTimeout,
               [&] {
                   return !alive() ||
                          output("pactl info 2>/dev/null").find("on PipeWire") != std::string::npos;
               },
               kPollInterval) &&
           alive();
}

// The same lines a PulseAudio daemon reads from its script, through pactl. A module's arguments
// go over as one word, quotes and all, as the daemon would have read them.
bool PrivatePipeWireServer::loadDevices() {
    std::istringstream lines(devices_);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string command, first, rest;
        if (!(words >> command)) continue;
        // The module to load, or the sink that set-default-sink names.
        std::string pactl = "pactl ";
        pactl += command;
        if (words >> first) pactl.append(" ").append(first);
        if (std::getline(words >> std::ws, rest) && !rest.empty())
            pactl.append(" ").append(shellQuoted(rest));
        if (run(pactl) != 0) return false;
    }
    // WirePlumber picks the default from the one asked for, and pipewire-pulse drops the stand-in
    // sink it keeps while there is none; both happen after the commands returned.
    const std::string wanted = defaultOf(devices_);
    const bool makesSinks = devices_.find("load-module") != std::string::npos;
    return eventually(
               kStageTimeout,
               [&] {
                   return !alive() ||
                          ((wanted.empty() ||
                            trimmed(output("pactl get-default-sink")) == wanted) &&
                           (!makesSinks || output("pactl list short sinks").find("\tauto_null\t") ==
                                               std::string::npos));
               },
               kPollInterval) &&
           alive();
}

void PrivatePipeWireServer::kill() {
    // The whole stack at once, as a crash of the server would leave it.
    for (const auto* daemon : {&pulse_, &wirePlumber_, &pipeWire_, &bus_}) {
        if (*daemon) (*daemon)->signal(SIGKILL);
    }
    pulse_.reset();
    wirePlumber_.reset();
    pipeWire_.reset();
    bus_.reset();
}

std::string PrivatePipeWireServer::logs() const {
    std::string text;
    for (const char* daemon : {"pipewire", "wireplumber", "pipewire-pulse", "dbus-daemon"})
        text += tail(daemon, folder_ / (std::string(daemon) + ".log"));
    return text;
}

}  // namespace sorix::testing
