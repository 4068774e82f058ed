#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace sorix::pulse {

// The guardian's copy of what Sorix changed on the server, kept from one line per change:
//   tap MODULE | untap MODULE | moved INPUT HOME | forget INPUT | default SINK | nodefault | lost
// Sink names never hold a line break; a HOME may hold spaces, it runs to the end of the line.
class GuardianRecord {
  public:
    static std::string tapLine(uint32_t module);
    static std::string untapLine(uint32_t module);
    static std::string movedLine(uint32_t input, const std::string& home);
    static std::string forgetLine(uint32_t input);
    static std::string defaultLine(const std::string& userSink);
    static std::string noDefaultLine();
    static std::string lostLine();

    // Takes one line, without its line break; false for a line it does not understand, which
    // changes nothing.
    bool apply(std::string_view line);

    bool empty() const { return taps.empty() && moved.empty() && !userDefault; }

    std::set<uint32_t> taps;
    std::map<uint32_t, std::string> moved;  // stream -> the sink it came from
    std::optional<std::string> userDefault;
};

}  // namespace sorix::pulse
