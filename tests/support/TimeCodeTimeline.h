#pragma once

#include <cstdint>
#include <vector>

#include "TimeCode.h"
#include "TimeCodeSearch.h"

// From each window's match to the report: matched windows joined into segments, their ends
// placed to the frame, dropouts inside them, and what lies between them.
namespace sorix::testing::timecode {

// The longest an equaliser's ringing into silence may last, in windows.
inline constexpr std::int64_t kRingingWindows = 4;

// The recording's windows: all of one length but the last, which takes what remains, so that no
// window is too short to correlate.
struct Grid {
    Grid(std::int64_t frames, std::int64_t window);
    std::int64_t begin(std::size_t i) const { return static_cast<std::int64_t>(i) * window; }
    std::int64_t end(std::size_t i) const { return i + 1 == count ? frames : begin(i + 1); }

    std::int64_t frames;
    std::int64_t window;
    std::size_t count;
};

struct WindowMatch {
    enum class Kind : std::uint8_t { silent, matched, unmatched };
    Kind kind = Kind::unmatched;
    std::int64_t lag = 0;
};

// What the report is made from.
struct Scene {
    const Grid& grid;
    const Track& recording;
    const Track& source;
    const TimeCodeOptions& options;
    const std::vector<WindowMatch>& windows;
    // In frames.
    std::int64_t minimumGap;

    // The squared error of the source, at that lag and gain, as a guess at recording frame n.
    double error(std::int64_t n, std::int64_t lag, double gain) const {
        const double e = recording.at(n) - gain * source.at(n + lag);
        return e * e;
    }
    // The same for a guess of silence.
    double silenceError(std::int64_t n) const { return recording.at(n) * recording.at(n); }
    // The lag of the windows [from, to) together: one window's own may be a frame off where an
    // equaliser's delay falls between two frames.
    std::int64_t settledLag(std::size_t from, std::size_t to) const;
};

// A segment of matched windows [first, last] with its ends placed at frames [start, end).
struct PlacedSegment {
    std::size_t first = 0;
    std::size_t last = 0;
    std::int64_t start = 0;
    std::int64_t end = 0;
    std::int64_t startLag = 0;
    std::int64_t endLag = 0;
    double startGain = 1;
    double endGain = 1;
};

// Where sound dropped out of a segment that otherwise plays in step: recording frames
// [start, end), with the segment's lag there.
struct Dropout {
    std::int64_t start = 0;
    std::int64_t end = 0;
    std::int64_t lag = 0;
};

std::vector<Dropout> findDropouts(const Scene& scene, const PlacedSegment& segment);
// The report's gaps and other sound, from its segments.
void describeBetween(const Scene& scene, TimeCodeReport& report);
TimeCodeReport buildReport(const Scene& scene);

}  // namespace sorix::testing::timecode
