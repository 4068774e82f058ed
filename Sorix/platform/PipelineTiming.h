#pragma once

namespace sorix {

// How big the pieces are that the pipeline moves audio in, on the server it runs on. Each piece
// costs the server and Sorix a wake-up or two, and each adds to the delay, so the sizes are the
// largest that keep the added delay under 30 ms. They differ because the servers schedule
// differently:
// - PulseAudio hands the tap's audio over a fragment at a time and renders each output's sink in
//   blocks of one request.
// - PipeWire runs each group of linked nodes in cycles of the smallest latency any of them asks,
//   rounded down to a power of two frames, and its PulseAudio server passes recorded audio on
//   every cycle whatever the fragment. 512 frames of its 48 kHz clock is the longest cycle that
//   keeps the delay in bounds, on the tap's side as on the outputs'.
struct PipelineTiming {
    double recordFragmentSeconds;
    // An output's sink takes this much at a time, and asks for it back.
    double playbackRequestSeconds;
    // The least each output's queue holds when its sink has just taken a block, whatever the
    // phase between the tap's pieces and the sink's blocks: how late a piece of the tap may come
    // before the sink finds nothing. The trimmer holds the queue, as if the tap delivered
    // continuously, a piece above it. On PipeWire every millisecond of it is one of added delay,
    // and 6 ms kept the delay at 27 ms with no gap; PulseAudio's delay has room for twice that.
    double lowestQueueSeconds;
    // Below this on average over two windows, an output's queue is refilled before it runs dry.
    double refillBelowSeconds;
    // The playback streams' target length, which is only the yardstick of their queues: a queue
    // longer than this reads as this long. PulseAudio's timer-driven sinks (null sinks among
    // them) may have planned up to two seconds ahead when an output joins them, and then take
    // nothing for as long while the output's queue grows; the yardstick must be longer than
    // that for the trimmer to see the whole queue and skip it.
    double queueYardstickSeconds;

    static PipelineTiming forServer(bool pipeWire) {
        constexpr double kPipeWireCycle = 512.0 / 48000.0;
        // PulseAudio's timer-driven sinks (null sinks, among others) advance their clocks by
        // whole microseconds per block: a block of 512 frames at 48 kHz would make them read
        // about 80 parts per million faster than the tap. 10 ms is whole microseconds at every
        // common rate.
        constexpr double kPulseAudioRequest = 0.010;
        if (pipeWire) return {kPipeWireCycle, kPipeWireCycle, 0.006, 0.003, 0.100};
        return {0.020, kPulseAudioRequest, 0.012, 0.006, 2.5};
    }
};

}  // namespace sorix
