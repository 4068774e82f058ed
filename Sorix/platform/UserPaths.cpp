#include "UserPaths.h"

#include <cstdlib>

namespace sorix {

std::filesystem::path userConfigHome() {
    // A relative XDG_CONFIG_HOME is invalid and counts as unset, as desktops treat it.
    const char* configHome = std::getenv("XDG_CONFIG_HOME");
    if (configHome != nullptr && configHome[0] == '/') return configHome;
    const char* home = std::getenv("HOME");
    return std::filesystem::path(home != nullptr ? home : ".") / ".config";
}

std::optional<std::filesystem::path> runningProgramPath() {
    std::error_code error;
    std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error) return std::nullopt;
    return self;
}

}  // namespace sorix
