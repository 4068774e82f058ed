#pragma once

#include <filesystem>
#include <functional>
#include <string>

#include "SettingsStore.h"

namespace sorix {

// The settings as one JSON document on disk, read once at construction and replaced whole on
// every change: written to a temporary file beside it and renamed over it, so another process,
// or this one after a crash, finds the old document or the new one, never half of one. A file
// that cannot be read or parsed is kept aside as "<name>.corrupt" and the defaults apply.
class JsonSettingsStore : public MemorySettingsStore {
  public:
    using ProblemReporter = std::function<void(const std::string&)>;

    explicit JsonSettingsStore(std::filesystem::path file, ProblemReporter reportProblem = {});

    // $XDG_CONFIG_HOME/sorix/settings.json, or ~/.config/sorix/settings.json.
    static std::filesystem::path defaultPath();

    void setObject(std::string_view key, Value value) override;
    void removeObject(std::string_view key) override;

    const std::filesystem::path& file() const { return file_; }

  private:
    void load();
    void removeAbandonedTemporaries();
    void keepAside(const std::string& why);
    void save();

    std::filesystem::path file_;
    ProblemReporter reportProblem_;
};

}  // namespace sorix
