#include <algorithm>

#include "TimeCodeSplit.h"
#include "TimeCodeTimeline.h"

namespace sorix::testing::timecode {

// A dropout that keeps time leaves the lag as it was on either side, and the windows around it
// mostly matched, so only a look at every frame finds it. It is a stretch of at least the
// minimum gap that is silent, or 20 dB quieter than the source at the segment's gain there
// (an equaliser's ringing can fill a short dropout), where that source would be 20 dB above
// the silence level: a quiet moment of a quiet recording is no dropout.
std::vector<Dropout> findDropouts(const Scene& scene, const PlacedSegment& segment) {
    const Grid& grid = scene.grid;
    const Track& recording = scene.recording;
    const Track& source = scene.source;
    const std::int64_t m = scene.minimumGap;
    const double level = scene.options.silenceLevel;
    const double silentEnergy = level * level * static_cast<double>(m);
    // A window's gain is the larger of its own and its neighbours': a window that holds a
    // dropout holds less of the source.
    std::vector<double> gains;
    for (std::size_t i = segment.first; i <= segment.last; ++i)
        gains.push_back(gainAt(recording, source, grid.begin(i), grid.end(i) - grid.begin(i),
                               scene.windows[i].lag));
    const auto gainNear = [&](std::size_t i) {
        const std::size_t k = i - segment.first;
        double gain = gains[k];
        if (k > 0) gain = std::max(gain, gains[k - 1]);
        if (k + 1 < gains.size()) gain = std::max(gain, gains[k + 1]);
        return gain;
    };
    const auto windowOf = [&](std::int64_t n) {
        return std::clamp(static_cast<std::size_t>(n / grid.window), segment.first, segment.last);
    };
    const auto quiet = [&](std::int64_t n) {
        const std::size_t i = windowOf(n);
        const std::int64_t at = n + scene.windows[i].lag;
        const double heard = recording.energy(n, n + m);
        const double gain = gainNear(i);
        return heard < silentEnergy || 100 * heard < gain * gain * source.energy(at, at + m);
    };
    const auto silence = [&](std::int64_t n) { return scene.silenceError(n); };

    std::vector<Dropout> found;
    for (std::int64_t n = segment.start; n + m <= segment.end; ++n) {
        if (!quiet(n)) continue;
        const std::int64_t first = n;
        while (n + 1 + m <= segment.end && quiet(n + 1))
            ++n;
        const std::int64_t last = n + m;
        const std::size_t window = windowOf(first);
        const std::size_t from = window >= segment.first + 4 ? window - 4 : segment.first;
        const std::int64_t lag = scene.settledLag(from, std::min(segment.last + 1, window + 5));
        const double gain = gainNear(window);
        if (gain * source.rms(first + lag, last + lag) < 10 * level) continue;
        const auto played = [&](std::int64_t k) { return scene.error(k, lag, gain); };
        // Reaching back over any ringing, and on over the equaliser's start.
        const std::int64_t ringing = kRingingWindows * grid.window;
        const std::int64_t start =
            split(std::max(segment.start, first - ringing), first + m, played, silence);
        const std::int64_t end = split(std::max(start, last - m),
                                       std::min(segment.end, last + ringing), silence, played);
        found.push_back({start, end, lag});
    }
    return found;
}

}  // namespace sorix::testing::timecode
