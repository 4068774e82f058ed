#include <algorithm>
#include <cmath>

#include "TimeCodeTimeline.h"

namespace sorix::testing::timecode {

namespace {

struct Stretch {
    TimeCodeRun run;
    bool silent = false;
};

class Stretches {
  public:
    explicit Stretches(const Scene& scene) : scene_(scene) {}

    // Silence and other sound from `from` to `to`, told apart in steps of the minimum gap.
    // `before` and `after`: the segments on either side, where there are any.
    void describe(TimeCodeReport& report, std::int64_t from, std::int64_t to,
                  const TimeCodeSegment* before, const TimeCodeSegment* after) const {
        const Track& recording = scene_.recording;
        const std::int64_t m = scene_.minimumGap;
        std::vector<Stretch> stretches;
        for (std::int64_t chunk = from; chunk < to; chunk += m) {
            const std::int64_t next = std::min(to, chunk + m);
            const bool silent = recording.rms(chunk, next) < scene_.options.silenceLevel;
            if (stretches.empty() || stretches.back().silent != silent)
                stretches.push_back({{chunk, 0}, silent});
            stretches.back().run.frames += next - chunk;
        }
        // A dropout shorter than the ringing may be filled with it from end to end.
        const std::int64_t w = scene_.grid.window;
        const double level = 2 * recording.rms(from, to);
        if (before != nullptr && after != nullptr && to - from <= kRingingWindows * w &&
            level < recording.rms(from - w, from) && level < recording.rms(to, to + w)) {
            stretches.assign(1, {{from, to - from}, true});
        }
        if (before != nullptr) silenceRinging(stretches, from, to, true);
        if (after != nullptr) {
            std::reverse(stretches.begin(), stretches.end());
            silenceRinging(stretches, from, to, false);
            std::reverse(stretches.begin(), stretches.end());
        }
        for (std::size_t i = 0; i < stretches.size();) {
            TimeCodeRun run = stretches[i].run;
            const bool silent = stretches[i].silent;
            for (++i; i < stretches.size() && stretches[i].silent == silent; ++i)
                run.frames += stretches[i].run.frames;
            record(report, run, silent, after != nullptr ? before : nullptr);
        }
    }

  private:
    // An equaliser rings on for some milliseconds after the sound it was fed stops, dipping
    // under the silence level and back as it dies away, and its delay can move the first
    // sound after silence a frame or so ahead of the source's. Sound next to the segment at
    // the front of `stretches` (at `from` going forward, else at `to`), up to the last of it
    // within the ringing time that silence follows, is ringing if it is quieter than the
    // segment: it turns to silence.
    void silenceRinging(std::vector<Stretch>& stretches, std::int64_t from, std::int64_t to,
                        bool forward) const {
        const Track& recording = scene_.recording;
        const std::int64_t w = scene_.grid.window;
        const double segmentLevel =
            forward ? recording.rms(from - w, from) : recording.rms(to, to + w);
        std::size_t ringing = 0;
        for (std::size_t i = 0; i + 1 < stretches.size(); ++i) {
            const TimeCodeRun& run = stretches[i].run;
            const std::int64_t far = forward ? run.recordingStart + run.frames : run.recordingStart;
            if ((forward ? far - from : to - far) > kRingingWindows * w) break;
            const double level = forward ? recording.rms(from, far) : recording.rms(far, to);
            if (!stretches[i].silent && stretches[i + 1].silent && 2 * level < segmentLevel)
                ringing = i + 1;
        }
        for (std::size_t i = 0; i < ringing; ++i)
            stretches[i].silent = true;
    }

    // `before`: the segment this stretch follows, when another one follows it too.
    void record(TimeCodeReport& report, TimeCodeRun run, bool silent,
                const TimeCodeSegment* before) const {
        if (run.frames < scene_.minimumGap) return;
        if (!silent) return report.unmatched.push_back(run);
        if (before == nullptr) return;
        // Silence where the source, going on from the segment before, was silent too, or over,
        // is no gap: the gap starts where the source has sound.
        const Track& source = scene_.source;
        const double level = scene_.options.silenceLevel;
        const std::int64_t lag = before->sourceEnd - before->recordingEnd();
        const std::int64_t end = run.recordingStart + run.frames;
        std::int64_t start = run.recordingStart;
        while (start < end && source.rms(start + lag, start + lag + scene_.minimumGap) < level)
            start += scene_.minimumGap;
        if (start >= end) return;
        while (start > run.recordingStart && std::abs(source.at(start - 1 + lag)) >= level)
            --start;
        if (end - start >= scene_.minimumGap) report.gaps.push_back({start, end - start});
    }

    const Scene& scene_;
};

}  // namespace

void describeBetween(const Scene& scene, TimeCodeReport& report) {
    const Stretches stretches(scene);
    std::int64_t from = 0;
    for (std::size_t k = 0; k <= report.segments.size(); ++k) {
        const TimeCodeSegment* before = k > 0 ? &report.segments[k - 1] : nullptr;
        const TimeCodeSegment* after = k < report.segments.size() ? &report.segments[k] : nullptr;
        const std::int64_t to = after != nullptr ? after->recordingStart : scene.recording.size();
        stretches.describe(report, from, to, before, after);
        if (after != nullptr) from = after->recordingEnd();
    }
}

}  // namespace sorix::testing::timecode
