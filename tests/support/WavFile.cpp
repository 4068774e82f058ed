#include "WavFile.h"

#include <bit>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

namespace sorix::testing {

// The samples go to and from the file as they lie in memory.
static_assert(std::endian::native == std::endian::little);

namespace {

constexpr std::uint16_t kPcm = 1;
constexpr std::uint16_t kFloat = 3;
constexpr std::uint16_t kExtensible = 0xFFFE;

template <typename T>
void put(std::string& out, T value) {
    out.append(reinterpret_cast<const char*>(&value), sizeof value);
}

template <typename T>
T get(const std::string& in, std::size_t at) {
    T value{};
    std::memcpy(&value, in.data() + at, sizeof value);
    return value;
}

}  // namespace

bool writeWav(const std::filesystem::path& file, std::span<const float> interleaved, int channels,
              int rate) {
    if (channels < 1 || rate < 1 || interleaved.size() % static_cast<std::size_t>(channels) != 0)
        return false;
    const auto dataBytes = static_cast<std::uint32_t>(interleaved.size() * sizeof(float));
    const auto frameBytes = static_cast<std::uint16_t>(channels * sizeof(float));
    std::string header;
    header += "RIFF";
    // Everything after this field: WAVE, fmt (8 + 18), fact (8 + 4) and data (8 + its bytes).
    put<std::uint32_t>(header, 4 + 26 + 12 + 8 + dataBytes);
    header += "WAVEfmt ";
    put<std::uint32_t>(header, 18);
    put<std::uint16_t>(header, kFloat);
    put<std::uint16_t>(header, static_cast<std::uint16_t>(channels));
    put<std::uint32_t>(header, static_cast<std::uint32_t>(rate));
    put<std::uint32_t>(header, static_cast<std::uint32_t>(rate) * frameBytes);
    put<std::uint16_t>(header, frameBytes);
    put<std::uint16_t>(header, 32);
    put<std::uint16_t>(header, 0);
    // Files of a format other than integer PCM should say how many frames they hold.
    header += "fact";
    put<std::uint32_t>(header, 4);
    put<std::uint32_t>(header, static_cast<std::uint32_t>(interleaved.size() / channels));
    header += "data";
    put<std::uint32_t>(header, dataBytes);

    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    out.write(header.data(), static_cast<std::streamsize>(header.size()));
    out.write(reinterpret_cast<const char*>(interleaved.data()), dataBytes);
    return static_cast<bool>(out);
}

std::optional<WavAudio> readWav(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (bytes.size() < 12 || bytes.compare(0, 4, "RIFF") != 0 || bytes.compare(8, 4, "WAVE") != 0)
        return std::nullopt;
    WavAudio audio;
    std::uint16_t format = 0;
    std::uint16_t bits = 0;
    for (std::size_t at = 12; at + 8 <= bytes.size();) {
        const std::string id = bytes.substr(at, 4);
        const std::size_t size = get<std::uint32_t>(bytes, at + 4);
        const std::size_t body = at + 8;
        if (size > bytes.size() - body) return std::nullopt;
        if (id == "fmt " && size >= 16) {
            format = get<std::uint16_t>(bytes, body);
            audio.channels = get<std::uint16_t>(bytes, body + 2);
            audio.rate = static_cast<int>(get<std::uint32_t>(bytes, body + 4));
            bits = get<std::uint16_t>(bytes, body + 14);
            // The extensible header names the real format in the first two bytes of its GUID.
            if (format == kExtensible && size >= 26) format = get<std::uint16_t>(bytes, body + 24);
        } else if (id == "data") {
            if (audio.channels < 1 || audio.rate < 1) return std::nullopt;
            if (format == kFloat && bits == 32) {
                audio.samples.resize(size / sizeof(float));
                std::memcpy(audio.samples.data(), bytes.data() + body,
                            audio.samples.size() * sizeof(float));
            } else if (format == kPcm && bits == 16) {
                audio.samples.resize(size / sizeof(std::int16_t));
                for (std::size_t i = 0; i < audio.samples.size(); ++i)
                    audio.samples[i] = get<std::int16_t>(bytes, body + 2 * i) / 32768.0f;
            } else {
                return std::nullopt;
            }
            audio.samples.resize(audio.samples.size() - audio.samples.size() % audio.channels);
            return audio;
        }
        at = body + size + size % 2;
    }
    return std::nullopt;
}

}  // namespace sorix::testing
