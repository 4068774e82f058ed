#include "GuardianRecord.h"

#include <charconv>

namespace sorix::pulse {

namespace {

std::optional<uint32_t> indexIn(std::string_view text) {
    uint32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

// Splits "word rest" at its first space; the rest is empty without one.
std::pair<std::string_view, std::string_view> firstWord(std::string_view line) {
    const auto space = line.find(' ');
    if (space == std::string_view::npos) return {line, {}};
    return {line.substr(0, space), line.substr(space + 1)};
}

}  // namespace

std::string GuardianRecord::tapLine(uint32_t module) { return "tap " + std::to_string(module); }
std::string GuardianRecord::untapLine(uint32_t module) { return "untap " + std::to_string(module); }
std::string GuardianRecord::movedLine(uint32_t input, const std::string& home) {
    return "moved " + std::to_string(input) + " " + home;
}
std::string GuardianRecord::forgetLine(uint32_t input) { return "forget " + std::to_string(input); }
std::string GuardianRecord::defaultLine(const std::string& userSink) {
    return "default " + userSink;
}
std::string GuardianRecord::noDefaultLine() { return "nodefault"; }
std::string GuardianRecord::lostLine() { return "lost"; }

bool GuardianRecord::apply(std::string_view line) {
    const auto [word, rest] = firstWord(line);
    if (word == "lost" && rest.empty()) {
        // A server that comes back knows none of the old modules and streams; the default that
        // the user chose is still theirs.
        taps.clear();
        moved.clear();
        return true;
    }
    if (word == "nodefault" && rest.empty()) {
        userDefault.reset();
        return true;
    }
    if (word == "default") {
        if (rest.empty()) return false;
        userDefault = std::string(rest);
        return true;
    }
    if (word == "moved") {
        const auto [input, home] = firstWord(rest);
        const auto index = indexIn(input);
        if (!index || home.empty()) return false;
        moved[*index] = std::string(home);
        return true;
    }
    const auto index = indexIn(rest);
    if (!index) return false;
    if (word == "tap") return taps.insert(*index), true;
    if (word == "untap") return taps.erase(*index), true;
    if (word == "forget") return moved.erase(*index), true;
    return false;
}

}  // namespace sorix::pulse
