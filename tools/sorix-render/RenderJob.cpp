#include "RenderJob.h"

#include <sndfile.h>

#include <cstdio>
#include <memory>
#include <vector>

#include "DelayFrames.h"
#include "LoudnessProcessor.h"
#include "PendingOutputs.h"
#include "RenderPath.h"

namespace sorix::render {

namespace {

using InputFile = std::unique_ptr<SNDFILE, int (*)(SNDFILE*)>;

RenderFailure usageFailure(std::string message) { return {std::move(message), true}; }
RenderFailure fileFailure(std::string message) { return {std::move(message), false}; }

// Delayed outputs read from a history ring shared by the tap's channels; the render path holds
// back at most what the ring keeps besides the current block and quietly shortens longer delays,
// which would make the file lie about what was asked for.
uint32_t longestDelayFrames(uint32_t channels, uint32_t blockFrames) {
    return static_cast<uint32_t>(RenderBuffers::ringSamples / channels) - blockFrames - 1;
}

std::optional<RenderFailure> checkFits(const RenderOptions& options, uint32_t channels,
                                       double rate) {
    if (channels > kMaxFileChannels) {
        return fileFailure(options.input + " has " + std::to_string(channels) +
                           " channels; at most 64 are supported");
    }
    if (std::size_t{options.blockFrames} * channels > RenderBuffers::scratchSamples) {
        return usageFailure("--block " + std::to_string(options.blockFrames) + ": blocks of " +
                            std::to_string(channels) + " channels hold at most " +
                            std::to_string(RenderBuffers::scratchSamples / channels) + " frames");
    }
    const uint32_t longest = longestDelayFrames(channels, options.blockFrames);
    for (const OutputSpec& output : options.outputs) {
        if (delayFrames(output.delayMs, rate) <= longest) continue;
        char limit[160];
        std::snprintf(limit, sizeof limit,
                      ": a delay of %g ms is longer than the render path keeps for %u channels "
                      "at %g Hz with --block %u (%.1f ms)",
                      output.delayMs, channels, rate, options.blockFrames, longest * 1000.0 / rate);
        return usageFailure("--out " + output.path + limit);
    }
    return std::nullopt;
}

}  // namespace

std::optional<RenderFailure> renderFiles(const RenderOptions& options) {
    SF_INFO inputInfo{};
    const InputFile input(sf_open(options.input.c_str(), SFM_READ, &inputInfo), &sf_close);
    if (!input) return fileFailure("cannot read " + options.input + ": " + sf_strerror(nullptr));
    const auto channels = static_cast<uint32_t>(inputInfo.channels);
    const double rate = inputInfo.samplerate;
    if (auto failure = checkFits(options, channels, rate)) return failure;

    // Configured as a pipeline build configures them for a tap of this rate, then set as the
    // engine's controls set them.
    const auto path = std::make_unique<RenderPath>();
    path->prepare({.sampleRate = rate});
    path->loudness().setBoost(options.boost);
    applyEqualiser(options.equaliser, path->eq());
    RenderBuffers& buffers = path->buffers();
    buffers.processBypass = options.bypass ? 1u : 0u;

    // Everything the loop touches is allocated here, once.
    PendingOutputs files(options.outputs.size());
    std::vector<std::vector<float>> outputBlocks;
    std::vector<AudioBuffer> outputBuffers(options.outputs.size());
    for (std::size_t i = 0; i < options.outputs.size(); ++i) {
        const OutputSpec& spec = options.outputs[i];
        outputBuffers[i].mNumberChannels = spec.channels.value_or(channels);
        outputBlocks.emplace_back(std::size_t{options.blockFrames} *
                                  outputBuffers[i].mNumberChannels);
        outputBuffers[i].mData = outputBlocks.back().data();
        buffers.outputGains[i] = spec.gain;
        buffers.outputDelays[i] = delayFrames(spec.delayMs, rate);
        if (auto error =
                files.add(spec.path, inputInfo.samplerate, outputBuffers[i].mNumberChannels))
            return fileFailure(*error);
    }
    std::vector<float> inputBlock(std::size_t{options.blockFrames} * channels);
    AudioBuffer tap{channels, 0, inputBlock.data()};
    const AudioBufferList inputList{1, &tap};
    AudioBufferList outputList{static_cast<uint32_t>(outputBuffers.size()), outputBuffers.data()};

    for (;;) {
        const sf_count_t frames =
            sf_readf_float(input.get(), inputBlock.data(), options.blockFrames);
        if (frames <= 0) break;
        tap.mDataByteSize = static_cast<uint32_t>(frames * channels * sizeof(float));
        for (AudioBuffer& buffer : outputBuffers)
            buffer.mDataByteSize =
                static_cast<uint32_t>(frames * buffer.mNumberChannels * sizeof(float));
        path->render(inputList, outputList);
        for (std::size_t i = 0; i < outputBlocks.size(); ++i) {
            if (auto error = files.write(i, outputBlocks[i].data(), frames))
                return fileFailure(*error);
        }
    }
    if (sf_error(input.get()) != SF_ERR_NO_ERROR)
        return fileFailure("cannot read " + options.input + ": " + sf_strerror(input.get()));
    if (auto error = files.commit()) return fileFailure(*error);
    return std::nullopt;
}

}  // namespace sorix::render
