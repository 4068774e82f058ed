// What sorix_monitor_recorder recorded, measured:
//
//   sorix_monitor_analysis align PREFIX.N...
//       each recording's first frame by arrivals (monotonic clock) and by the server's reports
//       (its clock), with the spread of the estimates (ms)
//   sorix_monitor_analysis offset FROM TO
//       how many seconds after FROM's first frame TO's first frame passed its sink
//   sorix_monitor_analysis clicks FROM TO [--align arrival|server]
//       every click on the right channel of recording FROM, and how much later the same click
//       passes in recording TO: one line "SECONDS DELAY_MS", or "SECONDS lost" when TO has none
//       within the next 480 ms (a click every 500 ms at most is what keeps the match unique);
//       SECONDS counts from the start of FROM
//   sorix_monitor_analysis gaps PREFIX.N [--skip SECONDS]
//       every run of at least 2 ms (96 frames) of near silence (below 0.01) on the left channel,
//       which carries a continuous tone: one line "SECONDS LENGTH_MS" each
//   sorix_monitor_analysis sine PREFIX.N [--skip SECONDS]
//       follows the continuous 47 Hz sine on the left channel: "drift PPM discontinuities N",
//       how much faster the source ran than the sink, then one line "SECONDS FRAMES" for each
//       skip (+) or gap (-)
//   sorix_monitor_analysis sine-offset FROM TO [--skip SECONDS]
//       how far TO plays the same sine behind FROM, on one timeline: "first min median max
//       last" in ms, known up to one period of the sine (21.3 ms), so near zero for outputs
//       meant to play in step
//
// PREFIX.N names a recording without its .f32, .reads or .reports ending.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "MonitorMeasures.h"
#include "MonitorTimeline.h"
#include "SineTrack.h"

