#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace sorix {

// The desktop's own sound settings, which the footer offers in place of a privacy page: GNOME's,
// KDE's, or pavucontrol, the first that is installed.
class SoundSettings {
  public:
    // Whether a program of that name can be run (found on the PATH by default).
    using Finder = std::function<bool(const std::string& program)>;

    explicit SoundSettings(Finder isInstalled = onPath);

    // The command to run, or none when no sound settings are installed.
    std::optional<std::vector<std::string>> command() const;
    bool available() const { return command().has_value(); }
    // Starts it on its own, outliving Sorix; false when none exists or it could not be started.
    bool open() const;

    static bool onPath(const std::string& program);

  private:
    Finder isInstalled_;
};

}  // namespace sorix
