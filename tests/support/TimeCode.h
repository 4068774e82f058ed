#pragma once

#include <cstdint>
#include <memory>
#include <ostream>
#include <span>
#include <string>
#include <vector>

// Measuring what a sound server did to a known signal: which parts of it a recording holds, in
// what order, and where silence or foreign sound took the place of the rest.
namespace sorix::testing {

// A test signal every few milliseconds of which can be told from any other stretch of it:
// seeded pseudo-random noise, band-limited to 150 Hz - 8 kHz so that equalising the edges of the
// range changes it little, at a constant level whose peak is `peak`. The default peak leaves room
// for a boost of four through a soft limiter before much of it saturates. The same arguments
// give the same samples on every machine.
std::vector<float> makeTimeCode(double seconds, int rate = 48000, std::uint64_t seed = 1,
                                float peak = 0.25f);

// The mono signal on each of `channels` interleaved channels.
std::vector<float> interleave(std::span<const float> mono, int channels);
// One channel of interleaved frames.
std::vector<float> channelOf(std::span<const float> interleaved, int channels, int channel);

// What decides what.
// - Windows: the recording is cut into windows of `windowSeconds`. A window whose RMS is below
//   `silenceLevel` is silent. Any other is matched where its normalised cross-correlation with
//   the source, at some position, reaches `matchThreshold`: indifferent to the gain, and to
//   limiting and equalising that keep the waveform's shape roughly. Else it is unmatched.
// - Segments: matched windows in a row whose positions agree within a frame. Their ends are
//   then placed to the frame, where the source, scaled by its gain there, stops explaining the
//   recording better than silence or the neighbouring segment does: exact for a copy, within
//   some frames where an equaliser rings, within a millisecond or two where other sound much
//   like the source meets it.
// - Gaps: silence of at least `minimumGapSeconds` between two heard parts, judged in steps of
//   that length. Inside a segment, a stretch that long counts as well when it is 20 dB quieter
//   than the source would be there, since an equaliser's ringing can fill a short dropout.
//   Sound quieter than the segment next to it that dies into silence within 20 ms of it is
//   that ringing, and silence too.
// - Jumps: from one segment's source end to the next one's start. A single frame is drift.
//   Across silence or other sound, where the ends' placement enters, jumps shorter than the
//   minimum gap are not reported.
// - Other sound: whatever is neither, at least the minimum gap long.
struct TimeCodeOptions {
    int rate = 48000;
    double windowSeconds = 0.005;
    // -60 dBFS RMS.
    double silenceLevel = 0.001;
    double matchThreshold = 0.6;
    // Shorter silences are too short to call gaps; they still keep the source's continuity, so
    // they show as neither skips nor repeats.
    double minimumGapSeconds = 0.0005;
};

// A stretch of the recording that plays the source continuously. `sourceEnd` is one past the
// last source frame; it differs from sourceStart + frames only when the source drifted against
// the recording's clock, one frame at a time, which resampling between clocks does.
struct TimeCodeSegment {
    std::int64_t recordingStart = 0;
    std::int64_t frames = 0;
    std::int64_t sourceStart = 0;
    std::int64_t sourceEnd = 0;
    std::int64_t recordingEnd() const { return recordingStart + frames; }
};

// A stretch of the recording: a gap, or sound that is not the source.
struct TimeCodeRun {
    std::int64_t recordingStart = 0;
    std::int64_t frames = 0;
};

// Where the source position jumps between one segment and the next: forward (a skip: the source
// frames in between were never heard) or backward (a repeat).
struct TimeCodeJump {
    // Where the later segment starts.
    std::int64_t recordingPosition = 0;
    std::int64_t sourceFrom = 0;
    std::int64_t sourceTo = 0;
    std::int64_t frames() const {
        return sourceTo > sourceFrom ? sourceTo - sourceFrom : sourceFrom - sourceTo;
    }
};

struct TimeCodeReport {
    int rate = 48000;
    // In recording order.
    std::vector<TimeCodeSegment> segments;
    // Silence between the first and the last heard frame where the source had sound, at least
    // the minimum gap long.
    std::vector<TimeCodeRun> gaps;
    std::vector<TimeCodeJump> skips;
    std::vector<TimeCodeJump> repeats;
    // Sound, anywhere in the recording, that is neither silence nor the source.
    std::vector<TimeCodeRun> unmatched;

    bool heard() const { return !segments.empty(); }
    // The first and last source frame heard, and the recording frames that hold them; only
    // while heard().
    std::int64_t firstSourceFrame() const { return segments.front().sourceStart; }
    std::int64_t firstHeardAt() const { return segments.front().recordingStart; }
    std::int64_t lastSourceFrame() const { return segments.back().sourceEnd - 1; }
    std::int64_t lastHeardAt() const { return segments.back().recordingEnd() - 1; }
    // Source frames skipped over, in all.
    std::int64_t lostFrames() const;
    std::int64_t gapFrames() const;
    std::int64_t unmatchedFrames() const;
    double milliseconds(std::int64_t frames) const { return frames * 1000.0 / rate; }
};

// Every finding, one a line, for a failed test's output.
std::string describe(const TimeCodeReport& report);
inline void PrintTo(const TimeCodeReport& report, std::ostream* out) { *out << describe(report); }

// Maps recordings of one source signal back onto it. Each window is first looked for a few
// frames around where the previous one was found, which is where a recording that keeps time
// has it; only when that fails, near where the source would be after a pause, and then through
// the whole source with a fast correlation (again after longer and longer stretches while
// nothing matches, so foreign sound costs little).
class TimeCodeAnalyser {
  public:
    explicit TimeCodeAnalyser(std::vector<float> source, TimeCodeOptions options = {});
    ~TimeCodeAnalyser();
    TimeCodeAnalyser(const TimeCodeAnalyser&) = delete;
    TimeCodeAnalyser& operator=(const TimeCodeAnalyser&) = delete;

    // The recording is mono, at the options' rate.
    TimeCodeReport analyse(std::span<const float> recording) const;

  private:
    struct Source;
    std::unique_ptr<const Source> source_;
    TimeCodeOptions options_;
};

}  // namespace sorix::testing
