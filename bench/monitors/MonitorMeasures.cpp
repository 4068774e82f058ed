#include "MonitorMeasures.h"

#include <cmath>

namespace sorix::bench {

namespace {

constexpr int kToneChannel = 0;
constexpr int kClickChannel = 1;

}  // namespace

std::vector<double> clickEdges(const Recording& recording) {
    std::vector<double> edges;
    const auto refractory = static_cast<std::size_t>(kClickRefractorySeconds * kRate);
    std::size_t quietSince = 0;
    for (std::size_t frame = 1; frame < recording.frames(); ++frame) {
        const float now = recording.at(frame, kClickChannel);
        if (now < kClickThreshold) continue;
        const float before = recording.at(frame - 1, kClickChannel);
        if (before < kClickThreshold && frame >= quietSince) {
            const double fraction = (kClickThreshold - before) / (now - before);
            edges.push_back(static_cast<double>(frame - 1) + fraction);
        }
        quietSince = frame + refractory;
    }
    return edges;
}

std::vector<ClickDelay> matchClicks(const std::vector<double>& sent,
                                    const std::vector<double>& passed, double passedEnd) {
    std::vector<ClickDelay> delays;
    std::size_t next = 0;
    for (double at : sent) {
        if (at + kLatestMatchSeconds > passedEnd) break;
        while (next < passed.size() && passed[next] < at + kEarliestMatchSeconds)
            ++next;
        if (next < passed.size() && passed[next] - at <= kLatestMatchSeconds) {
            delays.push_back({at, passed[next] - at, false});
            ++next;
        } else {
            delays.push_back({at, 0.0, true});
        }
    }
    return delays;
}

std::vector<Gap> silentGaps(const Recording& recording, std::size_t fromFrame) {
    std::vector<Gap> gaps;
    std::size_t quiet = 0;
    const auto close = [&](std::size_t end) {
        if (quiet >= kGapFrames) gaps.push_back({end - quiet, quiet});
        quiet = 0;
    };
    for (std::size_t frame = fromFrame; frame < recording.frames(); ++frame) {
        if (std::fabs(recording.at(frame, kToneChannel)) < kSilenceFloor)
            ++quiet;
        else
            close(frame);
    }
    close(recording.frames());
    return gaps;
}

}  // namespace sorix::bench
