#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "ServerObjects.h"

// What the default output's takeover decides, apart from the server: whose output is the user's
// when a tap begins to stand in, and what a default the server names while it stands in means.
namespace sorix::pulse {

// PipeWire's server may still name the previous default for a moment after it was asked to set
// a new one. Within this time of our own request, the user's own output named again is taken
// for that echo rather than for the user picking it once more.
inline constexpr std::chrono::milliseconds kDefaultEchoWindow{1500};

// The output a user would choose when theirs is gone or was never known: the first real one.
std::string firstRealSink(const std::vector<Sink>& sinks);

// The user's output when a tap begins to stand in. A server that kept a tap as its configured
// default (after a crash of ours or its own) makes the new tap the default the moment it
// appears; the user's output is then the one remembered, if it is still there, or the first
// real one. Empty when there is no real output at all.
std::string userSinkAtTakeover(const std::string& serverDefault, const std::vector<Sink>& sinks,
                               const std::string& remembered);

// The user's new choice, when the server names a default other than the tap while it stands
// in; none when the name is the tap's, another tap's, no sink's, or the echo of our request.
std::optional<std::string> userChoiceIn(const std::string& serverDefault,
                                        const std::vector<Sink>& sinks, const std::string& tapSink,
                                        const std::string& userSink,
                                        std::chrono::steady_clock::duration sinceOwnRequest);

}  // namespace sorix::pulse
