#include "SoundSettings.h"

#include <unistd.h>

#include <QProcess>
#include <QStringList>
#include <cstdlib>
#include <filesystem>
#include <sstream>

namespace sorix {

namespace {

const std::vector<std::vector<std::string>> kCandidates = {
    {"gnome-control-center", "sound"},
    {"systemsettings", "kcm_pulseaudio"},
    {"pavucontrol"},
};

}  // namespace

SoundSettings::SoundSettings(Finder isInstalled) : isInstalled_(std::move(isInstalled)) {}

bool SoundSettings::onPath(const std::string& program) {
    const char* path = std::getenv("PATH");
    std::istringstream folders(path != nullptr ? path : "/usr/local/bin:/usr/bin:/bin");
    std::string folder;
    while (std::getline(folders, folder, ':')) {
        if (folder.empty()) continue;
        const auto candidate = std::filesystem::path(folder) / program;
        if (::access(candidate.c_str(), X_OK) == 0 && std::filesystem::is_regular_file(candidate))
            return true;
    }
    return false;
}

std::optional<std::vector<std::string>> SoundSettings::command() const {
    for (const auto& candidate : kCandidates) {
        if (isInstalled_(candidate.front())) return candidate;
    }
    return std::nullopt;
}

bool SoundSettings::open() const {
    const auto found = command();
    if (!found) return false;
    QStringList arguments;
    for (std::size_t i = 1; i < found->size(); ++i)
        arguments.push_back(QString::fromStdString((*found)[i]));
    return QProcess::startDetached(QString::fromStdString(found->front()), arguments);
}

}  // namespace sorix
