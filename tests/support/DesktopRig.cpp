#include "DesktopRig.h"

#include <array>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "PrivateSoundServer.h"

namespace sorix::testing {

namespace {

// Displays at and above this number are left to the tests; a lock file marks one in use.
constexpr int kFirstDisplay = 90;

std::string programOutput(const std::string& command) {
    std::string text;
    FILE* pipe = ::popen(command.c_str(), "r");
    if (pipe == nullptr) return text;
    std::array<char, 4096> buffer{};
    while (std::size_t read = std::fread(buffer.data(), 1, buffer.size(), pipe))
        text.append(buffer.data(), read);
    ::pclose(pipe);
    return text;
}

}  // namespace

DesktopRig::DesktopRig(std::filesystem::path folder) : folder_(std::move(folder)) {}

DesktopRig::~DesktopRig() { stop(); }

void DesktopRig::stop() {
    trayHost_.reset();
    windowManager_.reset();
    if (!xvfb_) return;
    // Asked to stop, the X server removes its lock and socket; killed, it would leave them to
    // take a display number from every later run.
    xvfb_->signal(SIGTERM);
    xvfb_->waitForExit(5);
    xvfb_.reset();
    const std::string number = display_.substr(1);
    std::error_code ignored;
    std::filesystem::remove("/tmp/.X" + number + "-lock", ignored);
    std::filesystem::remove("/tmp/.X11-unix/X" + number, ignored);
}

std::string DesktopRig::missingPrograms() {
    std::string missing;
    for (const char* program : {"Xvfb", "openbox", "trayer", "xdotool", "xprop", "import"}) {
        if (std::system(("command -v " + std::string(program) + " >/dev/null 2>&1").c_str()) != 0)
            missing.append(missing.empty() ? "" : " ").append(program);
    }
    return missing;
}

bool DesktopRig::start() {
    int firstDisplay = kFirstDisplay;
    for (int attempt = 0; attempt < 3; ++attempt) {
        if (startOnce(firstDisplay)) return true;
        std::fprintf(stderr, "desktop on %s did not come up (try %d)\n", display_.c_str(),
                     attempt + 1);
        for (const char* log : {"xvfb.log", "openbox.log", "trayer.log"}) {
            std::ifstream in(folder_ / log);
            std::stringstream text;
            text << in.rdbuf();
            std::fprintf(stderr, "--- %s\n%s", log, text.str().c_str());
        }
        if (!display_.empty()) firstDisplay = std::stoi(display_.substr(1)) + 1;
        stop();
    }
    return false;
}

bool DesktopRig::startOnce(int firstDisplay) {
    for (int number = firstDisplay; number < kFirstDisplay + 50 && !xvfb_; ++number) {
        if (std::filesystem::exists("/tmp/.X" + std::to_string(number) + "-lock")) continue;
        display_ = std::string(":").append(std::to_string(number));
        auto server = std::make_unique<ChildProcess>(
            std::vector<std::string>{
                "Xvfb", display_, "-screen", "0",
                std::to_string(kScreenWidth) + "x" + std::to_string(kScreenHeight) + "x24",
                "-nolisten", "tcp"},
            folder_ / "xvfb.log");
        const std::string socket = "/tmp/.X11-unix/X" + std::to_string(number);
        // Another rig may take the same number at the same moment: the display is ours only if
        // the lock names our server, which then runs on.
        const auto ours = [&, lock = "/tmp/.X" + std::to_string(number) + "-lock"] {
            std::ifstream file(lock);
            pid_t owner = 0;
            return file >> owner && owner == server->pid();
        };
        if (eventually(10, [&] { return std::filesystem::exists(socket) || !server->running(); }) &&
            ours() && server->running())
            xvfb_ = std::move(server);
    }
    if (!xvfb_) return false;
    const std::vector<std::string> environment = {"DISPLAY=" + display_};
    windowManager_ = std::make_unique<ChildProcess>(
        std::vector<std::string>{"openbox", "--sm-disable"}, folder_ / "openbox.log", environment);
    // A tray that maps its window before the window manager runs may be left unmapped by it.
    if (!eventually(10, [&] {
            return output("xprop -root _NET_SUPPORTING_WM_CHECK").find("window id") !=
                   std::string::npos;
        }))
        return false;
    // An XEmbed tray, as most X11 panels have, at the top right.
    trayHost_ = std::make_unique<ChildProcess>(
        std::vector<std::string>{"trayer", "--edge", "top", "--align", "right", "--widthtype",
                                 "request", "--height", "24", "--SetDockType", "true",
                                 "--transparent", "false", "--tint", "0x222222"},
        folder_ / "trayer.log", environment);
    return eventually(10, [&] { return tray().has_value(); });
}

int DesktopRig::run(const std::string& command) const {
    return std::system(("export DISPLAY=" + display_ + "; { " + command + "; } >>" +
                        shellQuoted((folder_ / "commands.log").string()) + " 2>&1")
                           .c_str());
}

std::string DesktopRig::output(const std::string& command) const {
    return programOutput("export DISPLAY=" + display_ + "; { " + command + "; } 2>/dev/null");
}

std::optional<DesktopRig::Rect> DesktopRig::geometry(const std::string& searchArguments) const {
    const std::string window = output("xdotool search " + searchArguments + " | head -n 1");
    if (window.empty()) return std::nullopt;
    const std::string id = window.substr(0, window.find('\n'));
    std::istringstream shape(
        output("xdotool getwindowgeometry --shell " + id + " | grep -E '^(X|Y|WIDTH|HEIGHT)='"));
    Rect rect;
    std::string line;
    while (std::getline(shape, line)) {
        const auto equals = line.find('=');
        const std::string name = line.substr(0, equals);
        const int value = std::stoi(line.substr(equals + 1));
        if (name == "X") rect.x = value;
        if (name == "Y") rect.y = value;
        if (name == "WIDTH") rect.width = value;
        if (name == "HEIGHT") rect.height = value;
    }
    if (rect.width == 0 || rect.height == 0) return std::nullopt;
    return rect;
}

std::optional<DesktopRig::Rect> DesktopRig::tray() const {
    return geometry("--onlyvisible --class trayer");
}

std::optional<DesktopRig::Rect> DesktopRig::visibleWindow(const std::string& title) const {
    return geometry("--onlyvisible --name " + shellQuoted("^" + title + "$"));
}

void DesktopRig::click(int x, int y) const {
    run("xdotool mousemove --sync " + std::to_string(x) + " " + std::to_string(y) + " click 1");
}

void DesktopRig::drag(int fromX, int fromY, int toX, int toY) const {
    run("xdotool mousemove --sync " + std::to_string(fromX) + " " + std::to_string(fromY) +
        " mousedown 1 mousemove --sync " + std::to_string((fromX + toX) / 2) + " " +
        std::to_string((fromY + toY) / 2) + " mousemove --sync " + std::to_string(toX) + " " +
        std::to_string(toY) + " mouseup 1");
}

void DesktopRig::press(const std::string& key) const { run("xdotool key " + key); }

bool DesktopRig::screenshot(const std::filesystem::path& file) const {
    return run("import -window root " + shellQuoted(file.string())) == 0;
}

}  // namespace sorix::testing
