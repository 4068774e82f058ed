#include "JsonSettingsStore.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <mutex>
#include <optional>
#include <sstream>
#include <thread>

#include "UserPaths.h"

namespace sorix {

namespace {

// Writes all of `text` to a new file beside `target` and renames it over `target`.
bool replaceAtomically(const std::filesystem::path& target, const std::string& text,
                       std::string& error) {
    std::string pattern = target.string() + ".tmp-XXXXXX";
    const int fd = ::mkstemp(pattern.data());
    if (fd < 0) {
        error = std::strerror(errno);
        return false;
    }
    const char* data = text.data();
    std::size_t left = text.size();
    bool ok = true;
    while (ok && left > 0) {
        const ssize_t written = ::write(fd, data, left);
        if (written < 0 && errno == EINTR) continue;
        ok = written > 0;
        if (ok) {
            data += written;
            left -= static_cast<std::size_t>(written);
        }
    }
    // The data must be on disk before the rename makes it the settings.
    ok = ok && ::fsync(fd) == 0;
    if (!ok) error = std::strerror(errno);
    ::close(fd);
    if (ok && ::rename(pattern.c_str(), target.c_str()) != 0) {
        error = std::strerror(errno);
        ok = false;
    }
    if (!ok) ::unlink(pattern.c_str());
    return ok;
}

}  // namespace

// One thread that writes the newest document it was given, as often as the disk allows.
class JsonSettingsStore::Writer {
  public:
    Writer(std::filesystem::path file, ProblemReporter report)
        : file_(std::move(file)), report_(std::move(report)), thread_([this] { run(); }) {}

    ~Writer() {
        {
            std::lock_guard lock(mutex_);
            stopping_ = true;
        }
        wake_.notify_all();
        thread_.join();
    }

    void write(std::string document) {
        {
            std::lock_guard lock(mutex_);
            pending_ = std::move(document);
            ++handedOver_;
        }
        wake_.notify_all();
    }

    void flush() {
        std::unique_lock lock(mutex_);
        const uint64_t target = handedOver_;
        done_.wait(lock, [&] { return written_ >= target; });
    }

  private:
    void run() {
        std::unique_lock lock(mutex_);
        for (;;) {
            wake_.wait(lock, [&] { return pending_.has_value() || stopping_; });
            if (!pending_) return;  // stopping, and everything is written
            const std::string document = std::move(*pending_);
            pending_.reset();
            const uint64_t covered = handedOver_;
            lock.unlock();
            std::error_code ec;
            std::filesystem::create_directories(file_.parent_path(), ec);
            std::string error;
            const bool ok = replaceAtomically(file_, document, error);
            lock.lock();
            if (!ok && report_)
                report_("Could not save settings to " + file_.string() + ": " + error);
            written_ = covered;
            done_.notify_all();
        }
    }

    const std::filesystem::path file_;
    const ProblemReporter report_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::condition_variable done_;
    std::optional<std::string> pending_;
    uint64_t handedOver_ = 0;
    uint64_t written_ = 0;
    bool stopping_ = false;
    std::thread thread_;
};

JsonSettingsStore::JsonSettingsStore(std::filesystem::path file, ProblemReporter reportProblem)
    : file_(std::move(file)), reportProblem_(std::move(reportProblem)) {
    load();
    writer_ = std::make_unique<Writer>(file_, reportProblem_);
}

JsonSettingsStore::~JsonSettingsStore() = default;

void JsonSettingsStore::flush() { writer_->flush(); }

std::filesystem::path JsonSettingsStore::defaultPath() {
    return userConfigHome() / "sorix" / "settings.json";
}

void JsonSettingsStore::removeAbandonedTemporaries() {
    // A writer that was killed leaves its temporary file behind. A live one finishes within
    // milliseconds, so anything older than a minute is abandoned.
    std::error_code ec;
    const std::string prefix = file_.filename().string() + ".tmp-";
    const auto cutoff = std::filesystem::file_time_type::clock::now() - std::chrono::minutes(1);
    for (const auto& entry : std::filesystem::directory_iterator(file_.parent_path(), ec)) {
        if (entry.path().filename().string().rfind(prefix, 0) != 0) continue;
        std::error_code ignored;
        if (entry.last_write_time(ignored) < cutoff) std::filesystem::remove(entry.path(), ignored);
    }
}

void JsonSettingsStore::load() {
    removeAbandonedTemporaries();
    std::error_code ec;
    if (!std::filesystem::exists(file_, ec)) return;

    std::ifstream in(file_, std::ios::binary);
    if (!in) return keepAside("it cannot be read");
    std::ostringstream text;
    text << in.rdbuf();
    // The parser reads numbers the same in every locale and refuses one beyond a double's range
    // ("1e999") as a parse error, so such a document is set aside like any other broken one: no
    // infinity ever comes from disk.
    Value document = Value::parse(text.str(), nullptr, /*allow_exceptions=*/false);
    if (document.is_discarded() || !document.is_object()) {
        return keepAside("it is not a settings document");
    }
    for (auto& [key, value] : document.items())
        MemorySettingsStore::setObject(key, value);
}

void JsonSettingsStore::keepAside(const std::string& why) {
    std::filesystem::path aside = file_;
    aside += ".corrupt";
    std::error_code ec;
    std::filesystem::rename(file_, aside, ec);
    if (!reportProblem_) return;
    reportProblem_("Settings file " + file_.string() + " was set aside because " + why +
                   (ec ? "" : " (kept as " + aside.string() + ")") + "; using the defaults");
}

void JsonSettingsStore::setObject(std::string_view key, Value value) {
    MemorySettingsStore::setObject(key, std::move(value));
    save();
}

void JsonSettingsStore::removeObject(std::string_view key) {
    MemorySettingsStore::removeObject(key);
    save();
}

void JsonSettingsStore::save() { writer_->write(contents().dump(2) + "\n"); }

}  // namespace sorix
