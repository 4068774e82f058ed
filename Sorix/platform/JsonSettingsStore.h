#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "SettingsStore.h"

namespace sorix {

// The settings as one JSON document on disk, read once at construction and replaced whole on
// every change: written to a temporary file beside it, flushed to the disk and renamed over it,
// so another process, or this one after a crash, finds the old document or the new one, never
// half of one. A file that cannot be read or parsed is kept aside as "<name>.corrupt" and the
// defaults apply.
//
// A change is in the store at once; the file follows on a thread of its own, so that a slider
// dragged across the panel never waits for the disk. Changes that come faster than the disk
// takes them are written as one: only the newest document matters.
class JsonSettingsStore : public MemorySettingsStore {
  public:
    // Told of a file that could not be written, from the writing thread.
    using ProblemReporter = std::function<void(const std::string&)>;

    explicit JsonSettingsStore(std::filesystem::path file, ProblemReporter reportProblem = {});
    // Writes what is still pending.
    ~JsonSettingsStore() override;
    JsonSettingsStore(const JsonSettingsStore&) = delete;
    JsonSettingsStore& operator=(const JsonSettingsStore&) = delete;

    // Waits until the file holds every change made so far.
    void flush();

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

    class Writer;

    std::filesystem::path file_;
    ProblemReporter reportProblem_;
    std::unique_ptr<Writer> writer_;
};

}  // namespace sorix
