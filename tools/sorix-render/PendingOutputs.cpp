#include "PendingOutputs.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace sorix::render {

namespace {

// The permissions a file created the ordinary way would get; mkstemp makes it private.
mode_t newFileMode() {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return 0666 & ~mask;
}

std::string systemError(const std::string& what, const std::string& path) {
    return what + " " + path + ": " + std::strerror(errno);
}

}  // namespace

PendingOutputs::~PendingOutputs() {
    for (File& file : files_) {
        if (file.handle != nullptr) sf_close(file.handle);
        if (!file.temporary.empty()) ::unlink(file.temporary.c_str());
    }
}

std::optional<std::string> PendingOutputs::add(const std::string& path, int sampleRate,
                                               uint32_t channels) {
    std::string temporary = path + ".tmp-XXXXXX";
    const int fd = ::mkstemp(temporary.data());
    if (fd < 0) return systemError("cannot create", path);
    File& file = files_.emplace_back(File{path, temporary, nullptr});
    if (::fchmod(fd, newFileMode()) != 0) {
        const std::string error = systemError("cannot create", path);
        ::close(fd);
        return error;
    }

    SF_INFO info{};
    info.samplerate = sampleRate;
    info.channels = static_cast<int>(channels);
    info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    // libsndfile owns the descriptor from here, and closes it even when the open fails.
    file.handle = sf_open_fd(fd, SFM_WRITE, &info, SF_TRUE);
    if (file.handle == nullptr) return "cannot write " + path + ": " + sf_strerror(nullptr);
    return std::nullopt;
}

std::optional<std::string> PendingOutputs::write(std::size_t index, const float* samples,
                                                 int64_t frames) {
    File& file = files_[index];
    if (sf_writef_float(file.handle, samples, frames) == frames) return std::nullopt;
    return "cannot write " + file.path + ": " + sf_strerror(file.handle);
}

std::optional<std::string> PendingOutputs::commit() {
    // Closing writes the final header, which can fail on a full disk like any other write.
    for (File& file : files_) {
        const int status = sf_close(file.handle);
        file.handle = nullptr;
        if (status != 0) return "cannot write " + file.path + ": " + sf_error_number(status);
    }
    for (File& file : files_) {
        if (std::rename(file.temporary.c_str(), file.path.c_str()) != 0)
            return systemError("cannot write", file.path);
        file.temporary.clear();
    }
    return std::nullopt;
}

}  // namespace sorix::render
