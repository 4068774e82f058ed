#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ChildProcess.h"

namespace sorix::testing {

// A desktop of the test's own: an X server in memory (Xvfb) on a free display, a small window
// manager (openbox) and an XEmbed tray at the top right of the screen (trayer). The programs it
// runs, and the tools a test drives it with (xdotool, ImageMagick's import), see only this
// display. Everything stops when the object goes.
class DesktopRig {
  public:
    struct Rect {
        int x = 0, y = 0, width = 0, height = 0;
        int centreX() const { return x + width / 2; }
        int centreY() const { return y + height / 2; }
    };

    static constexpr int kScreenWidth = 1280;
    static constexpr int kScreenHeight = 800;

    explicit DesktopRig(std::filesystem::path folder);
    ~DesktopRig();
    DesktopRig(const DesktopRig&) = delete;
    DesktopRig& operator=(const DesktopRig&) = delete;

    // The programs it needs that are not installed, separated by spaces; empty when all are.
    static std::string missingPrograms();
    // True once the screen, the window manager and the tray are up. A desktop that does not come
    // up in time is stopped and started again on another display, three times at most; what its
    // programs said is printed when none came up.
    bool start();

    // ":N", for the DISPLAY of the programs under test.
    const std::string& display() const { return display_; }
    // Runs a shell command on this display; returns its exit status, or what it printed.
    int run(const std::string& command) const;
    std::string output(const std::string& command) const;

    // The tray's window on the screen.
    std::optional<Rect> tray() const;
    // The visible window of that exact title, if one is shown.
    std::optional<Rect> visibleWindow(const std::string& title) const;
    void click(int x, int y) const;
    void drag(int fromX, int fromY, int toX, int toY) const;
    void press(const std::string& key) const;
    // A picture of the whole screen.
    bool screenshot(const std::filesystem::path& file) const;

  private:
    // One try, on the first free display from `firstDisplay` on.
    bool startOnce(int firstDisplay);
    void stop();
    std::optional<Rect> geometry(const std::string& searchArguments) const;

    std::filesystem::path folder_;
    std::string display_;
    std::unique_ptr<ChildProcess> xvfb_;
    std::unique_ptr<ChildProcess> windowManager_;
    std::unique_ptr<ChildProcess> trayHost_;
};

}  // namespace sorix::testing
