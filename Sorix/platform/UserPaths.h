#pragma once

#include <filesystem>
#include <optional>

// Where this user's files and this program live, as the desktop's conventions say.
namespace sorix {

// $XDG_CONFIG_HOME when it is an absolute path, else ~/.config (./.config without a home).
std::filesystem::path userConfigHome();

// The file this process runs from; none where /proc cannot tell.
std::optional<std::filesystem::path> runningProgramPath();

}  // namespace sorix
