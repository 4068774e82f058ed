// A recording of sorix_monitor_recorder, and the moment its first frame passed its sink.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace sorix::bench {

constexpr double kRate = 48000.0;
constexpr int kChannels = 2;

struct Read {
    uint64_t frames = 0;    // delivered so far, after this read
    int64_t arrivalNs = 0;  // when the read began, on the monotonic clock
};

// The server's count of a stream at one moment of its clock (the wall clock).
struct Report {
    int64_t serverUs = 0;
    int64_t writtenFrames = 0;
    int64_t sourceUs = 0;  // what the source holds that the count does not have yet
    int64_t sinkUs = 0;    // what a monitored sink has rendered ahead of its clock
};

struct Recording {
    std::vector<float> samples;  // interleaved stereo
    std::vector<Read> reads;
    std::vector<Report> reports;

    std::size_t frames() const { return samples.size() / kChannels; }
    float at(std::size_t frame, int channel) const { return samples[frame * kChannels + channel]; }
};

// Reads PREFIX.f32, PREFIX.reads and PREFIX.reports; false if one is missing or unreadable.
bool loadRecording(const std::string& prefix, Recording& recording);

// When the first frame passed the sink, by one method and on that method's clock, with how far
// the estimates of the run's seconds spread.
struct StartTime {
    double ns = 0.0;
    double spreadNs = 0.0;
    std::size_t estimates = 0;
    bool valid() const { return estimates > 0; }
};

// Each read or report gives an estimate that can only be late (by the time it took to deliver or
// to answer), so each second's earliest stands for that second, and their median for the run.
enum class Alignment {
    // Reads: frame n arrives no earlier than start + n / rate plus the least delay the server
    // and this process add. Exact where the server sends a fragment the moment it is complete.
    arrival,
    // The server's reports: its count of frames at a moment of its clock, less what the sink
    // rendered ahead. Independent of how the server cuts the audio into fragments.
    server,
};

// The first `settleSeconds` of the recording are left out: a stream's start can bring a burst.
StartTime startTime(const Recording& recording, Alignment alignment, double settleSeconds = 1.0);

}  // namespace sorix::bench
