#pragma once

#include <cstdint>
#include <cstring>

// Hot render functions are compiled twice on x86-64, for the baseline and for AVX2 machines, and
// the loader picks one. Both perform the same IEEE operations (no fused multiply-adds), so the
// output does not depend on the machine. ThreadSanitizer cannot run the loader's resolvers, and
// SORIX_NO_MACHINE_CLONES builds the baseline alone (so its tests cover it on any machine).
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && \
    !defined(__SANITIZE_THREAD__) && !defined(SORIX_NO_MACHINE_CLONES)
#define SORIX_RENDER_CLONES __attribute__((target_clones("avx2", "default")))
#else
#define SORIX_RENDER_CLONES
#endif

// Every helper that takes or returns lanes is forced inline: it is then compiled into each
// machine-specific copy of its caller, and lanes never cross a call, where the baseline and the
// AVX conventions for passing eight-lane vectors differ.
#define SORIX_LANES_INLINE [[gnu::always_inline]] inline

namespace sorix {

// Four single-precision lanes (GNU vector extension, SSE on x86-64, NEON on arm64). Arithmetic on
// it is element-wise IEEE arithmetic, so a lane computes exactly what the same scalar expression
// would: vector code and its scalar twin agree to the bit.
using Float4 = float __attribute__((vector_size(16)));
using Int4 = int32_t __attribute__((vector_size(16)));

SORIX_LANES_INLINE Float4 splat(float v) noexcept { return Float4{v, v, v, v}; }

SORIX_LANES_INLINE Float4 load4(const float* p) noexcept {
    Float4 v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

SORIX_LANES_INLINE void store4(float* p, Float4 v) noexcept { std::memcpy(p, &v, sizeof v); }

SORIX_LANES_INLINE Float4 abs4(Float4 v) noexcept {
    return reinterpret_cast<Float4>(reinterpret_cast<Int4>(v) & INT32_MAX);
}

// Lane by lane: ifTrue where the comparison mask is set, else ifFalse.
SORIX_LANES_INLINE Float4 select(Int4 mask, Float4 ifTrue, Float4 ifFalse) noexcept {
    return reinterpret_cast<Float4>((mask & reinterpret_cast<Int4>(ifTrue)) |
                                    (~mask & reinterpret_cast<Int4>(ifFalse)));
}

// Eight lanes: one register on AVX machines, a pair of four-lane registers elsewhere. Used where
// the work per lane is long enough that width pays.
using Float8 = float __attribute__((vector_size(32)));
using Int8 = int32_t __attribute__((vector_size(32)));

SORIX_LANES_INLINE Float8 load8(const float* p) noexcept {
    Float8 v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

SORIX_LANES_INLINE void store8(float* p, Float8 v) noexcept { std::memcpy(p, &v, sizeof v); }

SORIX_LANES_INLINE Float8 abs8(Float8 v) noexcept {
    return reinterpret_cast<Float8>(reinterpret_cast<Int8>(v) & INT32_MAX);
}

SORIX_LANES_INLINE Float8 select(Int8 mask, Float8 ifTrue, Float8 ifFalse) noexcept {
    return reinterpret_cast<Float8>((mask & reinterpret_cast<Int8>(ifTrue)) |
                                    (~mask & reinterpret_cast<Int8>(ifFalse)));
}

// True when any lane of a comparison mask is set.
SORIX_LANES_INLINE bool anyLane(Int8 mask) noexcept {
    using Halves = int64_t __attribute__((vector_size(32)));
    const auto h = reinterpret_cast<Halves>(mask);
    return (h[0] | h[1] | h[2] | h[3]) != 0;
}

// Lanes 1, 0, 3, 2: each lane beside its neighbour's value.
SORIX_LANES_INLINE Float4 swapPairs(Float4 a) noexcept {
#if defined(__clang__)
    return __builtin_shufflevector(a, a, 1, 0, 3, 2);
#else
    return __builtin_shuffle(a, Int4{1, 0, 3, 2});
#endif
}

// Lanes 0 and 1 of a followed by lanes 0 and 1 of b.
SORIX_LANES_INLINE Float4 lowHalves(Float4 a, Float4 b) noexcept {
#if defined(__clang__)
    return __builtin_shufflevector(a, b, 0, 1, 4, 5);
#else
    return __builtin_shuffle(a, b, Int4{0, 1, 4, 5});
#endif
}

// Lanes 2 and 3 of a followed by lanes 0 and 1 of b.
SORIX_LANES_INLINE Float4 highThenLowHalf(Float4 a, Float4 b) noexcept {
#if defined(__clang__)
    return __builtin_shufflevector(a, b, 2, 3, 4, 5);
#else
    return __builtin_shuffle(a, b, Int4{2, 3, 4, 5});
#endif
}

}  // namespace sorix
