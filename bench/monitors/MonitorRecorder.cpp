// Records several sources of one sound server at once, on one context and one threaded main
// loop, so that the recordings can be put on one timeline afterwards. Two records of each stream
// serve that: for every read, how many frames the stream has delivered so far and when they
// arrived (monotonic clock); and after reads, the server's own account (a timing report),
// which says where its count of the stream stood at a moment of its clock (wall clock) and how
// much of that the sink had rendered ahead of time. sorix_monitor_analysis turns either into the
// moment each stream's first frame passed its sink.
//
//   sorix_monitor_recorder [--fragment-frames N] SECONDS PREFIX SOURCE...
//
// For the Nth source (from 1) it writes PREFIX.N.f32, interleaved stereo float32 at 48 kHz with
// any hole the server reports filled with silence; PREFIX.N.reads, one line per read: frames so
// far, arrival in ns; and PREFIX.N.reports, one line per timing report: the server's time in us,
// the server's count of frames written, the source's and the monitored sink's latency in us.
//
// The streams ask the server for no latency: on PulseAudio a recording of a monitor that asks
// for one also makes the sink render in smaller blocks, which would change what is measured.
#include <pulse/pulseaudio.h>
#include <time.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr uint32_t kRate = 48000;
constexpr uint8_t kChannels = 2;
constexpr std::size_t kFrameBytes = kChannels * sizeof(float);
// PipeWire's PulseAudio server asks its graph for a cycle no longer than a recording's fragment,
// and hands a recording its audio in whole fragments. A power of two this large is a whole number
// of any cycle the pipeline itself runs at, so every fragment ends where a cycle ends, and the
// recorder does not shorten the cycle.
constexpr long kFragmentFrames = 4096;
// Each report costs the server a round trip to the sink's thread, so they are asked for after a
// read at most this often: enough for each second's earliest to be nearly on time, and few
// enough to leave the sinks' timing alone.
constexpr int64_t kReportIntervalNs = 50000000;

int64_t monotonicNs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

struct Read {
    uint64_t frames;
    int64_t arrivalNs;
};

struct Report {
    int64_t serverUs;
    int64_t writtenFrames;
    int64_t sourceUs;
    int64_t sinkUs;
};

struct Recording {
    std::string source;
    pa_stream* stream = nullptr;
    std::vector<float> samples;
    std::vector<Read> reads;
    std::vector<Report> reports;
    uint64_t holeFrames = 0;
    bool reportAsked = false;
    int64_t lastAskedNs = 0;
};

void onReport(pa_stream* stream, int success, void* data) {
    auto* recording = static_cast<Recording*>(data);
    recording->reportAsked = false;
    const pa_timing_info* timing = success != 0 ? pa_stream_get_timing_info(stream) : nullptr;
    // Without clocks in common the server's moment is only an estimate.
    if (timing == nullptr || timing->write_index_corrupt != 0 || timing->synchronized_clocks == 0)
        return;
    recording->reports.push_back({static_cast<int64_t>(pa_timeval_load(&timing->timestamp)),
                                  timing->write_index / static_cast<int64_t>(kFrameBytes),
                                  static_cast<int64_t>(timing->source_usec),
                                  static_cast<int64_t>(timing->sink_usec)});
}

void onRead(pa_stream* stream, size_t, void* data) {
    const int64_t arrival = monotonicNs();
    auto* recording = static_cast<Recording*>(data);
    for (;;) {
        const void* chunk = nullptr;
        size_t bytes = 0;
        if (pa_stream_peek(stream, &chunk, &bytes) < 0 || bytes == 0) break;
        const size_t values = bytes / sizeof(float);
        if (chunk == nullptr) {
            recording->samples.resize(recording->samples.size() + values, 0.0f);
            recording->holeFrames += values / kChannels;
        } else {
            const auto* first = static_cast<const float*>(chunk);
            recording->samples.insert(recording->samples.end(), first, first + values);
        }
        pa_stream_drop(stream);
    }
    recording->reads.push_back({recording->samples.size() / kChannels, arrival});
    if (recording->reportAsked || arrival - recording->lastAskedNs < kReportIntervalNs) return;
    if (pa_operation* asked = pa_stream_update_timing_info(stream, onReport, recording)) {
        recording->reportAsked = true;
        recording->lastAskedNs = arrival;
        pa_operation_unref(asked);
    }
}

void signalLoop(void* loop) {
    pa_threaded_mainloop_signal(static_cast<pa_threaded_mainloop*>(loop), 0);
}

bool writeRecording(const Recording& recording, const std::string& prefix) {
    std::ofstream audio(prefix + ".f32", std::ios::binary);
    audio.write(reinterpret_cast<const char*>(recording.samples.data()),
                static_cast<std::streamsize>(recording.samples.size() * sizeof(float)));
    std::ofstream reads(prefix + ".reads");
    for (const Read& read : recording.reads)
        reads << read.frames << ' ' << read.arrivalNs << '\n';
    std::ofstream reports(prefix + ".reports");
    for (const Report& report : recording.reports)
        reports << report.serverUs << ' ' << report.writtenFrames << ' ' << report.sourceUs << ' '
                << report.sinkUs << '\n';
    return audio.good() && reads.good() && reports.good();
}

