#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <vector>

#include "LoudnessProcessor.h"
#include "ReferenceDsp.h"

namespace sorix {
namespace {

TEST(LoudnessProcessorTest, MatchesFrameByFrameReferenceToTheBit) {
    // Blocks of every size in turn, forwards then backwards, with the boost changing between
    // blocks (including to exactly 1, which freezes the envelope). The channels differ, so a gain
    // that is not the one linked gain of the reference shows.
    std::vector<int64_t> blocks(ref::kBlockSizes.begin(), ref::kBlockSizes.end());
    blocks.insert(blocks.end(), ref::kBlockSizes.rbegin(), ref::kBlockSizes.rend());
    const float boosts[] = {3.0f, 8.0f, 1.0f, 1.5f, 5.0f};
    int64_t total = 0;
    for (const int64_t b : blocks)
        total += b;

    for (const int64_t channels : {1, 2, 3, 5, 8}) {
        LoudnessProcessor limiter;
        limiter.prepare({.sampleRate = 44100.0});
        ref::Limiter reference;
        std::vector<float> ours = ref::program(channels, total, 0.5f, 11);
        std::vector<float> theirs = ours;
        int64_t offset = 0;
        for (std::size_t i = 0; i < blocks.size(); ++i) {
            const float boost = boosts[i % std::size(boosts)];
            // A sudden peak in the block's last frame, where the vector code has its remainder;
            // the envelope lags behind it, so the hard clip engages.
            for (int64_t c = 0; c < channels; ++c)
                ours[(offset + blocks[i] - 1) * channels + c] = c % 2 ? -1.0f : 1.0f;
            std::copy_n(ours.begin() + offset * channels, blocks[i] * channels,
                        theirs.begin() + offset * channels);
            limiter.setBoost(boost);
            limiter.process(ours.data() + offset * channels, channels, blocks[i]);
            reference.process(theirs.data() + offset * channels, channels, blocks[i], boost,
                              limiter.attackCoefficient(), limiter.releaseCoefficient());
            offset += blocks[i];
            ASSERT_EQ(std::bit_cast<uint32_t>(limiter.envelopeValue()),
                      std::bit_cast<uint32_t>(reference.envelope))
                << channels << " channels, block " << i;
        }
        EXPECT_EQ(ref::firstMismatch(ours, theirs), -1) << channels << " channels";
        EXPECT_GT(reference.envelope, 0.0f);
    }
}

TEST(LoudnessProcessorTest, TimeConstantsFollowTheRateAndABadRateKeepsThePrevious) {
    EXPECT_NEAR(LoudnessProcessor::attackCoefficientAt(44100.0), 0.977579, 1e-6);
    EXPECT_NEAR(LoudnessProcessor::releaseCoefficientAt(44100.0), 0.999717, 1e-6);
    LoudnessProcessor limiter;
    // A fresh processor runs at 48 kHz.
    EXPECT_EQ(limiter.attackCoefficient(), LoudnessProcessor::attackCoefficientAt(48000.0));
    EXPECT_EQ(limiter.releaseCoefficient(), LoudnessProcessor::releaseCoefficientAt(48000.0));
    limiter.prepare({.sampleRate = 44100.0});
    for (const double bad : {0.0, -48000.0, std::numeric_limits<double>::quiet_NaN(),
                             std::numeric_limits<double>::infinity()}) {
        limiter.prepare({.sampleRate = bad});
        EXPECT_EQ(limiter.attackCoefficient(), LoudnessProcessor::attackCoefficientAt(44100.0))
            << bad;
    }
}

// Unity boost leaving everything alone, envelope included, is part of the reference comparison.
TEST(LoudnessProcessorTest, TheEnvelopeCarriesOnThroughEmptyBlocksAndPreparesUntilAReset) {
    LoudnessProcessor limiter;
    limiter.setBoost(6.0f);
    std::vector<float> loud = ref::program(2, 480, 0.9f, 2);
    limiter.process(loud.data(), 2, 480);
    const float envelope = limiter.envelopeValue();
    ASSERT_GT(envelope, 0.6f);
    limiter.process(loud.data(), 2, 0);
    limiter.process(nullptr, 2, 0);
    EXPECT_EQ(limiter.envelopeValue(), envelope);
    limiter.prepare({.sampleRate = 96000.0});
    EXPECT_EQ(limiter.envelopeValue(), envelope) << "a rebuilt pipeline limits on";
    limiter.reset();
    EXPECT_EQ(limiter.envelopeValue(), 0.0f);
}

TEST(LoudnessProcessorTest, SetBoostHoldsAnyFactorToOneToEight) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    LoudnessProcessor limiter;
    const std::vector<std::pair<float, float>> cases = {
        {nan, 1.0f}, {inf, 8.0f}, {-inf, 1.0f}, {0.99f, 1.0f}, {8.01f, 8.0f}, {7.99f, 7.99f}};
    for (const auto& [asked, applied] : cases) {
        limiter.setBoost(5.0f);
        limiter.setBoost(asked);
        EXPECT_EQ(limiter.boost(), applied) << asked;
    }
}

}  // namespace
}  // namespace sorix
