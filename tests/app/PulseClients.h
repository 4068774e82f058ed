#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

// The sound server as its own clients see it: pactl for the state, parec for what a sink plays.
// They reach the server of PULSE_SERVER, which the private test server sets.
namespace sorix::testing {

struct Levels {
    double peak = 0;
    double rms = 0;
};

// What the sink plays over a second, taken from its monitor; none if nothing came. The RMS is
// that of the median 100 ms, so that one late chunk on a busy machine does not hide the level.
std::optional<Levels> measureSink(const std::string& sink);
// `seconds` of the sink's monitor as interleaved 48 kHz samples, after a quarter second that
// holds what was queued before the recording. Without a channel map the server's default one
// for that many channels applies, and the server remixes to it.
std::optional<std::vector<float>> recordSink(const std::string& sink, int channels, double seconds,
                                             const std::string& channelMap = {});

// The sink that the stream of the given player process plays to; empty when it has none.
std::string sinkOfPlayer(pid_t player);
// Names of the sinks that are Sorix taps.
std::vector<std::string> tapSinks();
std::string defaultSink();
// The module that made the sink, for pulling it as an unplugged device would go.
std::optional<unsigned> moduleOfSink(const std::string& sink);
// One of the sink's properties; empty when it has no such property or there is no such sink.
std::string sinkProperty(const std::string& sink, const std::string& key);

}  // namespace sorix::testing
