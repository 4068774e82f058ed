#pragma once

#include <pulse/pulseaudio.h>

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "LatencyTrimmer.h"
#include "PipelineTiming.h"
#include "PulseAudioHardware.h"
#include "RenderSpec.h"

// The parts of the pipeline that the server thread touches for every recorded chunk. Private to
// the PulseAudio layer.
namespace sorix {

// The sink properties that mark a tap and name the process that made it: its pid and its start
// time, so that a reused pid is not taken for the owner.
inline constexpr const char* kTapOwnerProperty = "sorix.tap.owner_pid";
inline constexpr const char* kTapOwnerStartProperty = "sorix.tap.owner_start";
// The tap's sink name stays the same from start to start: a session manager that remembers where
// each stream played then keeps one entry for it rather than one more at every start.
inline constexpr const char* kTapSinkName = "sorix_tap";

// One record stream on the tap's monitor and one playback stream per output. Everything the IO
// path uses is allocated here, before the first chunk arrives.
struct PulseAudioHardware::Aggregate {
    static constexpr std::size_t maxChunkSamples = kMaxBlockSamples;

    AudioObjectID object = 0;
    PulseAudioHardware* owner = nullptr;
    std::string name;
    std::string tapSink;
    uint32_t rate = 48000;
    uint32_t inputChannels = 2;
    PipelineTiming timing = PipelineTiming::forServer(false);
    pa_stream* record = nullptr;
    std::vector<pa_stream*> playback;
    std::vector<uint32_t> playbackChannels;
    int streamsReady = 0;
    bool failed = false;

    AudioDeviceIOBlock block;
    AudioDeviceIOProcID procID = 0;
    std::atomic<bool> running{false};
    double sampleTime = 0;

    std::vector<float> silence = std::vector<float>(maxChunkSamples, 0.0f);
    AudioBuffer inputBuffer{};
    std::vector<AudioBuffer> outputBuffers;
    std::vector<void*> writeAreas;
    std::unique_ptr<LatencyTrimmer> trimmer;
    std::size_t framesSincePositions = 0;
    int positionUpdatesOutstanding = 0;
    bool positionFailed = false;
    std::vector<double> positionFrames;
    // What each playback stream's request callback needs to know which output asks.
    struct OutputSlot {
        Aggregate* aggregate;
        std::size_t output;
    };
    std::vector<OutputSlot> outputSlots;

    bool alive() const { return !failed && streamsReady == static_cast<int>(playback.size()) + 1; }
    // Server thread: everything recorded so far goes through the block to the outputs.
    void pump();
    // Server thread: the output's sink has taken more audio and asks for it.
    void requested(std::size_t output);
    // Renders up to `frames` frames; returns how many the outputs took.
    std::size_t render(const float* input, std::size_t frames);
    // Asks the server where each output's sink is reading, for the trimmer, now and then.
    void askPositions(std::size_t frames);
    void positionArrived(bool success);
};

}  // namespace sorix
