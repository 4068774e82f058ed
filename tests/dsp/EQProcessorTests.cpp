#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "EQProcessor.h"
#include "ReferenceDsp.h"

namespace sorix {
namespace {

using Preset = EQProcessor::Preset;

// Runs the same program through the processor and the reference in blocks of every size,
// forwards with one set, then backwards after a recompute to another.
void expectMatchesReference(int64_t channels, Preset first, Preset second) {
    EQProcessor eq;
    ref::Equaliser reference;
    int64_t total = 0;
    for (const int64_t b : ref::kBlockSizes)
        total += 2 * b;
    std::vector<float> ours = ref::program(channels, total, 0.8f, 23);
    std::vector<float> theirs = ours;
    int64_t offset = 0;
    for (const bool backwards : {false, true}) {
        eq.setGains(EQProcessor::gains(backwards ? second : first));
        reference.reset(eq.coeffs());
        for (std::size_t i = 0; i < ref::kBlockSizes.size(); ++i) {
            const int64_t frames = ref::kBlockSizes[backwards ? 14 - i : i];
            eq.process(ours.data() + offset * channels, channels, frames);
            reference.process(theirs.data() + offset * channels, channels, frames);
            offset += frames;
        }
    }
    EXPECT_EQ(ref::firstMismatch(ours, theirs), -1) << channels << " channels";
}

TEST(EQProcessorTest, MatchesFrameByFrameReferenceToTheBit) {
    for (const int64_t channels : {1, 2, 3, 5, 8}) {
        expectMatchesReference(channels, Preset::movie, Preset::bass);
        expectMatchesReference(channels, Preset::treble, Preset::voice);
    }
}

TEST(EQProcessorTest, SetGainsPadsTruncatesAndClampsWithNaNAsFlat) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    EQProcessor eq;
    eq.setGains(std::vector<float>{1, 2, 3, 4, 5, 6, 7, 8});
    EXPECT_EQ(eq.gains(), (std::array<float, 6>{1, 2, 3, 4, 5, 6}));
    eq.setGains(std::vector<float>{20, -30});
    EXPECT_EQ(eq.gains(), (std::array<float, 6>{12, -12, 0, 0, 0, 0}));
    EXPECT_EQ(eq.coeffs()[0], EQProcessor::coefficient(EQProcessor::bands[0], 12, 48000));
    eq.setGains(std::vector<float>{nan, inf, -inf, 12.01f, -11.99f, -nan});
    EXPECT_EQ(eq.gains(), (std::array<float, 6>{0, 12, -12, 12, -11.99f, 0}));
    for (const auto& c : eq.coeffs()) {
        for (const float k : {c.b0, c.b1, c.b2, c.a1, c.a2})
            EXPECT_TRUE(std::isfinite(k));
    }
}

// A gain within a hundredth of a decibel of zero makes its band an identity; with every band one,
// the equaliser leaves blocks alone, as it does blocks of more than eight channels.
TEST(EQProcessorTest, NearlyFlatGainsAndNineChannelsLeaveTheBlockUntouched) {
    for (const auto& band : EQProcessor::bands) {
        EXPECT_EQ(EQProcessor::coefficient(band, 0.0f, 48000.0f), EQProcessor::Coeff{});
        EXPECT_EQ(EQProcessor::coefficient(band, -0.005f, 48000.0f), EQProcessor::Coeff{});
        EXPECT_NE(EQProcessor::coefficient(band, 0.02f, 48000.0f), EQProcessor::Coeff{});
    }
    EQProcessor eq;
    eq.setGains(std::vector<float>{0, 0, 0.02f});
    EXPECT_TRUE(eq.active());
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const std::vector<float> noisy = ref::program(2, 256, 0.5f, 5);
    for (const std::vector<float>& gains :
         {std::vector<float>{}, std::vector<float>{0, 0, 0.005f}, std::vector<float>{nan, nan}}) {
        eq.setGains(gains);
        EXPECT_FALSE(eq.active());
        std::vector<float> block = noisy;
        eq.process(block.data(), 2, 256);
        EXPECT_EQ(block, noisy);
    }

    eq.setGains(EQProcessor::gains(Preset::music));
    ASSERT_TRUE(eq.active());
    const std::vector<float> nine = ref::program(9, 256, 0.9f, 6);
    std::vector<float> block = nine;
    eq.process(block.data(), 9, 256);
    EXPECT_EQ(block, nine);
}

// Whatever the filters, even unstable ones or NaN, what leaves the equaliser is finite and within
// full scale, sample for sample what the plain formulas give.
TEST(EQProcessorTest, AnyFiltersAtAllPlayFiniteAndWithinFullScale) {
    std::mt19937 rng(31);
    auto unit = [&] { return std::uniform_real_distribution<float>(-1.0f, 1.0f)(rng); };
    auto pick = [&](int n) { return std::uniform_int_distribution<int>(0, n - 1)(rng); };
    const float specials[] = {std::numeric_limits<float>::quiet_NaN(),
                              std::numeric_limits<float>::infinity(),
                              -std::numeric_limits<float>::infinity(),
                              1e30f,
                              -1e30f,
                              0.0f,
                              1.0f};
    for (int round = 0; round < 60; ++round) {
        const int64_t channels = 1 + pick(8);
        std::array<EQProcessor::Coeff, 6> coeffs;
        for (auto& c : coeffs) {
            for (float* k : {&c.b0, &c.b1, &c.b2, &c.a1, &c.a2})
                *k = pick(10) == 0 ? specials[pick(7)] : 2.5f * unit();
        }
        EQProcessor eq;
        eq.useCoefficients(coeffs);
        ref::Equaliser reference;
        reference.reset(coeffs);
        // Now and then a sample as loud as the render path lets in.
        std::vector<float> ours = ref::program(channels, 2048, 1.5f, 40 + round);
        for (std::size_t i = 0; i < ours.size(); i += 97 + pick(200))
            ours[i] = unit() * 1048576.0f;
        std::vector<float> theirs = ours;
        for (int64_t offset = 0, block = 0; offset < 2048; ++block) {
            const int64_t frames = std::min<int64_t>(ref::kBlockSizes[block % 15], 2048 - offset);
            eq.process(ours.data() + offset * channels, channels, frames);
            reference.process(theirs.data() + offset * channels, channels, frames);
            offset += frames;
        }
        for (const float y : ours)
            ASSERT_TRUE(std::isfinite(y) && std::fabs(y) <= 1.0f) << round << ": " << y;
        EXPECT_EQ(ref::firstMismatch(ours, theirs), -1) << round;
    }
}

TEST(EQProcessorTest, AFilterThatBlowsUpIsSilentThenStartsAfresh) {
    // y = x + 1.5 y1 overflows after about 230 frames of a steady 0.01.
    std::array<EQProcessor::Coeff, 6> unstable{};
    unstable[0].a1 = -1.5f;
    EQProcessor eq;
    eq.useCoefficients(unstable);
    std::vector<float> first(2 * 512, 0.01f), second = first;
    eq.process(first.data(), 2, 512);
    eq.process(second.data(), 2, 512);
    EXPECT_NE(first[0], 0.0f);
    EXPECT_EQ(first[2 * 511], 0.0f) << "blown up: silence, not noise";
    EXPECT_EQ(second, first) << "the next block starts from silence again";

    // A NaN coefficient is silence from the start, but no worse.
    unstable[3].b1 = std::numeric_limits<float>::quiet_NaN();
    eq.useCoefficients(unstable);
    std::vector<float> block(2 * 64, 0.5f);
    eq.process(block.data(), 2, 64);
    EXPECT_EQ(block, std::vector<float>(2 * 64, 0.0f));
}

TEST(ResponseCurveTest, SingleBandPeaksAtItsFrequency) {
    const std::vector<float> oneK{0, 0, 6, 0, 0, 0};
    const auto curve = EQProcessor::responseCurveDB(oneK, 48000.0f, 64);
    ASSERT_EQ(curve.size(), 64u);
    EXPECT_NEAR(curve[35], 5.9f, 0.05f);
    EXPECT_NEAR(curve[36], 6.0f, 0.05f);
    EXPECT_NEAR(curve.front(), 0.0f, 0.01f);
    EXPECT_NEAR(curve.back(), 0.0f, 0.05f);
    EXPECT_NEAR(EQProcessor::responseCurveFrequency(35, 64), 929.0f, 1.0f);
}

TEST(ResponseCurveTest, DegenerateRequests) {
    const std::vector<float> zeros(6, 0.0f);
    EXPECT_EQ(EQProcessor::responseCurveDB(zeros, 48000.0f, 64), std::vector<float>(64, 0.0f));
    EXPECT_EQ(EQProcessor::responseCurveDB({}, 44100.0f, 16), std::vector<float>(16, 0.0f));
    EXPECT_TRUE(EQProcessor::responseCurveDB(EQProcessor::gains(Preset::voice), 48000, 0).empty());
    EXPECT_TRUE(EQProcessor::responseCurveDB(EQProcessor::gains(Preset::voice), 48000, -3).empty());
    const auto single = EQProcessor::responseCurveDB(EQProcessor::gains(Preset::bass), 48000, 1);
    ASSERT_EQ(single.size(), 1u);
    EXPECT_EQ(EQProcessor::responseCurveFrequency(0, 1), 20.0f);
    EXPECT_NEAR(single[0], 10.0f, 0.1f);
}

}  // namespace
}  // namespace sorix
