#include "TimeCodeTimeline.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "TimeCodeSplit.h"

namespace sorix::testing::timecode {

namespace {

// Windows in a row at one new lag before a segment takes it as its own: a lag that flickers
// by a frame is an equaliser's delay falling between two frames; one that stays is drift.
constexpr std::size_t kSettleWindows = 8;

std::int64_t mostCommonLag(const std::vector<WindowMatch>& windows, std::size_t from,
                           std::size_t to) {
    std::map<std::int64_t, int> counts;
    for (std::size_t i = from; i < to; ++i)
        ++counts[windows[i].lag];
    return std::max_element(counts.begin(), counts.end(),
                            [](const auto& a, const auto& b) { return a.second < b.second; })
        ->first;
}

std::vector<PlacedSegment> joinWindows(const Scene& scene) {
    std::vector<PlacedSegment> segments;
    bool open = false;
    std::int64_t settled = 0;
    std::int64_t newest = 0;
    std::size_t newestCount = 0;
    for (std::size_t i = 0; i < scene.windows.size(); ++i) {
        if (scene.windows[i].kind != WindowMatch::Kind::matched) {
            open = false;
            continue;
        }
        const std::int64_t lag = scene.windows[i].lag;
        if (open && std::abs(lag - settled) <= 1) {
            segments.back().last = i;
            newestCount = lag == newest ? newestCount + 1 : 1;
            newest = lag;
            if (newestCount >= kSettleWindows) settled = newest;
            continue;
        }
        segments.push_back({i, i, scene.grid.begin(i), 0, 0, 0, 1, 1});
        open = true;
        settled = newest = lag;
        newestCount = 1;
    }
    for (PlacedSegment& segment : segments)
        segment.end = scene.grid.end(segment.last);
    return segments;
}

// The lags at either end, over the windows there, and the gains from the window next to each
// end, clear of whatever the end window shares with its neighbour; with a changing gain, that
// is close enough.
void measure(const Scene& scene, PlacedSegment& segment) {
    const Grid& grid = scene.grid;
    const std::size_t count = std::min(kSettleWindows, segment.last + 1 - segment.first);
    segment.startLag = scene.settledLag(segment.first, segment.first + count);
    segment.endLag = scene.settledLag(segment.last + 1 - count, segment.last + 1);
    const bool inner = segment.last > segment.first;
    const std::size_t head = inner ? segment.first + 1 : segment.first;
    const std::size_t tail = inner ? segment.last - 1 : segment.last;
    segment.startGain = gainAt(scene.recording, scene.source, grid.begin(head),
                               grid.end(head) - grid.begin(head), segment.startLag);
    segment.endGain = gainAt(scene.recording, scene.source, grid.begin(tail),
                             grid.end(tail) - grid.begin(tail), segment.endLag);
}

// Where a segment would run past the end of the source: it may not, though the source's silence
// there fits silence in the recording as well as silence does.
std::int64_t sourceEnd(const Scene& scene, const PlacedSegment& segment) {
    return std::min(scene.recording.size(), scene.source.size() - segment.endLag);
}

// Each end moves by up to a window either way, to where the segment's source stops explaining
// the recording better than silence, or the next segment, does.
void placeEnds(const Scene& scene, std::vector<PlacedSegment>& placed) {
    const std::int64_t w = scene.grid.window;
    const auto silence = [&](std::int64_t n) { return scene.silenceError(n); };
    for (std::size_t k = 0; k < placed.size(); ++k) {
        PlacedSegment& a = placed[k];
        const auto aEnd = [&](std::int64_t n) { return scene.error(n, a.endLag, a.endGain); };
        if (k == 0) {
            const auto aStart = [&](std::int64_t n) {
                return scene.error(n, a.startLag, a.startGain);
            };
            a.start = split(std::max({std::int64_t{0}, a.start - w, -a.startLag}),
                            std::min(a.start + w, a.end), silence, aStart);
        }
        if (k + 1 == placed.size()) {
            a.end = split(std::max(a.start, a.end - w), std::min(a.end + w, sourceEnd(scene, a)),
                          aEnd, silence);
            continue;
        }
        PlacedSegment& b = placed[k + 1];
        const auto bStart = [&](std::int64_t n) { return scene.error(n, b.startLag, b.startGain); };
        if (b.first - a.last > 2) {
            a.end = split(std::max(a.start, a.end - w),
                          std::min({a.end + w, b.start, sourceEnd(scene, a)}), aEnd, silence);
            b.start = split(std::max({b.start - w, a.end, -b.startLag}),
                            std::min(b.start + w, b.end), silence, bStart);
            continue;
        }
        // Next to each other, or a window apart: a silence between them may be shorter than a
        // window.
        const std::int64_t from = std::max(a.start, a.end - w);
        const std::int64_t to = std::min(b.end, b.start + w);
        auto [end, start] = splitInThree(from, to, aEnd, silence, bStart);
        // Sound that is neither, too short to count, goes to whichever fits it better, so that
        // it moves neither segment's source position.
        if (start - end < scene.minimumGap &&
            scene.recording.rms(end, start) >= scene.options.silenceLevel)
            end = start = split(from, to, aEnd, bStart);
        a.end = end;
        b.start = start;
    }
}

// The segment as it goes into the report: in pieces where sound dropped out of it.
void addSegments(const Scene& scene, const PlacedSegment& segment, TimeCodeReport& report) {
    if (segment.end <= segment.start) return;
    std::int64_t start = segment.start;
    std::int64_t lag = segment.startLag;
    for (const Dropout& dropout : findDropouts(scene, segment)) {
        if (dropout.start > start)
            report.segments.push_back(
                {start, dropout.start - start, start + lag, dropout.start + dropout.lag});
        start = dropout.end;
        lag = dropout.lag;
    }
    if (segment.end > start)
        report.segments.push_back(
            {start, segment.end - start, start + lag, segment.end + segment.endLag});
}

void describeJumps(const Scene& scene, TimeCodeReport& report) {
    for (std::size_t k = 1; k < report.segments.size(); ++k) {
        const TimeCodeSegment& before = report.segments[k - 1];
        const TimeCodeSegment& after = report.segments[k];
        const TimeCodeJump jump{after.recordingStart, before.sourceEnd, after.sourceStart};
        // As within a segment, a single frame is drift, or the rounding of a delay that falls
        // between two frames. Across silence or other sound the jump also carries where the
        // ends were placed, which an equaliser blurs by some frames: there the resolution is
        // that of gaps.
        const bool touching = after.recordingStart == before.recordingEnd();
        const std::int64_t least = touching ? 2 : scene.minimumGap;
        if (jump.sourceTo - jump.sourceFrom >= least) report.skips.push_back(jump);
        if (jump.sourceFrom - jump.sourceTo >= least) report.repeats.push_back(jump);
    }
}

}  // namespace

Grid::Grid(std::int64_t frames, std::int64_t window)
    : frames(frames),
      window(window),
      count(static_cast<std::size_t>(frames >= window ? frames / window
                                     : frames > 0     ? 1
                                                      : 0)) {}

std::int64_t Scene::settledLag(std::size_t from, std::size_t to) const {
    const std::int64_t begin = grid.begin(from);
    return bestNear(recording, source, begin, grid.end(to - 1) - begin,
                    mostCommonLag(windows, from, to), 1)
        .lag;
}

TimeCodeReport buildReport(const Scene& scene) {
    std::vector<PlacedSegment> placed = joinWindows(scene);
    for (PlacedSegment& segment : placed)
        measure(scene, segment);
    placeEnds(scene, placed);
    TimeCodeReport report;
    report.rate = scene.options.rate;
    for (const PlacedSegment& segment : placed)
        addSegments(scene, segment, report);
    describeJumps(scene, report);
    describeBetween(scene, report);
    return report;
}

}  // namespace sorix::testing::timecode
