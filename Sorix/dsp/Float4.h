#pragma once

#include <cstdint>
#include <cstring>

namespace sorix {

// Four single-precision lanes (GNU vector extension, SSE on x86-64, NEON on arm64). Arithmetic on
// it is element-wise IEEE arithmetic, so a lane computes exactly what the same scalar expression
// would: vector code and its scalar twin agree to the bit.
using Float4 = float __attribute__((vector_size(16)));
using Int4 = int32_t __attribute__((vector_size(16)));

inline Float4 splat(float v) noexcept { return Float4{v, v, v, v}; }

inline Float4 load4(const float* p) noexcept {
    Float4 v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

inline void store4(float* p, Float4 v) noexcept { std::memcpy(p, &v, sizeof v); }

inline Float4 abs4(Float4 v) noexcept {
    return reinterpret_cast<Float4>(reinterpret_cast<Int4>(v) & INT32_MAX);
}

// Lane by lane: ifTrue where the comparison mask is set, else ifFalse.
inline Float4 select(Int4 mask, Float4 ifTrue, Float4 ifFalse) noexcept {
    return reinterpret_cast<Float4>((mask & reinterpret_cast<Int4>(ifTrue)) |
                                    (~mask & reinterpret_cast<Int4>(ifFalse)));
}

// Lanes 1, 0, 3, 2: each lane beside its neighbour's value.
inline Float4 swapPairs(Float4 a) noexcept {
#if defined(__clang__)
    return __builtin_shufflevector(a, a, 1, 0, 3, 2);
#else
    return __builtin_shuffle(a, Int4{1, 0, 3, 2});
#endif
}

// Lanes 0 and 1 of a followed by lanes 0 and 1 of b.
inline Float4 lowHalves(Float4 a, Float4 b) noexcept {
#if defined(__clang__)
    return __builtin_shufflevector(a, b, 0, 1, 4, 5);
#else
    return __builtin_shuffle(a, b, Int4{0, 1, 4, 5});
#endif
}

// Lanes 2 and 3 of a followed by lanes 0 and 1 of b.
inline Float4 highThenLowHalf(Float4 a, Float4 b) noexcept {
#if defined(__clang__)
    return __builtin_shufflevector(a, b, 2, 3, 4, 5);
#else
    return __builtin_shuffle(a, b, Int4{2, 3, 4, 5});
#endif
}

}  // namespace sorix