namespace {

using sorix::bench::Alignment;
using sorix::bench::kRate;
using sorix::bench::Recording;
using sorix::bench::StartTime;

int usage() {
    std::fprintf(stderr,
                 "usage: sorix_monitor_analysis align PREFIX.N...\n"
                 "       sorix_monitor_analysis offset FROM TO\n"
                 "       sorix_monitor_analysis clicks FROM TO [--align arrival|server]\n"
                 "       sorix_monitor_analysis gaps PREFIX.N [--skip SECONDS]\n"
                 "       sorix_monitor_analysis sine PREFIX.N [--skip SECONDS]\n"
                 "       sorix_monitor_analysis sine-offset FROM TO [--skip SECONDS]\n");
    return 2;
}

bool load(const std::string& prefix, Recording& recording) {
    if (sorix::bench::loadRecording(prefix, recording)) return true;
    std::fprintf(stderr, "cannot read the recording %s (.f32, .reads, .reports)\n", prefix.c_str());
    return false;
}

int align(const std::vector<std::string>& prefixes) {
    for (const std::string& prefix : prefixes) {
        Recording recording;
        if (!load(prefix, recording)) return 1;
        const StartTime arrival = startTime(recording, Alignment::arrival);
        const StartTime server = startTime(recording, Alignment::server);
        std::printf(
            "%s arrival %.3f ms (spread %.3f over %zu s) server %.3f ms (spread %.3f over "
            "%zu s)\n",
            prefix.c_str(), arrival.ns / 1e6, arrival.spreadNs / 1e6, arrival.estimates,
            server.ns / 1e6, server.spreadNs / 1e6, server.estimates);
    }
    return 0;
}

// How many seconds after FROM's first frame TO's first frame passed its sink, by the server's
// reports; false when either recording has none to go by.
bool startsApart(const Recording& from, const Recording& to, double& seconds) {
    const StartTime fromStart = startTime(from, Alignment::server);
    const StartTime toStart = startTime(to, Alignment::server);
    if (!fromStart.valid() || !toStart.valid()) return false;
    seconds = (toStart.ns - fromStart.ns) / 1e9;
    return true;
}

int offset(const std::string& fromPrefix, const std::string& toPrefix) {
    Recording from;
    Recording to;
    double seconds = 0;
    if (!load(fromPrefix, from) || !load(toPrefix, to) || !startsApart(from, to, seconds)) return 1;
    std::printf("%.6f\n", seconds);
    return 0;
}

int clicks(const std::string& fromPrefix, const std::string& toPrefix, Alignment alignment) {
    Recording from;
    Recording to;
    if (!load(fromPrefix, from) || !load(toPrefix, to)) return 1;
    const StartTime fromStart = startTime(from, alignment);
    const StartTime toStart = startTime(to, alignment);
    if (!fromStart.valid() || !toStart.valid()) {
        std::fprintf(stderr, "too short a recording to place on the timeline\n");
        return 1;
    }
    std::printf("# start of TO after FROM: %.3f ms; spread of the estimates %.3f and %.3f ms\n",
                (toStart.ns - fromStart.ns) / 1e6, fromStart.spreadNs / 1e6,
                toStart.spreadNs / 1e6);
    // Both on the one clock, in seconds.
    std::vector<double> sent = sorix::bench::clickEdges(from);
    std::vector<double> passed = sorix::bench::clickEdges(to);
    for (double& edge : sent)
        edge = fromStart.ns / 1e9 + edge / kRate;
    for (double& edge : passed)
        edge = toStart.ns / 1e9 + edge / kRate;
    const double toEnd = toStart.ns / 1e9 + static_cast<double>(to.frames()) / kRate;
    for (const auto& click : sorix::bench::matchClicks(sent, passed, toEnd)) {
        const double since = click.sentSeconds - fromStart.ns / 1e9;
        if (click.lost)
            std::printf("%.3f lost\n", since);
        else
            std::printf("%.3f %.3f\n", since, click.delaySeconds * 1e3);
    }
    return 0;
}

int gaps(const std::string& prefix, double skipSeconds) {
    Recording recording;
    if (!load(prefix, recording)) return 1;
    const auto first = static_cast<std::size_t>(skipSeconds * kRate);
    for (const auto& gap : sorix::bench::silentGaps(recording, first))
        std::printf("%.3f %.2f\n", static_cast<double>(gap.firstFrame) / kRate,
                    static_cast<double>(gap.frames) * 1e3 / kRate);
    return 0;
}

constexpr double kSineFrequency = 47;

int sine(const std::string& prefix, double skipSeconds) {
    Recording recording;
    if (!load(prefix, recording)) return 1;
    const auto blocks = sorix::bench::trackSine(recording, 0, kSineFrequency,
                                                static_cast<std::size_t>(skipSeconds * kRate));
    const auto found = sorix::bench::discontinuities(blocks);
    std::printf("drift %.1f discontinuities %zu\n", sorix::bench::driftPpm(blocks), found.size());
    for (const auto& jump : found)
        std::printf("%.3f %.2f\n", static_cast<double>(jump.frame) / kRate, jump.frames);
    return 0;
}

int sineOffset(const std::string& fromPrefix, const std::string& toPrefix, double skipSeconds) {
    Recording from;
    Recording to;
    double apart = 0;
    if (!load(fromPrefix, from) || !load(toPrefix, to) || !startsApart(from, to, apart)) return 1;
    // TO's frame m passed its sink when FROM's frame m + shift passed its own.
    const double shift = apart * kRate;
    const auto skip = static_cast<std::size_t>(skipSeconds * kRate);
    const auto fromBlocks = sorix::bench::trackSine(from, 0, kSineFrequency, skip);
    const auto toBlocks = sorix::bench::trackSine(to, 0, kSineFrequency, 0);
    if (fromBlocks.empty() || toBlocks.empty()) return 1;
    const std::vector<double> offsets =
        sorix::bench::offsetsBehind(fromBlocks, toBlocks, shift, kSineFrequency);
    if (offsets.empty()) return 1;
    std::vector<double> sorted = offsets;
    std::sort(sorted.begin(), sorted.end());
    const double ms = 1e3 / kRate;
    std::printf("%.3f %.3f %.3f %.3f %.3f\n", offsets.front() * ms, sorted.front() * ms,
                sorted[sorted.size() / 2] * ms, sorted.back() * ms, offsets.back() * ms);
    return 0;
}

// "--skip SECONDS" at arguments[at], if there.
bool skipOption(const std::vector<std::string>& arguments, std::size_t at, double& skip) {
    skip = 0.0;
    if (arguments.size() == at) return true;
    if (arguments.size() != at + 2 || arguments[at] != "--skip") return false;
    skip = std::strtod(arguments[at + 1].c_str(), nullptr);
    return skip >= 0.0 && skip < 36000.0;
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments.empty()) return usage();
    const std::string& command = arguments[0];
    if (command == "align" && arguments.size() >= 2)
        return align({arguments.begin() + 1, arguments.end()});
    if (command == "offset" && arguments.size() == 3) return offset(arguments[1], arguments[2]);
    if (command == "clicks" && (arguments.size() == 3 || arguments.size() == 5)) {
        Alignment alignment = Alignment::arrival;
        if (arguments.size() == 5) {
            if (arguments[3] != "--align") return usage();
            if (arguments[4] == "server")
                alignment = Alignment::server;
            else if (arguments[4] != "arrival")
                return usage();
        }
        return clicks(arguments[1], arguments[2], alignment);
    }
    if (command == "gaps" && (arguments.size() == 2 || arguments.size() == 4)) {
        double skip = 0.0;
        if (arguments.size() == 4) {
            if (arguments[2] != "--skip") return usage();
            skip = std::strtod(arguments[3].c_str(), nullptr);
            if (!(skip >= 0.0 && skip < 3600.0)) return usage();
        }
        return gaps(arguments[1], skip);
    }
    double skip = 0.0;
    if (command == "sine" && arguments.size() >= 2 && skipOption(arguments, 2, skip))
        return sine(arguments[1], skip);
    if (command == "sine-offset" && arguments.size() >= 3 && skipOption(arguments, 3, skip))
        return sineOffset(arguments[1], arguments[2], skip);
    return usage();
}
