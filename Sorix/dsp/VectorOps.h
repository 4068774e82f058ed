#pragma once

#include <cmath>
#include <cstddef>

// The two vector routines of the render path. Unit strides are written as separate loops so the
// compiler vectorises them; the arithmetic is exactly one multiply per sample.
namespace sorix::vec {

// c[k * strideC] = a[k * strideA] * scalar for k in 0..n-1.
inline void scaledCopy(const float* a, std::ptrdiff_t strideA, float scalar, float* c,
                       std::ptrdiff_t strideC, std::size_t n) noexcept {
    if (strideA == 1 && strideC == 1) {
        for (std::size_t k = 0; k < n; ++k) c[k] = a[k] * scalar;
        return;
    }
    for (std::size_t k = 0; k < n; ++k) c[k * strideC] = a[k * strideA] * scalar;
}

// The largest absolute value of n samples; 0 when n is 0. NaN samples never win the comparison.
inline float maxMagnitude(const float* a, std::size_t n) noexcept {
    float m = 0.0f;
    for (std::size_t k = 0; k < n; ++k) {
        const float v = std::fabs(a[k]);
        m = v > m ? v : m;
    }
    return m;
}

}  // namespace sorix::vec
