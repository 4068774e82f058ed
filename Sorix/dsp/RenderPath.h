#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "AudioBuffer.h"
#include "EQProcessor.h"
#include "LoudnessProcessor.h"
#include "RelaxedAtomic.h"
#include "RenderSpec.h"

namespace sorix {

// Every buffer and shared word the render path touches. Allocated once by the owner, never moved
// or resized; the control side changes contents, never addresses.
struct RenderBuffers {
    static constexpr std::size_t scratchSamples = kMaxBlockSamples;
    static constexpr std::size_t ringSamples = 1'048'576;
    // Per-output parameters are addressed by output buffer index; index 31 serves 31 and above.
    static constexpr std::size_t outputSlots = 32;

    // Counters and peaks the health checks, the meter log and the level display read. A peak
    // slot holds the bit pattern of a float in its low 32 bits.
    enum Diagnostic : std::size_t {
        callbacks,
        inputBuffers,
        inputBytes,
        inputPeak,        // only rises until the meter log zeroes it
        outputPeak,       // likewise, after processing
        latestOutputPeak  // the last output buffer's peak of the last cycle
    };
    static constexpr std::size_t diagnosticSlots = 6;

    RenderBuffers();

    // The largest block a cycle processes, in samples; set while no IO cycle runs.
    std::size_t maxBlockSamples = scratchSamples;

    std::unique_ptr<float[]> scratch;         // the current block, processed in place
    std::unique_ptr<float[]> delayedScratch;  // one output's delayed copy read from the ring
    std::unique_ptr<float[]> historyRing;     // interleaved processed history
    int64_t ringWritePos = 0;                 // next ring frame; render thread only

    // Linear, 1.0 each; one that is not finite plays as silence.
    std::array<RelaxedAtomic<float>, outputSlots> outputGains;
    std::array<RelaxedAtomic<uint32_t>, outputSlots> outputDelays;  // frames, 0 each
    RelaxedAtomic<uint32_t> processBypass{0};  // 1 = transparent: no boost, limiter or EQ
    RelaxedAtomic<uint64_t> samplesRendered{0};
    std::array<RelaxedAtomic<uint64_t>, diagnosticSlots> ioDiagnostics;

    // Silences the history and rewinds it; only while no IO cycle runs.
    void resetHistory() noexcept;

    float peak(Diagnostic slot) const noexcept;
};

// The render path whole: its buffers and both processors, prepared together for a pipeline and
// handed to the IO procedure as one object. Allocated once; preparing and resetting never
// allocate, so a pipeline can be rebuilt at any time without touching the heap.
class RenderPath {
  public:
    RenderPath();
    RenderPath(const RenderPath&) = delete;
    RenderPath& operator=(const RenderPath&) = delete;

    // Sets the processors for a pipeline's rate and largest block and rewinds the delay
    // history, which holds audio of the last pipeline. The limiter's envelope carries on. Only
    // while no IO cycle runs; a rate that is not a positive finite number keeps the previous one.
    void prepare(const RenderSpec& spec) noexcept;
    // Forgets all past audio: the history, the envelope and the filter memories. Only while no
    // IO cycle runs.
    void reset() noexcept;
    const RenderSpec& spec() const noexcept { return spec_; }

    LoudnessProcessor& loudness() noexcept { return loudness_; }
    const LoudnessProcessor& loudness() const noexcept { return loudness_; }
    EQProcessor& eq() noexcept { return eq_; }
    const EQProcessor& eq() const noexcept { return eq_; }
    RenderBuffers& buffers() noexcept { return buffers_; }
    const RenderBuffers& buffers() const noexcept { return buffers_; }

    // One IO cycle (renderIOCycle); real-time safe.
    void render(const AudioBufferList& input, AudioBufferList& output) noexcept;

  private:
    RenderSpec spec_;
    LoudnessProcessor loudness_;
    EQProcessor eq_;
    RenderBuffers buffers_;
};

// Loud enough to be far beyond any real signal, small enough that boost, equaliser and output
// gain can never overflow it to infinity.
inline constexpr float kInputSampleLimit = 1'048'576.0f;

// One IO cycle: counts it, measures input peaks, processes and fans out the tap's block, then
// measures output peaks. Real-time safe; never fails.
void renderIOCycle(const AudioBufferList& input, AudioBufferList& output, EQProcessor& eq,
                   LoudnessProcessor& processor, RenderBuffers& buffers) noexcept;

// Silences every output, takes the last input buffer as the tap's block, boosts, limits and
// equalises it (unless bypassed), records it in the history ring and writes every output with
// its own gain, delay and channel mapping.
void copyAndProcess(const AudioBufferList& input, AudioBufferList& output, EQProcessor& eq,
                    LoudnessProcessor& processor, RenderBuffers& buffers) noexcept;

}  // namespace sorix
