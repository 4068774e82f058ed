#include "RenderJob.h"

#include <sndfile.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <vector>

#include "DelayFrames.h"
#include "LoudnessProcessor.h"
#include "RenderPath.h"

namespace sorix::render {

namespace {

constexpr uint32_t kMaxChannels = 64;

struct SoundFile {
    SNDFILE* handle = nullptr;
    ~SoundFile() {
        if (handle != nullptr) sf_close(handle);
    }
};

// An output being written: its temporary file until the end.
struct PendingOutput {
    std::string path;
    std::string temporary;
    SoundFile file;
    uint32_t channels = 0;
    std::vector<float> block;
};

void removeTemporaries(std::vector<std::unique_ptr<PendingOutput>>& outputs) {
    for (auto& output : outputs) {
        if (output->file.handle != nullptr) {
            sf_close(output->file.handle);
            output->file.handle = nullptr;
        }
        if (!output->temporary.empty()) ::unlink(output->temporary.c_str());
    }
}

}  // namespace

std::optional<std::string> renderFiles(const RenderOptions& options) {
    SF_INFO inputInfo{};
    SoundFile input;
    input.handle = sf_open(options.input.c_str(), SFM_READ, &inputInfo);
    if (input.handle == nullptr)
        return "cannot read " + options.input + ": " + sf_strerror(nullptr);
    const auto channels = static_cast<uint32_t>(inputInfo.channels);
    if (channels == 0 || channels > kMaxChannels) {
        return options.input + " has " + std::to_string(channels) +
               " channels; 1 to 64 are supported";
    }
    if (static_cast<std::size_t>(options.blockFrames) * channels > RenderBuffers::scratchSamples) {
        return "a block of " + std::to_string(options.blockFrames) + " frames of " +
               std::to_string(channels) + " channels does not fit the render buffers (" +
               std::to_string(RenderBuffers::scratchSamples) + " samples)";
    }
    const double rate = inputInfo.samplerate;

    // Configured as a pipeline build configures them for a tap of this rate.
    auto buffers = std::make_unique<RenderBuffers>();
    LoudnessProcessor loudness;
    EQProcessor eq;
    loudness.setSampleRate(rate);
    eq.setSampleRate(static_cast<float>(rate));
    loudness.boost = options.boost;
    applyEqualiser(options.equaliser, eq);
    buffers->processBypass = options.bypass ? 1u : 0u;

    std::vector<std::unique_ptr<PendingOutput>> outputs;
    for (std::size_t i = 0; i < options.outputs.size(); ++i) {
        const OutputSpec& spec = options.outputs[i];
        auto output = std::make_unique<PendingOutput>();
        output->path = spec.path;
        output->channels = spec.channels.value_or(channels);
        output->block.resize(static_cast<std::size_t>(options.blockFrames) * output->channels);
        std::string pattern = spec.path + ".tmp-XXXXXX";
        const int fd = ::mkstemp(pattern.data());
        if (fd < 0) {
            removeTemporaries(outputs);
            return "cannot write " + spec.path;
        }
        output->temporary = pattern;
        SF_INFO outputInfo{};
        outputInfo.samplerate = inputInfo.samplerate;
        outputInfo.channels = static_cast<int>(output->channels);
        outputInfo.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
        output->file.handle = sf_open_fd(fd, SFM_WRITE, &outputInfo, SF_TRUE);
        outputs.push_back(std::move(output));
        if (outputs.back()->file.handle == nullptr) {
            removeTemporaries(outputs);
            return "cannot write " + spec.path + ": " + sf_strerror(nullptr);
        }
        buffers->outputGains[i] = spec.gain;
        buffers->outputDelays[i] = delayFrames(spec.delayMs, rate);
    }

    // One IO cycle per block, over buffers allocated once.
    std::vector<float> inputBlock(static_cast<std::size_t>(options.blockFrames) * channels);
    AudioBuffer tap{channels, 0, inputBlock.data()};
    std::vector<AudioBuffer> outputBuffers(outputs.size());
    const AudioBufferList inputList{1, &tap};
    AudioBufferList outputList{static_cast<uint32_t>(outputBuffers.size()), outputBuffers.data()};
    for (;;) {
        const sf_count_t frames =
            sf_readf_float(input.handle, inputBlock.data(), options.blockFrames);
        if (frames <= 0) break;
        tap.mDataByteSize = static_cast<uint32_t>(frames * channels * sizeof(float));
        for (std::size_t i = 0; i < outputs.size(); ++i) {
            outputBuffers[i] = {
                outputs[i]->channels,
                static_cast<uint32_t>(frames * outputs[i]->channels * sizeof(float)),
                outputs[i]->block.data()};
        }
        renderIOCycle(inputList, outputList, eq, loudness, *buffers);
        for (auto& output : outputs) {
            if (sf_writef_float(output->file.handle, output->block.data(), frames) != frames) {
                const std::string error =
                    "cannot write " + output->path + ": " + sf_strerror(output->file.handle);
                removeTemporaries(outputs);
                return error;
            }
        }
    }
    if (sf_error(input.handle) != SF_ERR_NO_ERROR) {
        const std::string error = "cannot read " + options.input + ": " + sf_strerror(input.handle);
        removeTemporaries(outputs);
        return error;
    }

    for (auto& output : outputs) {
        sf_close(output->file.handle);
        output->file.handle = nullptr;
    }
    for (auto& output : outputs) {
        if (std::rename(output->temporary.c_str(), output->path.c_str()) != 0) {
            const std::string error = "cannot write " + output->path;
            removeTemporaries(outputs);
            return error;
        }
        output->temporary.clear();
    }
    return std::nullopt;
}

void printCurve(const CurveOptions& options, std::ostream& out) {
    const std::vector<float> gains = equaliserGains(options.equaliser);
    const std::vector<float> curve =
        EQProcessor::responseCurveDB(gains, options.sampleRate, options.points);
    char line[64];
    for (int i = 0; i < options.points; ++i) {
        std::snprintf(line, sizeof line, "%.2f %.4f\n",
                      EQProcessor::responseCurveFrequency(i, options.points),
                      curve[static_cast<std::size_t>(i)]);
        out << line;
    }
}

}  // namespace sorix::render
