#include "PulseClients.h"

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

std::optional<Levels> measureSink(const std::string& sink) {
    constexpr int rate = 48000;
    constexpr int channels = 2;
    // The first quarter second holds what was buffered before the recording began.
    constexpr std::size_t settling = rate / 4 * channels;
    constexpr std::size_t measured = rate * channels;
    const std::string command =
        "timeout 5 parec --raw --format=float32le --rate=48000 --channels=2 "
        "--latency-msec=20 -d " +
        sink + ".monitor";
    FILE* pipe = ::popen((command + " 2>/dev/null").c_str(), "r");
    if (pipe == nullptr) return std::nullopt;
    std::vector<float> samples(settling + measured);
    const std::size_t got = std::fread(samples.data(), sizeof(float), samples.size(), pipe);
    ::pclose(pipe);
    if (got < samples.size()) return std::nullopt;

    Levels levels;
    double sumOfSquares = 0;
    for (std::size_t i = settling; i < samples.size(); ++i) {
        levels.peak = std::max(levels.peak, std::fabs(static_cast<double>(samples[i])));
        sumOfSquares += static_cast<double>(samples[i]) * samples[i];
    }
    levels.rms = std::sqrt(sumOfSquares / measured);
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

}  // namespace sorix::testing
