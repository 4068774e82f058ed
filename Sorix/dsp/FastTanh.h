#pragma once

#include "Float4.h"

namespace sorix {

namespace fast_tanh_detail {

// e^y - 1 for 0 <= y <= 20, accurate near zero: y = k ln2 + r with |r| <= ln2 / 2, e^r - 1 as
// r + r^2 g(r) with g a Chebyshev fit, then e^y - 1 = 2^k (e^r - 1) + (2^k - 1).
inline Float4 expMinusOne(Float4 y) noexcept {
    const Int4 k = __builtin_convertvector(y * splat(1.44269504f) + splat(0.5f), Int4);
    const Float4 kf = __builtin_convertvector(k, Float4);
    // ln 2 in two parts so that k * ln2High is exact.
    const Float4 r = (y - kf * splat(0.693145751953125f)) - kf * splat(1.428606765330187e-06f);
    Float4 g = splat(0.000198909808698f);
    g = g * r + splat(0.0013933641032f);
    g = g * r + splat(0.00833331093445f);
    g = g * r + splat(0.041666465006f);
    g = g * r + splat(0.166666666816f);
    g = g * r + splat(0.500000001346f);
    const Float4 expRMinusOne = r + r * r * g;
    const Float4 twoToK = reinterpret_cast<Float4>((k + 127) << 23);
    return twoToK * expRMinusOne + (twoToK - splat(1.0f));
}

}  // namespace fast_tanh_detail

// The hyperbolic tangent of the limiter's and the soft clipper's knees, four lanes at a time,
// without branches or calls, so the render path can bend whole blocks at once: tanh a =
// m / (m + 2) with m = e^(2a) - 1. Within 2.5 units in the last place of the true value;
// saturates to exactly +-1 from |x| = 10 on, as single precision does. NaN is not expected here
// (the render path never lets one in).
inline Float4 tanh4(Float4 x) noexcept {
    const Int4 bits = reinterpret_cast<Int4>(x);
    const Int4 sign = bits & INT32_MIN;
    Float4 a = reinterpret_cast<Float4>(bits & INT32_MAX);
    a = select(a < splat(10.0f), a, splat(10.0f));
    const Float4 m = fast_tanh_detail::expMinusOne(a + a);
    const Float4 magnitude = m / (m + splat(2.0f));
    return reinterpret_cast<Float4>(reinterpret_cast<Int4>(magnitude) | sign);
}

// The same function for one value: lane 0 of tanh4, so scalar and vector code agree to the bit.
inline float tanhOf(float x) noexcept { return tanh4(Float4{x, x, x, x})[0]; }

}  // namespace sorix
