#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <vector>

namespace sorix::testing {

struct WavAudio {
    int rate = 0;
    int channels = 0;
    // Interleaved frames.
    std::vector<float> samples;
};

// A 32-bit float WAV file, which paplay, pacat and sox read as it is. False if it could not be
// written.
bool writeWav(const std::filesystem::path& file, std::span<const float> interleaved, int channels,
              int rate);
// A 32-bit float or 16-bit integer WAV file; none for anything else, or a damaged one.
std::optional<WavAudio> readWav(const std::filesystem::path& file);

}  // namespace sorix::testing
