#include "AudioCapturePermission.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

extern char** environ;

namespace sorix {

namespace {

bool onPath(const std::string& program) {
    const char* path = std::getenv("PATH");
    if (path == nullptr) return false;
    const std::string directories = path;
    std::size_t start = 0;
    while (start <= directories.size()) {
        const std::size_t end = std::min(directories.find(':', start), directories.size());
        const std::string candidate = directories.substr(start, end - start) + "/" + program;
        if (end > start && ::access(candidate.c_str(), X_OK) == 0) return true;
        start = end + 1;
    }
    return false;
}

// Starts a program without waiting for it and without leaving a zombie behind: an intermediate
// child starts it and exits at once.
void startDetached(std::vector<std::string> command) {
    const pid_t child = ::fork();
    if (child < 0) return;
    if (child == 0) {
        std::vector<char*> argv;
        argv.reserve(command.size() + 1);
        for (std::string& part : command)
            argv.push_back(part.data());
        argv.push_back(nullptr);
        pid_t grandchild = 0;
        ::posix_spawnp(&grandchild, argv[0], nullptr, nullptr, argv.data(), environ);
        ::_exit(0);
    }
    ::waitpid(child, nullptr, 0);
}

}  // namespace

std::string_view AudioCapturePermission::name(Status status) {
    switch (status) {
        case Status::granted:
            return "granted";
        case Status::denied:
            return "denied";
        case Status::undetermined:
            return "undetermined";
    }
    return "undetermined";
}

AudioCapturePermission::AudioCapturePermission(MainQueue& mainQueue, ServiceLoader loader,
                                               SettingsOpener openSettings)
    : mainQueue_(mainQueue), loader_(std::move(loader)), openSettings_(std::move(openSettings)) {}

const AudioCapturePermission::Service& AudioCapturePermission::loaded() {
    std::call_once(loadOnce_, [this] { service_ = loader_(); });
    return service_;
}

AudioCapturePermission::Status AudioCapturePermission::preflight() {
    const Service& system = loaded();
    if (!system.preflight) return Status::granted;
    switch (system.preflight(service)) {
        case 0:
            return Status::granted;
        case 1:
            return Status::denied;
        default:
            return Status::undetermined;
    }
}

void AudioCapturePermission::request(std::function<void(bool granted)> completion) {
    const Service& system = loaded();
    if (!system.request) {
        mainQueue_.async([completion = std::move(completion)] { completion(true); });
        return;
    }
    system.request(service,
                   [queue = &mainQueue_, completion = std::move(completion)](bool granted) {
                       queue->async([completion, granted] { completion(granted); });
                   });
}

void AudioCapturePermission::openSoundSettings() {
    const std::vector<std::vector<std::string>> candidates = {
        {"gnome-control-center", "sound"},
        {"systemsettings", "kcm_pulseaudio"},
        {"pavucontrol"},
    };
    for (const auto& command : candidates) {
        if (onPath(command.front())) return startDetached(command);
    }
}

}  // namespace sorix
