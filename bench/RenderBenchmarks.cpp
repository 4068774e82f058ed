// Throughput of the render path and its stages, in frames per second (items processed).
// Run: build/bench/sorix_bench

#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "DelayFrames.h"
#include "EQProcessor.h"
#include "LoudnessProcessor.h"
#include "RenderPath.h"

namespace {

using sorix::AudioBuffer;
using sorix::AudioBufferList;
using sorix::EQProcessor;
using sorix::LoudnessProcessor;
using sorix::RenderBuffers;
using sorix::RenderPath;

constexpr int kChannels = 2;
constexpr int kFrames = 512;
constexpr double kRate = 48000.0;
constexpr int kNoiseBlocks = 64;  // cycled so the branch predictor cannot learn one block

// Loud noise: with boost 8 the limiter works on almost every frame.
std::vector<float> loudNoise() {
    std::mt19937 random(7);
    std::uniform_real_distribution<float> amplitude(-0.9f, 0.9f);
    std::vector<float> noise(static_cast<std::size_t>(kNoiseBlocks * kFrames * kChannels));
    for (float& sample : noise)
        sample = amplitude(random);
    return noise;
}

void BM_RenderFullChain(benchmark::State& state) {
    auto path = std::make_unique<RenderPath>();
    path->prepare({.sampleRate = kRate});
    path->loudness().setBoost(8.0f);
    path->eq().setGains(EQProcessor::gains(EQProcessor::Preset::music));
    RenderBuffers& buffers = path->buffers();
    buffers.outputGains[0] = 0.8f;
    buffers.outputGains[1] = 0.5f;
    buffers.outputDelays[1] = sorix::delayFrames(20.0, kRate);

    std::vector<float> noise = loudNoise();
    std::vector<float> out0(kFrames * kChannels), out1(kFrames * kChannels);
    AudioBuffer in{kChannels, static_cast<uint32_t>(out0.size() * sizeof(float)), noise.data()};
    AudioBuffer outs[2] = {
        {kChannels, static_cast<uint32_t>(out0.size() * sizeof(float)), out0.data()},
        {kChannels, static_cast<uint32_t>(out1.size() * sizeof(float)), out1.data()},
    };
    AudioBufferList input{1, &in};
    AudioBufferList output{2, outs};

    // The render path never writes its input, so the tap buffer simply walks over the noise.
    std::size_t cycle = 0;
    for (auto _ : state) {
        in.mData = noise.data() + (cycle++ % kNoiseBlocks) * out0.size();
        path->render(input, output);
        benchmark::DoNotOptimize(out1.data());
    }
    state.SetItemsProcessed(state.iterations() * kFrames);
}
BENCHMARK(BM_RenderFullChain);

// The stages alone, each on a private copy of one noise block per iteration.
template <typename Stage>
void runStage(benchmark::State& state, Stage&& stage) {
    const std::vector<float> noise = loudNoise();
    std::vector<float> block(kFrames * kChannels);
    std::size_t cycle = 0;
    for (auto _ : state) {
        const float* source = noise.data() + (cycle++ % kNoiseBlocks) * block.size();
        std::copy(source, source + block.size(), block.begin());
        stage(block.data());
        benchmark::DoNotOptimize(block.data());
    }
    state.SetItemsProcessed(state.iterations() * kFrames);
}

void BM_LoudnessBoost8(benchmark::State& state) {
    LoudnessProcessor loudness;
    loudness.prepare({.sampleRate = kRate});
    loudness.setBoost(8.0f);
    runStage(state, [&](float* block) { loudness.process(block, kChannels, kFrames); });
}
BENCHMARK(BM_LoudnessBoost8);

void BM_EQMusicPreset(benchmark::State& state) {
    EQProcessor eq;
    eq.prepare({.sampleRate = kRate});
    eq.setGains(EQProcessor::gains(EQProcessor::Preset::music));
    runStage(state, [&](float* block) { eq.process(block, kChannels, kFrames); });
}
BENCHMARK(BM_EQMusicPreset);

// Fan-out and bookkeeping only: transparent mode, same two outputs as the full chain.
void BM_RenderBypassed(benchmark::State& state) {
    auto path = std::make_unique<RenderPath>();
    path->prepare({.sampleRate = kRate});
    RenderBuffers& buffers = path->buffers();
    buffers.processBypass = 1;
    buffers.outputGains[0] = 0.8f;
    buffers.outputGains[1] = 0.5f;
    buffers.outputDelays[1] = sorix::delayFrames(20.0, kRate);
    std::vector<float> block = loudNoise();
    block.resize(kFrames * kChannels);
    std::vector<float> out0(block.size()), out1(block.size());
    AudioBuffer in{kChannels, static_cast<uint32_t>(block.size() * sizeof(float)), block.data()};
    AudioBuffer outs[2] = {
        {kChannels, static_cast<uint32_t>(out0.size() * sizeof(float)), out0.data()},
        {kChannels, static_cast<uint32_t>(out1.size() * sizeof(float)), out1.data()},
    };
    AudioBufferList input{1, &in};
    AudioBufferList output{2, outs};
    for (auto _ : state) {
        path->render(input, output);
        benchmark::DoNotOptimize(out1.data());
    }
    state.SetItemsProcessed(state.iterations() * kFrames);
}
BENCHMARK(BM_RenderBypassed);

void BM_ResponseCurve64(benchmark::State& state) {
    const auto& gains = EQProcessor::gains(EQProcessor::Preset::music);
    for (auto _ : state) {
        benchmark::DoNotOptimize(EQProcessor::responseCurveDB(gains, 48000.0f, 64));
    }
}
BENCHMARK(BM_ResponseCurve64);

}  // namespace
