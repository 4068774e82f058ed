#include "PrivatePipeWireServer.h"

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <regex>
#include <sstream>
#include <utility>

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

// A configuration script's lines as pactl commands, the module loads apart from the rest, with
// the sinks that the loads make and the default that the rest sets.
struct PactlScript {
    std::vector<std::string> loads;
    std::vector<std::string> settings;
    std::vector<std::string> sinks;
    std::string defaultSink;
};

PactlScript pactlScript(const std::string& devices) {
    PactlScript script;
    std::istringstream lines(devices);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string command, first, rest;
        if (!(words >> command)) continue;
        std::string pactl = "pactl ";
        pactl += command;
        // The module to load, or the sink that set-default-sink names.
        if (words >> first) pactl.append(" ").append(first);
        // A module's arguments go over as one word, quotes and all, as the daemon would have read
        // them from its script.
        if (std::getline(words >> std::ws, rest) && !rest.empty())
            pactl.append(" ").append(shellQuoted(rest));
        if (command == "load-module") {
            script.loads.push_back(pactl);
            std::smatch sink;
            if (std::regex_search(rest, sink, std::regex("sink_name=([^ ]+)")))
                script.sinks.push_back(sink[1]);
        } else {
            script.settings.push_back(pactl);
            if (command == "set-default-sink") script.defaultSink = first;
        }
    }
    return script;
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
                    // Nor may pipewire's X11 bell module join a desktop's display.
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

bool PrivatePipeWireServer::waitFor(const std::string& what,
                                    const std::function<bool()>& condition) {
    const std::pair<const char*, const std::unique_ptr<ChildProcess>*> daemons[] = {
        {"dbus-daemon", &bus_},
        {"pipewire", &pipeWire_},
        {"wireplumber", &wirePlumber_},
        {"pipewire-pulse", &pulse_}};
    std::string ended;
    const bool held = eventually(
        kStageTimeout,
        [&] {
            for (const auto& [name, daemon] : daemons) {
                if (!*daemon) continue;
                if (const auto status = (*daemon)->waitForExit(0)) {
                    ended = std::string(name) + " ended with status " + std::to_string(*status);
                    return true;
                }
            }
            return condition();
        },
        kPollInterval);
    if (held && ended.empty()) return true;
    problem_ = (ended.empty() ? "timed out" : ended) + " waiting for " + what;
    return false;
}

bool PrivatePipeWireServer::start() {
    if (running()) return true;
    problem_.clear();
    const bool ready = launch() && loadDevices();
    if (!ready) kill();
    return ready;
}

// Each daemon is started once the one it talks to listens; a connection it made earlier would
// fail and end it.
bool PrivatePipeWireServer::launch() {
    std::filesystem::remove(runtime_ / "bus");
    bus_ = spawn("dbus-daemon", {"--session", "--nofork", "--nopidfile",
                                 "--address=unix:path=" + (runtime_ / "bus").string()});
    if (!waitFor("the session bus", [&] { return acceptsConnections(runtime_ / "bus"); }))
        return false;
    pipeWire_ = spawn("pipewire");
    if (!waitFor("pipewire's socket", [&] { return acceptsConnections(runtime_ / "pipewire-0"); }))
        return false;
    wirePlumber_ = spawn("wireplumber");
    pulse_ = spawn("pipewire-pulse");
    return waitFor("pipewire-pulse's answer", [&] {
        return output("pactl info 2>/dev/null").find("on PipeWire") != std::string::npos;
    });
}

bool PrivatePipeWireServer::runAll(const std::vector<std::string>& commands) {
    for (const std::string& command : commands) {
        if (const int status = run(command); status != 0) {
            problem_ = command + " failed with status " + std::to_string(status);
            return false;
        }
    }
    return true;
}

// The same lines a PulseAudio daemon reads from its script, through pactl, the modules first.
bool PrivatePipeWireServer::loadDevices() {
    const PactlScript script = pactlScript(devices_);
    if (!runAll(script.loads)) return false;
    // pipewire-pulse answers a load before it lists the new sink, and drops the stand-in sink it
    // keeps while there is none only after that.
    const bool listed = waitFor("the sinks", [&] {
        const std::string sinks = output("pactl list short sinks");
        for (const std::string& sink : script.sinks) {
            if (sinks.find("\t" + sink + "\t") == std::string::npos) return false;
        }
        return script.sinks.empty() || sinks.find("\tauto_null\t") == std::string::npos;
    });
    if (!listed) return false;
    // A default is stored in WirePlumber's metadata, which pipewire-pulse cannot reach before
    // WirePlumber has made it: until then the command fails, and is simply given again.
    for (const std::string& setting : script.settings) {
        if (!waitFor(setting, [&] { return run(setting) == 0; })) return false;
    }
    // WirePlumber picks the default from the one asked for.
    return script.defaultSink.empty() || waitFor("the default sink " + script.defaultSink, [&] {
               return trimmed(output("pactl get-default-sink")) == script.defaultSink;
           });
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

std::string PrivatePipeWireServer::daemonLogs() const {
    std::string text = problem_.empty() ? "" : "PipeWire did not start: " + problem_ + "\n";
    for (const char* daemon : {"pipewire", "wireplumber", "pipewire-pulse", "dbus-daemon"})
        text += tail(daemon, folder_ / (std::string(daemon) + ".log"));
    return text;
}

}  // namespace sorix::testing
