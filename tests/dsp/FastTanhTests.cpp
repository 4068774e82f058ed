#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <random>

#include "FastTanh.h"

namespace sorix {
namespace {

// Units in the last place of single precision at the true value.
double ulpsOff(float approx, double exact) {
    const double ulp = std::ldexp(1.0, std::ilogb(static_cast<float>(exact)) - 23);
    return std::fabs(static_cast<double>(approx) - exact) / ulp;
}

TEST(FastTanhTest, StaysWithinTwoAndAHalfUlpsAcrossTheRange) {
    double worst = 0.0;
    float worstAt = 0.0f;
    const uint32_t first = std::bit_cast<uint32_t>(1e-30f);
    const uint32_t last = std::bit_cast<uint32_t>(12.0f);
    for (uint32_t bits = first; bits <= last; bits += 97) {
        const float x = std::bit_cast<float>(bits);
        for (const float v : {x, -x}) {
            const double off = ulpsOff(tanhOf(v), std::tanh(static_cast<double>(v)));
            if (off > worst) {
                worst = off;
                worstAt = v;
            }
        }
    }
    EXPECT_LE(worst, 2.5) << "at x = " << worstAt;
}

TEST(FastTanhTest, IsOddAndSaturatesExactly) {
    for (const float x : {0.0f, 1e-20f, 0.1f, 0.5f, 1.0f, 3.3f, 9.99f, 10.0f, 30.0f})
        EXPECT_EQ(std::bit_cast<uint32_t>(tanhOf(-x)), std::bit_cast<uint32_t>(-tanhOf(x))) << x;
    EXPECT_EQ(std::bit_cast<uint32_t>(tanhOf(-0.0f)), std::bit_cast<uint32_t>(-0.0f));
    for (const float x : {10.0f, 10.5f, 51.0f, 1e6f, 3e38f, INFINITY}) {
        EXPECT_EQ(tanhOf(x), 1.0f) << x;
        EXPECT_EQ(tanhOf(-x), -1.0f) << x;
    }
}

TEST(FastTanhTest, EveryLaneOfEveryWidthAgreesWithTheScalarToTheBit) {
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> spread(-12.0f, 12.0f);
    for (int round = 0; round < 2000; ++round) {
        Float8 x;
        for (int i = 0; i < 8; ++i)
            x[i] = round % 2 == 0 ? spread(rng) : spread(rng) * 1e-3f;
        const Float4 low{x[0], x[1], x[2], x[3]};
        const Float8 wide = tanh8(x);
        const Float4 narrow = tanh4(low);
        for (int i = 0; i < 8; ++i) {
            const float scalar = tanhOf(x[i]);
            ASSERT_EQ(std::bit_cast<uint32_t>(wide[i]), std::bit_cast<uint32_t>(scalar)) << x[i];
            if (i < 4) {
                ASSERT_EQ(std::bit_cast<uint32_t>(narrow[i]), std::bit_cast<uint32_t>(scalar));
            }
        }
    }
}

}  // namespace
}  // namespace sorix
