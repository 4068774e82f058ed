#include "PulseClients.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <vector>

namespace sorix::testing {

namespace {

std::string output(const std::string& command) {
    std::string result;
    if (FILE* pipe = ::popen((command + " 2>/dev/null").c_str(), "r")) {
        std::array<char, 4096> buffer{};
        std::size_t got = 0;
        while ((got = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0)
            result.append(buffer.data(), got);
        ::pclose(pipe);
    }
    return result;
}

nlohmann::json pactlList(const std::string& what) {
    auto parsed = nlohmann::json::parse(output("pactl --format=json list " + what), nullptr, false);
    return parsed.is_array() ? parsed : nlohmann::json::array();
}

std::string sinkName(const nlohmann::json& sinkIndex) {
    for (const auto& sink : pactlList("short sinks")) {
        if (sink.value("index", -1) == sinkIndex) return sink.value("name", "");
    }
    return {};
}

}  // namespace

std::optional<std::vector<float>> recordSink(const std::string& sink, int channels, double seconds,
                                             const std::string& channelMap) {
    constexpr int rate = 48000;
    // The first quarter second holds what was buffered before the recording began.
    const auto settling = static_cast<std::size_t>(rate / 4 * channels);
    const auto wanted = static_cast<std::size_t>(seconds * rate) * channels;
    const std::string command =
        "timeout " + std::to_string(static_cast<int>(seconds) + 5) +
        " parec --raw --format=float32le --rate=48000 --channels=" + std::to_string(channels) +
        (channelMap.empty() ? "" : " --channel-map=" + channelMap) + " --latency-msec=20 -d " +
        sink + ".monitor";
    FILE* pipe = ::popen((command + " 2>/dev/null").c_str(), "r");
    if (pipe == nullptr) return std::nullopt;
    std::vector<float> samples(settling + wanted);
    const std::size_t got = std::fread(samples.data(), sizeof(float), samples.size(), pipe);
    ::pclose(pipe);
    if (got < samples.size()) return std::nullopt;
    samples.erase(samples.begin(), samples.begin() + static_cast<std::ptrdiff_t>(settling));
    return samples;
}

std::optional<Levels> measureSink(const std::string& sink) {
    constexpr std::size_t window = 4800 * 2;  // 100 ms of stereo
    const auto samples = recordSink(sink, 2, 1.0);
    if (!samples) return std::nullopt;

    Levels levels;
    std::vector<double> windowLevels;
    for (std::size_t begin = 0; begin + window <= samples->size(); begin += window) {
        double sumOfSquares = 0;
        for (std::size_t i = begin; i < begin + window; ++i) {
            const double sample = (*samples)[i];
            levels.peak = std::max(levels.peak, std::fabs(sample));
            sumOfSquares += sample * sample;
        }
        windowLevels.push_back(std::sqrt(sumOfSquares / window));
    }
    std::nth_element(windowLevels.begin(), windowLevels.begin() + windowLevels.size() / 2,
                     windowLevels.end());
    levels.rms = windowLevels[windowLevels.size() / 2];
    return levels;
}

std::string sinkOfPlayer(pid_t player) {
    for (const auto& input : pactlList("sink-inputs")) {
        const auto& properties = input.value("properties", nlohmann::json::object());
        if (properties.value("application.process.id", "") == std::to_string(player))
            return sinkName(input.value("sink", nlohmann::json(-1)));
    }
    return {};
}

std::vector<std::string> tapSinks() {
    std::vector<std::string> taps;
    for (const auto& sink : pactlList("sinks")) {
        if (sink.value("description", "") == "Sorix System Tap")
            taps.push_back(sink.value("name", ""));
    }
    return taps;
}

std::string defaultSink() {
    std::string name = output("pactl get-default-sink");
    while (!name.empty() && (name.back() == '\n' || name.back() == ' '))
        name.pop_back();
    return name;
}

std::optional<unsigned> moduleOfSink(const std::string& sinkName) {
    for (const auto& sink : pactlList("sinks")) {
        if (sink.value("name", "") != sinkName) continue;
        // A number in the sink list, a string in some others.
        const auto& module = sink["owner_module"];
        if (module.is_number()) return module.get<unsigned>();
        if (module.is_string()) return static_cast<unsigned>(std::stoul(module.get<std::string>()));
    }
    return std::nullopt;
}

std::string sinkProperty(const std::string& sinkName, const std::string& key) {
    for (const auto& sink : pactlList("sinks")) {
        if (sink.value("name", "") != sinkName) continue;
        return sink.value("properties", nlohmann::json::object()).value(key, "");
    }
    return {};
}

}  // namespace sorix::testing
