#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "ReferenceDsp.h"
#include "RenderPath.h"

namespace sorix {
namespace {

using Preset = EQProcessor::Preset;

struct Rig {
    std::unique_ptr<RenderPath> path = std::make_unique<RenderPath>();
    EQProcessor& eq = path->eq();
    LoudnessProcessor& limiter = path->loudness();
    RenderBuffers* buffers = &path->buffers();

    uint64_t count(RenderBuffers::Diagnostic slot) const { return buffers->ioDiagnostics[slot]; }
};

// Interleaved samples with their channel count; an empty one stands for a buffer without data.
struct Block {
    uint32_t channels;
    std::vector<float> samples;
};

AudioBuffer bufferOf(Block& b) {
    return {b.channels, static_cast<uint32_t>(b.samples.size() * sizeof(float)),
            b.samples.empty() ? nullptr : b.samples.data()};
}

void cycle(Rig& rig, const AudioBufferList& input, std::vector<Block>& outputs) {
    std::vector<AudioBuffer> out;
    for (Block& b : outputs)
        out.push_back(bufferOf(b));
    AudioBufferList outList{static_cast<uint32_t>(out.size()), out.data()};
    rig.path->render(input, outList);
}

void cycle(Rig& rig, std::vector<Block> inputs, std::vector<Block>& outputs) {
    std::vector<AudioBuffer> in;
    for (Block& b : inputs)
        in.push_back(bufferOf(b));
    cycle(rig, AudioBufferList{static_cast<uint32_t>(in.size()), in.data()}, outputs);
}

std::vector<Block> outputsOf(std::initializer_list<uint32_t> channels, std::size_t frames,
                             float fill = std::numeric_limits<float>::quiet_NaN()) {
    std::vector<Block> outs;
    for (const uint32_t c : channels)
        outs.push_back({c, std::vector<float>(c * frames, fill)});
    return outs;
}

void boostAndEqualise(Rig& rig) {
    rig.limiter.setBoost(8.0f);
    rig.eq.setGains(EQProcessor::gains(Preset::movie));
}

TEST(RenderPathTest, OutputDoesNotDependOnBlockSize) {
    auto configure = [](Rig& rig) {
        boostAndEqualise(rig);
        rig.buffers->outputGains[1] = 0.5f;
        rig.buffers->outputDelays[1] = 300;
        rig.buffers->outputDelays[2] = 1234;
        rig.buffers->outputDelays[3] = 7;
    };
    constexpr std::size_t total = 9000;
    const std::vector<float> program = ref::program(2, total, 0.6f, 3);

    Rig whole;
    configure(whole);
    std::vector<Block> expected = outputsOf({2, 2, 1, 4}, total);
    cycle(whole, {{2, program}}, expected);

    Rig blocked;
    configure(blocked);
    std::vector<Block> collected = outputsOf({2, 2, 1, 4}, 0);
    for (std::size_t offset = 0, i = 0; offset < total; offset += ref::kBlockSizes[i++ % 15]) {
        const std::size_t frames = std::min<std::size_t>(ref::kBlockSizes[i % 15], total - offset);
        std::vector<float> in(program.begin() + 2 * offset,
                              program.begin() + 2 * (offset + frames));
        std::vector<Block> outs = outputsOf({2, 2, 1, 4}, frames);
        cycle(blocked, {{2, in}}, outs);
        for (std::size_t k = 0; k < outs.size(); ++k)
            collected[k].samples.insert(collected[k].samples.end(), outs[k].samples.begin(),
                                        outs[k].samples.end());
    }
    for (std::size_t k = 0; k < expected.size(); ++k)
        EXPECT_EQ(ref::firstMismatch(collected[k].samples, expected[k].samples), -1) << k;
}

TEST(RenderPathTest, MissingOrUnusableInputSilencesEveryOutput) {
    Rig rig;
    float sample = 0.5f;
    AudioBuffer nullData{2, 64, nullptr}, tooShort{2, 4, &sample};
    const AudioBufferList inputs[] = {{0, nullptr}, {3, nullptr}, {1, &nullData}, {1, &tooShort}};
    for (const AudioBufferList& input : inputs) {
        std::vector<Block> outs = outputsOf({2, 1}, 32, 0.7f);
        outs[1].samples[5] = std::numeric_limits<float>::quiet_NaN();
        cycle(rig, input, outs);
        for (const Block& b : outs)
            EXPECT_EQ(b.samples, std::vector<float>(b.samples.size(), 0.0f));
    }
    EXPECT_EQ(rig.count(RenderBuffers::callbacks), 4u);
    EXPECT_EQ(rig.count(RenderBuffers::inputBuffers), 5u);
    EXPECT_EQ(rig.buffers->samplesRendered.load(), 0u);
}

TEST(RenderPathTest, OnlyTheLastInputIsTheTapAndPeaksAreRecorded) {
    Rig rig;
    rig.buffers->outputGains[1] = 0.25f;
    std::vector<float> tap = ref::program(2, 64, 0.5f, 8);
    tap[9] = -0.75f;
    std::vector<Block> outs = outputsOf({2, 2}, 64);
    cycle(rig, {{2, std::vector<float>(128, 0.9f)}, {2, tap}}, outs);
    EXPECT_EQ(outs[0].samples, tap);
    EXPECT_EQ(rig.buffers->peak(RenderBuffers::inputPeak), 0.9f);
    EXPECT_EQ(rig.buffers->peak(RenderBuffers::outputPeak), 0.75f);
    EXPECT_EQ(rig.buffers->peak(RenderBuffers::latestOutputPeak), 0.1875f);
    EXPECT_EQ(rig.count(RenderBuffers::inputBytes), 1024u);

    // Peaks only rise until the meter log takes them.
    cycle(rig, {{2, std::vector<float>(128, 0.1f)}}, outs);
    EXPECT_EQ(rig.buffers->peak(RenderBuffers::inputPeak), 0.9f);
    EXPECT_EQ(rig.buffers->peak(RenderBuffers::outputPeak), 0.75f);
    EXPECT_EQ(rig.buffers->peak(RenderBuffers::latestOutputPeak), 0.025f);
    rig.buffers->ioDiagnostics[RenderBuffers::inputPeak] = 0;
    cycle(rig, {{2, std::vector<float>(128, 0.1f)}}, outs);
    EXPECT_EQ(rig.buffers->peak(RenderBuffers::inputPeak), 0.1f);
}

TEST(RenderPathTest, EachOutputGetsItsOwnSizeAndSlot) {
    Rig rig;
    rig.buffers->outputGains[30] = 0.25f;
    rig.buffers->outputGains[31] = 0.5f;
    const std::vector<float> tap = ref::program(2, 64, 0.5f, 9);
    std::vector<Block> outs(41, Block{2, {}});
    outs[0].samples.assign(2 * 20, 0.3f);   // shorter than the block
    outs[1].samples.assign(2 * 100, 0.3f);  // longer: the tail is silenced
    outs[30].samples.resize(128);
    outs[40].samples.resize(128);
    cycle(rig, {{2, tap}}, outs);

    EXPECT_EQ(outs[0].samples, std::vector<float>(tap.begin(), tap.begin() + 40));
    EXPECT_EQ(std::vector<float>(outs[1].samples.begin(), outs[1].samples.begin() + 128), tap);
    EXPECT_EQ(std::vector<float>(outs[1].samples.begin() + 128, outs[1].samples.end()),
              std::vector<float>(72, 0.0f));
    for (std::size_t i = 0; i < tap.size(); ++i) {
        EXPECT_EQ(outs[30].samples[i], 0.25f * tap[i]);
        EXPECT_EQ(outs[40].samples[i], 0.5f * tap[i]);
    }
    EXPECT_EQ(rig.buffers->samplesRendered.load(), 40u + 3 * 128u);
}

// A mono tap on a stereo output is the render job's bypass case.
TEST(RenderPathTest, ExtraOutputChannelsRepeatTheLastTapChannelAndSurplusOnesAreDropped) {
    Rig rig;
    std::vector<Block> quad = outputsOf({4, 1}, 2);
    cycle(rig, {{2, {0.1f, -0.2f, 0.3f, -0.4f}}}, quad);
    EXPECT_EQ(quad[0].samples,
              (std::vector<float>{0.1f, -0.2f, -0.2f, -0.2f, 0.3f, -0.4f, -0.4f, -0.4f}));
    EXPECT_EQ(quad[1].samples, (std::vector<float>{0.1f, 0.3f}));
}

// Gains and delays apply alike with or without processing; they have cases of their own.
TEST(RenderPathTest, BypassLeavesTheTapAndTheEnvelopeAloneUntilSwitchedOff) {
    Rig rig;
    boostAndEqualise(rig);
    rig.buffers->processBypass = 1;
    const std::vector<float> program = ref::program(2, 64, 0.9f, 4);
    std::vector<Block> outs = outputsOf({2}, 64);
    cycle(rig, {{2, program}}, outs);
    EXPECT_EQ(outs[0].samples, program);
    EXPECT_EQ(rig.limiter.envelopeValue(), 0.0f);

    rig.buffers->processBypass = 0;
    cycle(rig, {{2, program}}, outs);
    EXPECT_NE(outs[0].samples, program);
    EXPECT_GT(rig.limiter.envelopeValue(), 0.0f);
}

TEST(RenderPathTest, DelayBeyondTheRingIsClamped) {
    // Eight channels: the ring holds R frames. Each sample names its frame and channel.
    constexpr int64_t C = 8, N = 4096, R = RenderBuffers::ringSamples / C;
    Rig rig;
    rig.buffers->processBypass = 1;
    rig.buffers->outputDelays[0] = std::numeric_limits<uint32_t>::max();
    rig.buffers->outputDelays[1] = R - N;
    rig.buffers->outputDelays[2] = R - N - 1;
    int64_t start = 0;
    std::vector<Block> outs;
    for (; start < R + 8 * N; start += N) {
        std::vector<float> in(C * N);
        for (int64_t i = 0; i < C * N; ++i)
            in[i] = static_cast<float>(start + i / C) + static_cast<float>(i % C) / 8.0f;
        outs = outputsOf({C, C, C}, N);
        cycle(rig, {{C, in}}, outs);
    }
    start -= N;
    for (int64_t i = 0; i < C * N; ++i) {
        const float expected =
            static_cast<float>(start - (R - N - 1) + i / C) + static_cast<float>(i % C) / 8.0f;
        ASSERT_EQ(outs[0].samples[i], expected) << i;
        ASSERT_EQ(outs[1].samples[i], expected) << i;
        ASSERT_EQ(outs[2].samples[i], expected) << i;
    }
}

TEST(RenderPathTest, PreparingRewindsTheHistoryAndCutsBlocksToTheLargest) {
    Rig rig;
    rig.buffers->processBypass = 1;
    rig.buffers->outputDelays[0] = 8;
    std::vector<Block> outs = outputsOf({2}, 16);
    cycle(rig, {{2, std::vector<float>(32, 0.5f)}}, outs);
    ASSERT_EQ(outs[0].samples[31], 0.5f);

    rig.path->prepare({.sampleRate = 44100, .maxBlockSamples = 20});
    EXPECT_EQ(rig.path->spec().sampleRate, 44100);
    EXPECT_EQ(rig.eq.sampleRate(), 44100.0f);
    outs = outputsOf({2, 2}, 16);
    rig.buffers->outputDelays[1] = 0;
    cycle(rig, {{2, std::vector<float>(32, 0.25f)}}, outs);
    // The delayed output starts from silence again; both stop at the tenth frame.
    for (std::size_t i = 0; i < 32; ++i) {
        const float current = i < 20 ? 0.25f : 0.0f;
        ASSERT_EQ(outs[1].samples[i], current) << i;
        ASSERT_EQ(outs[0].samples[i], i < 16 ? 0.0f : current) << i;
    }

    rig.path->prepare({.sampleRate = std::numeric_limits<double>::quiet_NaN(),
                       .maxBlockSamples = kMaxBlockSamples * 2});
    EXPECT_EQ(rig.path->spec().sampleRate, 44100) << "a bad rate keeps the last one";
    EXPECT_EQ(rig.path->spec().maxBlockSamples, kMaxBlockSamples) << "no more than allocated";
}

TEST(RenderPathTest, NonFiniteInputCountsAsSilence) {
    Rig poisoned, clean;
    for (Rig* rig : {&poisoned, &clean}) {
        boostAndEqualise(*rig);
        rig->buffers->outputDelays[1] = 100;
    }
    // Odd-sized blocks, so the bad samples fall in vector lanes and in the scalar tail.
    const std::vector<float> program = ref::program(2, 6 * 255, 0.8f, 12);
    const float bad[] = {std::numeric_limits<float>::quiet_NaN(), INFINITY, -INFINITY};
    for (std::size_t offset = 0; offset < 6 * 255; offset += 255) {
        std::vector<float> in(program.begin() + 2 * offset, program.begin() + 2 * (offset + 255));
        std::vector<float> zeroed = in;
        for (std::size_t i = 0; offset == 255 && i < 13; ++i) {
            in[i < 12 ? 41 * i + 3 : 509] = bad[i % 3];
            zeroed[i < 12 ? 41 * i + 3 : 509] = 0.0f;
        }
        std::vector<Block> a = outputsOf({2, 2}, 255), b = outputsOf({2, 2}, 255);
        cycle(poisoned, {{2, in}}, a);
        cycle(clean, {{2, zeroed}}, b);
        for (std::size_t k = 0; k < 2; ++k) {
            EXPECT_EQ(ref::firstMismatch(a[k].samples, b[k].samples), -1) << offset;
            for (const float s : a[k].samples)
                ASSERT_TRUE(std::isfinite(s));
        }
    }
    EXPECT_EQ(poisoned.limiter.envelopeValue(), clean.limiter.envelopeValue());
}

// Whatever the buffer lists hold, the render path neither crashes, nor writes outside the
// buffers, nor outputs a non-finite sample. With the boost stage and equaliser in the path (the
// equaliser's own cases show that no filters at all take it beyond full scale) nothing leaves
// louder than full scale times the output's gain, and a gain that is not finite plays as silence.
TEST(RenderPathTest, SurvivesArbitraryBufferLists) {
    std::mt19937 rng(20240611);
    auto uniform = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
    auto chance = [&](double p) { return std::bernoulli_distribution(p)(rng); };
    auto unit = [&] { return std::uniform_real_distribution<float>(0.0f, 1.0f)(rng); };
    const float specials[] = {
        std::numeric_limits<float>::quiet_NaN(), INFINITY, -INFINITY, 1e30f, -1e30f, 3e38f, -0.0f};
    // Output gains the bounded rounds try besides those from 0 to 1.
    const float unusualGains[] = {specials[0], INFINITY, -INFINITY, 1e30f, -0.25f, 0.0f};
    constexpr std::size_t guard = 64;
    constexpr unsigned char fill = 0xA5;

    Rig rig;
    for (int round = 0; round < 3000; ++round) {
        const bool bounded = round >= 1500;
        if (round == 1500) {
            rig.buffers->processBypass = 0;
            rig.buffers->resetHistory();
        }
        if (!bounded) rig.buffers->processBypass = chance(0.2) ? 1 : 0;
        if (round == 1500 || chance(0.1)) {
            std::vector<float> gains(6);
            for (float& g : gains)
                g = static_cast<float>(uniform(-12, 12));
            gains[uniform(0, 5)] = 9.0f;
            if (!bounded && chance(0.3)) gains.clear();
            rig.eq.setGains(gains);
        }
        const int slot = uniform(0, 31);
        rig.buffers->outputGains[slot] =
            bounded && chance(0.3) ? unusualGains[uniform(0, 5)] : unit();
        const uint32_t delays[] = {0, static_cast<uint32_t>(uniform(1, 5000)),
                                   static_cast<uint32_t>(uniform(0, 2'000'000)), 0xFFFFFFFF};
        rig.buffers->outputDelays[slot] = delays[uniform(0, 3)];

        std::vector<std::vector<float>> inData(static_cast<std::size_t>(uniform(0, 3)));
        std::vector<AudioBuffer> in;
        for (auto& data : inData) {
            const uint32_t channels = static_cast<uint32_t>(uniform(0, 64));
            const uint32_t bytes =
                chance(0.2) ? uniform(0, 4000)
                            : uniform(0, 600) * std::max(channels, 1u) * 4 + uniform(0, 3);
            data.resize((bytes + 3) / 4);
            for (float& s : data)
                s = chance(0.03) ? specials[uniform(0, 6)] : 3.0f * unit() - 1.5f;
            in.push_back({channels, bytes, chance(0.1) ? nullptr : data.data()});
        }
        const uint32_t tapChannels = in.empty() ? 1 : std::max(in.back().mNumberChannels, 1u);
        if (bounded && (tapChannels > 8 || chance(0.5)))
            rig.limiter.setBoost(1.5f + 6.5f * unit());
        else
            rig.limiter.setBoost(bounded || chance(0.5) ? 1.0f : 8.0f * unit());

        std::vector<std::vector<unsigned char>> outData(
            static_cast<std::size_t>(chance(0.05) ? 34 : uniform(0, 4)));
        std::vector<AudioBuffer> out;
        for (auto& storage : outData) {
            const uint32_t channels = static_cast<uint32_t>(uniform(0, chance(0.2) ? 64 : 8));
            const uint32_t bytes = uniform(0, 700) * std::max(channels, 1u) * 4 + uniform(0, 3);
            storage.assign(bytes + 2 * guard, fill);
            out.push_back({channels, bytes, chance(0.1) ? nullptr : storage.data() + guard});
        }

        const AudioBufferList inList{static_cast<uint32_t>(in.size()),
                                     chance(0.05) ? nullptr : in.data()};
        AudioBufferList outList{static_cast<uint32_t>(out.size()),
                                chance(0.05) ? nullptr : out.data()};
        rig.path->render(inList, outList);

        for (std::size_t i = 0; i < out.size(); ++i) {
            const std::vector<unsigned char>& storage = outData[i];
            const bool written = outList.mBuffers != nullptr && out[i].mData != nullptr;
            const std::size_t end = written ? guard + out[i].mDataByteSize : 0;
            for (std::size_t b = 0; b < storage.size(); ++b)
                ASSERT_TRUE((b >= guard && b < end) || storage[b] == fill) << round << " " << i;
            if (!written) continue;
            const float gain = rig.buffers->outputGains[std::min<std::size_t>(i, 31)];
            const float limit = std::isfinite(gain) ? std::fabs(gain) : 0.0f;
            for (std::size_t k = 0; k < out[i].mDataByteSize / 4; ++k) {
                float s;
                std::memcpy(&s, storage.data() + guard + 4 * k, sizeof s);
                ASSERT_TRUE(std::isfinite(s)) << round << " " << i << " " << k;
                ASSERT_TRUE(!bounded || std::fabs(s) <= limit) << round << " " << i << " " << k;
            }
        }
        ASSERT_TRUE(std::isfinite(rig.buffers->peak(RenderBuffers::outputPeak)));
    }
}

}  // namespace
}  // namespace sorix
