#pragma once

#include <pulse/pulseaudio.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "AudioHardware.h"
#include "LatencyTrimmer.h"
#include "PipelineTiming.h"
#include "PlayPositions.h"
#include "PulseConnection.h"
#include "RateFollower.h"
#include "RateInterpolator.h"
#include "RenderSpec.h"

namespace sorix::pulse {

// One aggregate device: a record stream on the tap's monitor and one playback stream per output,
// on the streams connection, whose thread runs nothing but them. The IO cycle runs there for
// every chunk recorded and writes straight into the playback streams' buffers; it takes no lock
// and allocates nothing, everything it uses being made here beforehand. The main thread takes
// the loop lock only to set the streams up, start, stop and tear them down.
class AggregateStreams {
  public:
    struct Plan {
        std::string name;
        std::string tapSink;
        uint32_t rate = 48000;
        uint32_t inputChannels = 2;
        std::vector<std::string> outputs;  // sink names; the first is the clock
        std::vector<uint32_t> outputChannels;
        PipelineTiming timing = PipelineTiming::forServer(false);
    };
    // Called on the streams' thread when the device comes alive or dies.
    using AliveChanged = std::function<void()>;
    // Where failed requests are told, from any thread.
    using Report = std::function<void(const std::string& problem)>;

    // Loop lock held, for this and everything below unless said otherwise.
    AggregateStreams(Plan plan, PulseConnection& connection, AliveChanged aliveChanged,
                     Report report);
    ~AggregateStreams();
    AggregateStreams(const AggregateStreams&) = delete;
    AggregateStreams& operator=(const AggregateStreams&) = delete;

    // Makes and connects the streams, corked; false when libpulse refuses one.
    bool connect();
    const std::string& name() const { return plan_.name; }
    const std::string& tapSink() const { return plan_.tapSink; }
    // Any thread: every stream is ready and none has failed.
    bool alive() const { return alive_.load(std::memory_order_relaxed); }

    // The IO procedure's block; none stops the cycle from rendering.
    void setBlock(AudioDeviceIOBlock block);
    // The recording runs, its audio not yet used; returns once the server has started it, so
    // that it runs before any stream is moved onto the tap.
    void startRecording();
    // Every output starts from the same queue of silence, uncorked together, and the IO cycle
    // begins to render.
    void startPlayback();
    void stop();

  private:
    static constexpr std::size_t kMaxChunkSamples = kMaxBlockSamples;
    // How often the outputs' positions are compared.
    static constexpr double kPositionSeconds = 0.25;
    struct OutputSlot {
        AggregateStreams* aggregate;
        std::size_t output;
    };

    static void onStreamState(pa_stream* stream, void* self);
    static void onRecorded(pa_stream* stream, std::size_t bytes, void* self);
    static void onRequested(pa_stream* stream, std::size_t bytes, void* slot);
    void streamStateChanged();
    void release();
    void cork(pa_stream* stream, bool corked, bool wait);
    void flush(pa_stream* stream);
    Done reporting(const char* what) const;

    // The IO cycle (AggregateIO.cpp), on the streams' thread.
    // Everything recorded so far goes through the block to the outputs.
    void pump();
    // The output's sink has taken more audio and asks for it.
    void requested(std::size_t output);
    // Renders up to `frames` frames; returns how many the outputs took.
    std::size_t render(const float* input, std::size_t frames);
    // The most input frames whose output fits in `outputFrames` frames of output `output`.
    std::size_t inputFitting(std::size_t output, std::size_t outputFrames) const;
    // Writes what output `output` made of the last `frames` input frames to its stream.
    void play(std::size_t output, std::size_t frames);
    // Now and then: tells the trimmer where each output's sink reads.
    void comparePositions(std::size_t frames);

    Plan plan_;
    PulseConnection& connection_;
    AliveChanged aliveChanged_;
    Report report_;
    pa_stream* record_ = nullptr;
    std::vector<pa_stream*> playback_;
    std::atomic<bool> alive_{false};

    AudioDeviceIOBlock block_;
    std::atomic<bool> running_{false};
    double sampleTime_ = 0;
    std::vector<float> silence_ = std::vector<float>(kMaxChunkSamples, 0.0f);
    AudioBuffer inputBuffer_{};
    std::vector<AudioBuffer> outputBuffers_;
    std::vector<void*> writeAreas_;
    std::vector<OutputSlot> outputSlots_;
    LatencyTrimmer trimmer_;
    // Each output follows its sink's clock: the block renders into `rendered_`, and the
    // interpolator plays that at the rate its follower steers.
    std::vector<std::vector<float>> rendered_;
    std::vector<RateInterpolator> interpolators_;
    std::vector<RateFollower> followers_;
    std::chrono::steady_clock::time_point lastPiece_{};

    PlayPositions positions_;
    std::size_t framesSincePositions_ = 0;
    std::vector<double> positionFrames_;
};

}  // namespace sorix::pulse