int usage() {
    std::fprintf(stderr,
                 "usage: sorix_monitor_recorder [--fragment-frames N] SECONDS PREFIX SOURCE...\n");
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> arguments(argv + 1, argv + argc);
    long fragmentFrames = kFragmentFrames;
    if (arguments.size() >= 2 && arguments[0] == "--fragment-frames") {
        fragmentFrames = std::strtol(arguments[1].c_str(), nullptr, 10);
        arguments.erase(arguments.begin(), arguments.begin() + 2);
    }
    if (arguments.size() < 3 || fragmentFrames < 1 || fragmentFrames > 65536) return usage();
    const double seconds = std::strtod(arguments[0].c_str(), nullptr);
    // Each recording is held in memory until the end: 23 MB a minute, 2.8 GB for two hours.
    if (!(seconds > 0.0 && seconds <= 4 * 3600.0)) return usage();
    const std::string prefix = arguments[1];

    std::vector<std::unique_ptr<Recording>> recordings;
    for (std::size_t i = 2; i < arguments.size(); ++i) {
        auto recording = std::make_unique<Recording>();
        recording->source = arguments[i];
        recording->samples.reserve(static_cast<std::size_t>((seconds + 2.0) * kRate * kChannels));
        recordings.push_back(std::move(recording));
    }

    pa_threaded_mainloop* loop = pa_threaded_mainloop_new();
    pa_context* context =
        pa_context_new(pa_threaded_mainloop_get_api(loop), "Sorix monitor recorder");
    pa_context_set_state_callback(
        context, [](pa_context*, void* l) { signalLoop(l); }, loop);
    pa_threaded_mainloop_lock(loop);
    pa_threaded_mainloop_start(loop);
    bool ready = pa_context_connect(context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) >= 0;
    while (ready && pa_context_get_state(context) != PA_CONTEXT_READY) {
        if (!PA_CONTEXT_IS_GOOD(pa_context_get_state(context))) ready = false;
        if (ready) pa_threaded_mainloop_wait(loop);
    }
    if (!ready) {
        std::fprintf(stderr, "no sound server: %s\n", pa_strerror(pa_context_errno(context)));
        pa_threaded_mainloop_unlock(loop);
        return 1;
    }

    const pa_sample_spec spec{PA_SAMPLE_FLOAT32LE, kRate, kChannels};
    pa_buffer_attr attributes{};
    attributes.maxlength = static_cast<uint32_t>(-1);
    attributes.fragsize = static_cast<uint32_t>(fragmentFrames) * kChannels * sizeof(float);
    const auto flags = static_cast<pa_stream_flags_t>(PA_STREAM_DONT_MOVE | PA_STREAM_START_CORKED);
    for (auto& recording : recordings) {
        recording->stream = pa_stream_new(context, "Sorix monitor recorder", &spec, nullptr);
        pa_stream_set_state_callback(
            recording->stream, [](pa_stream*, void* l) { signalLoop(l); }, loop);
        pa_stream_set_read_callback(recording->stream, onRead, recording.get());
        if (pa_stream_connect_record(recording->stream, recording->source.c_str(), &attributes,
                                     flags) < 0)
            ready = false;
    }
    for (auto& recording : recordings) {
        while (ready && pa_stream_get_state(recording->stream) != PA_STREAM_READY) {
            if (!PA_STREAM_IS_GOOD(pa_stream_get_state(recording->stream))) {
                std::fprintf(stderr, "cannot record %s: %s\n", recording->source.c_str(),
                             pa_strerror(pa_context_errno(context)));
                ready = false;
            }
            if (ready) pa_threaded_mainloop_wait(loop);
        }
    }
    if (!ready) {
        pa_threaded_mainloop_unlock(loop);
        return 1;
    }
    // Uncorked together, so the recordings start within one round trip of each other.
    for (auto& recording : recordings)
        pa_operation_unref(pa_stream_cork(recording->stream, 0, nullptr, nullptr));
    const int64_t uncorked = monotonicNs();
    pa_threaded_mainloop_unlock(loop);

    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));

    pa_threaded_mainloop_lock(loop);
    for (auto& recording : recordings) {
        pa_stream_set_read_callback(recording->stream, nullptr, nullptr);
        pa_stream_disconnect(recording->stream);
        pa_stream_unref(recording->stream);
    }
    pa_context_disconnect(context);
    pa_context_unref(context);
    pa_threaded_mainloop_unlock(loop);
    pa_threaded_mainloop_stop(loop);
    pa_threaded_mainloop_free(loop);

    bool written = true;
    for (std::size_t i = 0; i < recordings.size(); ++i) {
        const Recording& recording = *recordings[i];
        written = writeRecording(recording, prefix + "." + std::to_string(i + 1)) && written;
        const double firstMs =
            recording.reads.empty()
                ? -1.0
                : static_cast<double>(recording.reads.front().arrivalNs - uncorked) / 1e6;
        std::printf(
            "%zu %s: %.3f s in %zu reads, the first %.1f ms after the start, %.1f ms of "
            "holes\n",
            i + 1, recording.source.c_str(),
            static_cast<double>(recording.samples.size() / kChannels) / kRate,
            recording.reads.size(), firstMs,
            static_cast<double>(recording.holeFrames) * 1e3 / kRate);
    }
    return written ? 0 : 1;
}
