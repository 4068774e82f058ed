#pragma once

#include <cmath>
#include <cstddef>

#include "VectorLanes.h"

// The vector routines of the render path, four lanes at a time where it pays.
namespace sorix::vec {

// c[k * strideC] = a[k * strideA] * scalar for k in 0..n-1: one multiply per sample.
SORIX_LANES_INLINE void scaledCopy(const float* a, std::ptrdiff_t strideA, float scalar, float* c,
                                   std::ptrdiff_t strideC, std::size_t n) noexcept {
    if (strideA == 1 && strideC == 1) {
        for (std::size_t k = 0; k < n; ++k)
            c[k] = a[k] * scalar;
        return;
    }
    for (std::size_t k = 0; k < n; ++k)
        c[k * strideC] = a[k * strideA] * scalar;
}

// The largest absolute value of n samples; 0 when n is 0. NaN samples never win a comparison.
SORIX_LANES_INLINE float maxMagnitude(const float* a, std::size_t n) noexcept {
    Float4 lanes = splat(0.0f);
    std::size_t k = 0;
    for (; k + 4 <= n; k += 4) {
        const Float4 v = abs4(load4(a + k));
        lanes = select(v > lanes, v, lanes);
    }
    float m = 0.0f;
    for (int lane = 0; lane < 4; ++lane)
        m = lanes[lane] > m ? lanes[lane] : m;
    for (; k < n; ++k) {
        const float v = std::fabs(a[k]);
        m = v > m ? v : m;
    }
    return m;
}

// Copies n samples, turning non-finite ones into 0 and holding finite ones within +-limit.
// x - x is 0 exactly when x is finite.
SORIX_LANES_INLINE void copyFiniteClamped(const float* from, float* to, std::size_t n,
                                          float limit) noexcept {
    std::size_t k = 0;
    for (; k + 4 <= n; k += 4) {
        const Float4 x = load4(from + k);
        Float4 held = select(x > splat(limit), splat(limit), x);
        held = select(held < splat(-limit), splat(-limit), held);
        store4(to + k, select((x - x) == splat(0.0f), held, splat(0.0f)));
    }
    for (; k < n; ++k) {
        const float x = from[k];
        const float held = x > limit ? limit : (x < -limit ? -limit : x);
        to[k] = (x - x == 0.0f) ? held : 0.0f;
    }
}

}  // namespace sorix::vec
