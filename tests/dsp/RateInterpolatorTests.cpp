#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>
#include <vector>

#include "RateInterpolator.h"

namespace sorix {
namespace {

constexpr double kRate = 48000;

// Runs `input` (interleaved) through a fresh interpolator at `step`, in blocks of the given sizes
// in turn.
std::vector<float> interpolate(const std::vector<float>& input, uint32_t channels, double step,
                               const std::vector<std::size_t>& blocks) {
    RateInterpolator interpolator;
    interpolator.reset(channels);
    interpolator.setStep(step);
    std::vector<float> output;
    std::vector<float> scratch;
    const std::size_t frames = input.size() / channels;
    std::size_t at = 0;
    for (std::size_t i = 0; at < frames; ++i) {
        const std::size_t block = std::min(blocks[i % blocks.size()], frames - at);
        scratch.assign(interpolator.maxOutputFrames(block) * channels, 0.0f);
        const std::size_t written =
            interpolator.process(input.data() + at * channels, block, scratch.data());
        EXPECT_LE(written, interpolator.maxOutputFrames(0) + scratch.size() / channels);
        output.insert(output.end(), scratch.begin(),
                      scratch.begin() + static_cast<std::ptrdiff_t>(written * channels));
        at += block;
    }
    return output;
}

std::vector<float> sine(std::size_t frames, double hz, float amplitude) {
    std::vector<float> v(frames * 2);
    for (std::size_t n = 0; n < frames; ++n)
        v[2 * n] = v[2 * n + 1] =
            amplitude * static_cast<float>(std::sin(2 * std::numbers::pi * hz * n / kRate));
    return v;
}

TEST(RateInterpolatorTest, AtTheNominalRateItIsACopyTwoFramesLateWhateverTheBlocks) {
    std::mt19937 random(7);
    std::uniform_real_distribution<float> noise(-1.0f, 1.0f);
    std::vector<float> input(3 * 5000);
    for (float& sample : input)
        sample = noise(random);
    const std::vector<float> output = interpolate(input, 3, 1.0, {1, 2, 480, 7, 1024});
    ASSERT_EQ(output.size(), input.size());
    for (std::size_t i = 0; i < 6; ++i)
        EXPECT_EQ(output[i], 0.0f);
    for (std::size_t i = 6; i < output.size(); ++i)
        ASSERT_EQ(output[i], input[i - 6]) << "at sample " << i;
}

TEST(RateInterpolatorTest, TheOutputNeverRisesAboveTheLoudestInput) {
    // A limited signal: full-scale steps and, worst for a cubic, runs that alternate every frame.
    std::vector<float> square(2 * 48000);
    for (std::size_t n = 0; n < square.size() / 2; ++n)
        square[2 * n] = square[2 * n + 1] =
            ((n / 37) % 3 == 0 ? (n % 2 == 0) : (n / 37) % 3 == 1) ? 0.97f : -0.97f;
    for (const double step : {1.0 - 5e-4, 1.0 + 5e-4, 0.99, 1.01}) {
        const std::vector<float> output = interpolate(square, 2, step, {441, 512});
        const auto [low, high] = std::minmax_element(output.begin(), output.end());
        EXPECT_GE(*low, -0.97f) << "step " << step;
        EXPECT_LE(*high, 0.97f) << "step " << step;
    }
}

TEST(RateInterpolatorTest, ItGivesAsManyFramesAsTheStepAsksOverAnyLength) {
    // Ten seconds in blocks of 10 ms: a frame too many or too few per block would add up to a
    // drift of its own.
    const std::vector<float> input(2 * 480000, 0.25f);
    for (const double step : {1.0 - 3e-4, 1.0 + 3e-4, 1.0 + 5e-4}) {
        const std::size_t frames = interpolate(input, 2, step, {480}).size() / 2;
        EXPECT_NEAR(static_cast<double>(frames), 480000 / step, 1.0) << "step " << step;
    }
}

TEST(RateInterpolatorTest, ASineComesOutAtTheNewPitchWithoutAudibleError) {
    // 300 ppm slower: each output frame is step input frames on, and the tone follows.
    constexpr double kStep = 1.0 - 3e-4;
    for (const double hz : {1000.0, 7919.0}) {
        const std::vector<float> output = interpolate(sine(48000, hz, 0.5f), 2, kStep, {480, 333});
        double error = 0;
        std::size_t counted = 0;
        for (std::size_t k = 10; k + 10 < output.size() / 2; ++k) {
            // Output frame k stands at input frame k * step - 2.
            const double at = static_cast<double>(k) * kStep - 2.0;
            const double expected = 0.5 * std::sin(2 * std::numbers::pi * hz * at / kRate);
            error = std::max(error, std::abs(output[2 * k] - expected));
            ++counted;
        }
        ASSERT_GT(counted, 40000u);
        // Against the tone's 0.5: -74 dB at 1 kHz; at 8 kHz -28 dB, which is the tone's level
        // moving by at most 0.2 dB as the position passes through a frame (every 70 ms here).
        EXPECT_LT(error, hz < 2000 ? 1e-4 : 2e-2) << hz << " Hz";
    }
}

}  // namespace
}  // namespace sorix
