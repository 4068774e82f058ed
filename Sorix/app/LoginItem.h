#pragma once

#include <filesystem>
#include <string>

namespace sorix {

// Launch at login, the way desktops on Linux do it: an XDG autostart entry for the program in
// the user's autostart folder. The entry is the switch: present, Sorix's own and not hidden
// means on. A desktop that hides an entry (Hidden=true) has switched it off.
class LoginItem {
  public:
    // `entry` is the autostart file, `program` the absolute path the entry starts.
    LoginItem(std::filesystem::path entry, std::string program);

    // $XDG_CONFIG_HOME/autostart/sorix.desktop, or ~/.config/autostart/sorix.desktop.
    static std::filesystem::path defaultEntryPath();
    // The running program's own path.
    static std::string runningProgram();

    bool isEnabled() const;
    // Writes or removes the entry; false when that failed (the switch is then read back from the
    // file the next time the settings are shown).
    bool setEnabled(bool enabled) const;

    // The entry's text.
    std::string entryText() const;

  private:
    std::filesystem::path entry_;
    std::string program_;
};

}  // namespace sorix
