#pragma once

#include <sndfile.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace sorix::render {

// The output files of one render while they are being written. Each goes to a temporary file
// beside its final path (same directory, so the final rename stays on one file system); commit()
// renames them all once every one is complete, and whatever was not committed is removed when
// this object goes away. A failed render therefore leaves no output and no temporary behind.
// Errors come back as one line naming the file.
class PendingOutputs {
  public:
    explicit PendingOutputs(std::size_t capacity) { files_.reserve(capacity); }
    ~PendingOutputs();
    PendingOutputs(const PendingOutputs&) = delete;
    PendingOutputs& operator=(const PendingOutputs&) = delete;

    // Starts the next output: a 32-bit float WAV.
    std::optional<std::string> add(const std::string& path, int sampleRate, uint32_t channels);
    // Appends interleaved frames to output `index`.
    std::optional<std::string> write(std::size_t index, const float* samples, int64_t frames);
    // Finishes every file, then renames all of them into place.
    std::optional<std::string> commit();

  private:
    struct File {
        std::string path;
        std::string temporary;  // empty once renamed
        SNDFILE* handle = nullptr;
    };

    std::vector<File> files_;
};

}  // namespace sorix::render
