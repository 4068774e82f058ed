#pragma once

#include "VectorLanes.h"

namespace sorix {

namespace fast_tanh_detail {

// e^y - 1 for 0 <= y <= 20, accurate near zero: y = k ln2 + r with |r| <= ln2 / 2, e^r - 1 as
// r + r^2 g(r) with g a Chebyshev fit, then e^y - 1 = 2^k (e^r - 1) + (2^k - 1).
template <typename Lanes>
SORIX_LANES_INLINE Lanes expMinusOne(Lanes y) noexcept {
    using IntLanes = decltype(y < y);
    const IntLanes k = __builtin_convertvector(y * 1.44269504f + 0.5f, IntLanes);
    const Lanes kf = __builtin_convertvector(k, Lanes);
    // ln 2 in two parts so that k * ln2High is exact.
    const Lanes r = (y - kf * 0.693145751953125f) - kf * 1.428606765330187e-06f;
    Lanes g = r * 0.000198909808698f + 0.0013933641032f;
    g = g * r + 0.00833331093445f;
    g = g * r + 0.041666465006f;
    g = g * r + 0.166666666816f;
    g = g * r + 0.500000001346f;
    const Lanes expRMinusOne = r + r * r * g;
    const Lanes twoToK = reinterpret_cast<Lanes>((k + 127) << 23);
    return twoToK * expRMinusOne + (twoToK - 1.0f);
}

}  // namespace fast_tanh_detail

// The hyperbolic tangent of the limiter's and the soft clipper's knees, a vector of lanes at a
// time, without branches or calls, so the render path can bend whole blocks at once: tanh a =
// m / (m + 2) with m = e^(2a) - 1. Within 2.5 units in the last place of the true value;
// saturates to exactly +-1 from |x| = 10 on, as single precision does. Every lane does the same
// operations whatever the width, so widths agree to the bit. NaN is not expected here (the
// render path never lets one in).
template <typename Lanes>
SORIX_LANES_INLINE Lanes tanhLanes(Lanes x) noexcept {
    using IntLanes = decltype(x < x);
    const IntLanes bits = reinterpret_cast<IntLanes>(x);
    const IntLanes sign = bits & INT32_MIN;
    Lanes a = reinterpret_cast<Lanes>(bits & INT32_MAX);
    a = select(a < 10.0f, a, Lanes{} + 10.0f);
    const Lanes m = fast_tanh_detail::expMinusOne(a + a);
    const Lanes magnitude = m / (m + 2.0f);
    return reinterpret_cast<Lanes>(reinterpret_cast<IntLanes>(magnitude) | sign);
}

SORIX_LANES_INLINE Float4 tanh4(Float4 x) noexcept { return tanhLanes(x); }
SORIX_LANES_INLINE Float8 tanh8(Float8 x) noexcept { return tanhLanes(x); }

// The same function for one value, so scalar and vector code agree to the bit.
SORIX_LANES_INLINE float tanhOf(float x) noexcept { return tanh4(Float4{x, x, x, x})[0]; }

}  // namespace sorix
