#include "LoginItem.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <system_error>

#include "UserPaths.h"

namespace sorix {

namespace {

constexpr const char* kEntryMarker = "X-Sorix-Autostart=true";

// An Exec value as desktop entries quote it: in double quotes, with the four characters that
// keep a meaning inside them escaped, so a path with spaces or a '$' starts what it names.
std::string quotedExec(const std::string& program) {
    std::string quoted = "\"";
    for (const char c : program) {
        if (c == '"' || c == '`' || c == '$' || c == '\\') quoted += '\\';
        quoted += c;
    }
    return quoted + "\"";
}

}  // namespace

LoginItem::LoginItem(std::filesystem::path entry, std::string program)
    : entry_(std::move(entry)), program_(std::move(program)) {}

std::filesystem::path LoginItem::defaultEntryPath() {
    return userConfigHome() / "autostart" / "sorix.desktop";
}

std::string LoginItem::runningProgram() {
    const auto self = runningProgramPath();
    return self ? self->string() : std::string("sorix");
}

std::string LoginItem::entryText() const {
    std::ostringstream text;
    text << "[Desktop Entry]\n"
         << "Type=Application\n"
         << "Name=Sorix\n"
         << "Comment=Louder, equalised sound on every speaker\n"
         << "Exec=" << quotedExec(program_) << "\n"
         << "Icon=org.sorix.Sorix\n"
         << "Terminal=false\n"
         << "X-GNOME-Autostart-enabled=true\n"
         << kEntryMarker << "\n";
    return text.str();
}

bool LoginItem::isEnabled() const {
    std::ifstream file(entry_);
    if (!file) return false;
    bool ours = false;
    std::string line;
    while (std::getline(file, line)) {
        if (line == "Hidden=true" || line == "X-GNOME-Autostart-enabled=false") return false;
        ours = ours || line == kEntryMarker;
    }
    return ours;
}

bool LoginItem::setEnabled(bool enabled) const {
    std::error_code error;
    if (!enabled) {
        std::filesystem::remove(entry_, error);
        return !error;
    }
    std::filesystem::create_directories(entry_.parent_path(), error);
    if (error) return false;
    // Written beside and renamed over, so the session never reads half an entry.
    const auto temporary = entry_.string() + ".new";
    {
        std::ofstream file(temporary, std::ios::trunc);
        file << entryText();
        if (!file.flush()) return false;
    }
    std::filesystem::rename(temporary, entry_, error);
    if (error) std::filesystem::remove(temporary, error);
    return isEnabled();
}

}  // namespace sorix
