#pragma once

#include <optional>
#include <string>
#include <variant>

namespace sorix {

// What `sorix` was asked to do.
struct RunRequest {
    // --boost FACTOR: store this boost (and switch boosting on) before the start.
    std::optional<double> boost;
};
// --snapshot: a picture of the panel written to a PNG file, without a display or a sound server.
struct SnapshotRequest {
    bool showsEQ = false;                 // --eq: the equaliser card instead of the boost card
    std::optional<std::string> preset{};  // --preset NAME, stored as given
    std::string path = "/tmp/sorix_snapshot.png";
};
struct HelpRequest {};
// One line saying what is wrong, for stderr; the program then exits with status 2.
struct UsageError {
    std::string message;
};
using CommandLineRequest = std::variant<RunRequest, SnapshotRequest, HelpRequest, UsageError>;

// Reads the arguments after the program's name. Numbers are read the same in every locale.
CommandLineRequest parseCommandLine(int argc, const char* const* argv);

// The text of `sorix --help`.
extern const char* const kUsage;

}  // namespace sorix
