#include "RenderPath.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

#include "VectorOps.h"

namespace sorix {

namespace {

constexpr uint64_t kFloatBytes = sizeof(float);

// A list whose buffer array is missing counts as empty.
inline uint32_t bufferCount(const AudioBufferList& list) noexcept {
    return list.mBuffers == nullptr ? 0 : list.mNumberBuffers;
}

inline uint64_t channelsOf(const AudioBuffer& buffer) noexcept {
    return std::max<uint64_t>(1, buffer.mNumberChannels);
}

inline void raisePeak(RelaxedAtomic<uint64_t>& slot, float peak) noexcept {
    if (peak > std::bit_cast<float>(static_cast<uint32_t>(slot.load()))) {
        slot = std::bit_cast<uint32_t>(peak);
    }
}

// Zero-fills a buffer from byte `offset` to its end.
inline void silenceFrom(AudioBuffer& buffer, uint64_t offset) noexcept {
    if (buffer.mData == nullptr || offset >= buffer.mDataByteSize) return;
    std::memset(static_cast<char*>(buffer.mData) + offset, 0, buffer.mDataByteSize - offset);
}

// Copies `frames` frames of `channels` channels from the ring, starting at ring frame `start`
// and wrapping at `ringFrames`.
void readRing(const float* ring, int64_t ringFrames, int64_t start, int64_t frames,
              int64_t channels, float* to) noexcept {
    const int64_t firstPart = std::min(frames, ringFrames - start);
    std::memcpy(to, ring + start * channels,
                static_cast<std::size_t>(firstPart * channels) * sizeof(float));
    if (firstPart < frames) {
        std::memcpy(to + firstPart * channels, ring,
                    static_cast<std::size_t>((frames - firstPart) * channels) * sizeof(float));
    }
}

void writeRing(float* ring, int64_t ringFrames, int64_t start, int64_t frames, int64_t channels,
               const float* from) noexcept {
    const int64_t firstPart = std::min(frames, ringFrames - start);
    std::memcpy(ring + start * channels, from,
                static_cast<std::size_t>(firstPart * channels) * sizeof(float));
    if (firstPart < frames) {
        std::memcpy(ring, from + firstPart * channels,
                    static_cast<std::size_t>((frames - firstPart) * channels) * sizeof(float));
    }
}

}  // namespace

RenderBuffers::RenderBuffers()
    : scratch(std::make_unique<float[]>(scratchSamples)),
      delayedScratch(std::make_unique<float[]>(scratchSamples)),
      historyRing(std::make_unique<float[]>(ringSamples)) {
    for (auto& gain : outputGains)
        gain = 1.0f;
}

void RenderBuffers::resetHistory() noexcept {
    std::fill_n(historyRing.get(), ringSamples, 0.0f);
    ringWritePos = 0;
}

RenderPath::RenderPath() { prepare(spec_); }

void RenderPath::prepare(const RenderSpec& spec) noexcept {
    if (spec.sampleRate > 0 && std::isfinite(spec.sampleRate)) spec_.sampleRate = spec.sampleRate;
    spec_.maxBlockSamples =
        std::clamp<std::size_t>(spec.maxBlockSamples, 1, RenderBuffers::scratchSamples);
    loudness_.prepare(spec_);
    eq_.prepare(spec_);
    buffers_.maxBlockSamples = spec_.maxBlockSamples;
    buffers_.resetHistory();
}

void RenderPath::reset() noexcept {
    loudness_.reset();
    eq_.reset();
    buffers_.resetHistory();
}

void RenderPath::render(const AudioBufferList& input, AudioBufferList& output) noexcept {
    renderIOCycle(input, output, eq_, loudness_, buffers_);
}

float RenderBuffers::peak(Diagnostic slot) const noexcept {
    return std::bit_cast<float>(static_cast<uint32_t>(ioDiagnostics[slot].load()));
}

SORIX_RENDER_CLONES void renderIOCycle(const AudioBufferList& input, AudioBufferList& output,
                                       EQProcessor& eq, LoudnessProcessor& processor,
                                       RenderBuffers& buffers) noexcept {
    auto& diagnostics = buffers.ioDiagnostics;
    diagnostics[RenderBuffers::callbacks].addFromSingleWriter(1);
    diagnostics[RenderBuffers::inputBuffers].addFromSingleWriter(input.mNumberBuffers);
    for (uint32_t i = 0; i < bufferCount(input); ++i) {
        const AudioBuffer& buffer = input.mBuffers[i];
        diagnostics[RenderBuffers::inputBytes].addFromSingleWriter(buffer.mDataByteSize);
        if (buffer.mData == nullptr) continue;
        raisePeak(diagnostics[RenderBuffers::inputPeak],
                  vec::maxMagnitude(static_cast<const float*>(buffer.mData),
                                    buffer.mDataByteSize / kFloatBytes));
    }

    copyAndProcess(input, output, eq, processor, buffers);

    for (uint32_t i = 0; i < bufferCount(output); ++i) {
        const AudioBuffer& buffer = output.mBuffers[i];
        if (buffer.mData == nullptr) continue;
        const float peak = vec::maxMagnitude(static_cast<const float*>(buffer.mData),
                                             buffer.mDataByteSize / kFloatBytes);
        raisePeak(diagnostics[RenderBuffers::outputPeak], peak);
        diagnostics[RenderBuffers::latestOutputPeak] = std::bit_cast<uint32_t>(peak);
    }
}

SORIX_RENDER_CLONES void copyAndProcess(const AudioBufferList& input, AudioBufferList& output,
                                        EQProcessor& eq, LoudnessProcessor& processor,
                                        RenderBuffers& buffers) noexcept {
    // Whatever is not written below plays as silence. Bytes that will be written are not
    // cleared first: the fan-out clears exactly what it leaves.
    auto silenceAll = [&] {
        for (uint32_t i = 0; i < bufferCount(output); ++i)
            silenceFrom(output.mBuffers[i], 0);
    };

    // The tap's stream comes after any input streams of the sub-devices, which are ignored.
    if (bufferCount(input) == 0) return silenceAll();
    const AudioBuffer& tap = input.mBuffers[input.mNumberBuffers - 1];
    if (tap.mData == nullptr) return silenceAll();
    const uint64_t channels = channelsOf(tap);
    if (tap.mDataByteSize < kFloatBytes * channels) return silenceAll();

    // A block never exceeds the scratch buffers; the rest of a larger one stays silent.
    const uint64_t tapFrames = tap.mDataByteSize / (kFloatBytes * channels);
    const uint64_t samples = std::min<uint64_t>(
        tapFrames * channels, std::min(buffers.maxBlockSamples, RenderBuffers::scratchSamples));
    const auto C = static_cast<int64_t>(channels);
    const auto F = static_cast<int64_t>(samples / channels);
    if (F == 0) return silenceAll();

    float* scratch = buffers.scratch.get();
    // Non-finite samples become silence and absurd ones are held at the limit, so bad input can
    // never poison the limiter's envelope or the filter memories.
    vec::copyFiniteClamped(static_cast<const float*>(tap.mData), scratch, F * channels,
                           kInputSampleLimit);
    if (buffers.processBypass != 1) {
        processor.process(scratch, C, F);
        eq.process(scratch, C, F);
    }

    const auto R = static_cast<int64_t>(RenderBuffers::ringSamples / channels);
    const int64_t w = buffers.ringWritePos % R;
    writeRing(buffers.historyRing.get(), R, w, F, C, scratch);
    buffers.ringWritePos = (w + F) % R;

    for (uint32_t i = 0; i < bufferCount(output); ++i) {
        AudioBuffer& buffer = output.mBuffers[i];
        if (buffer.mData == nullptr) continue;
        const uint64_t D = channelsOf(buffer);
        const auto N = static_cast<int64_t>(
            std::min<uint64_t>(buffer.mDataByteSize / (kFloatBytes * D), static_cast<uint64_t>(F)));
        silenceFrom(buffer, static_cast<uint64_t>(N) * D * kFloatBytes);
        if (N == 0) continue;
        const std::size_t slot = std::min<std::size_t>(i, RenderBuffers::outputSlots - 1);

        const float* source = scratch;
        const int64_t delay = buffers.outputDelays[slot];
        if (delay != 0) {
            const int64_t maxDelay = R - N - 1;
            const int64_t effective = maxDelay > 0 ? std::min(delay, maxDelay) : 0;
            const int64_t start = ((w - effective) % R + R) % R;
            readRing(buffers.historyRing.get(), R, start, N, C, buffers.delayedScratch.get());
            source = buffers.delayedScratch.get();
        }

        // A gain that is not finite plays as silence; x - x is 0 exactly when x is finite.
        const float storedGain = buffers.outputGains[slot];
        const float gain = storedGain - storedGain == 0.0f ? storedGain : 0.0f;
        auto* out = static_cast<float*>(buffer.mData);
        if (static_cast<int64_t>(D) == C) {
            vec::scaledCopy(source, 1, gain, out, 1, static_cast<std::size_t>(N * C));
        } else {
            // A mono tap feeds every channel; extra output channels repeat the last input
            // channel; surplus input channels are dropped.
            for (uint64_t c = 0; c < D; ++c) {
                const auto m = static_cast<int64_t>(std::min<uint64_t>(c, channels - 1));
                vec::scaledCopy(source + m, C, gain, out + c, static_cast<std::ptrdiff_t>(D),
                                static_cast<std::size_t>(N));
            }
        }
        buffers.samplesRendered.addFromSingleWriter(static_cast<uint64_t>(N) * D);
    }
}

}  // namespace sorix
