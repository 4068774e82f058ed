#include "EQProcessor.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "FastTanh.h"
#include "SafeNumber.h"

namespace sorix {

namespace {

struct CoefficientLanes {
    Float4 b0, b1, b2, a1, a2;
};

struct MemoryLanes {
    Float4 x1, x2, y1, y2;
};

// One direct-form-I step for four independent filters, in the order of the scalar formula
// y = b0 x + b1 x1 + b2 x2 - a1 y1 - a2 y2.
SORIX_LANES_INLINE Float4 biquadStep(const CoefficientLanes& k, MemoryLanes& m, Float4 x) noexcept {
    const Float4 y = k.b0 * x + k.b1 * m.x1 + k.b2 * m.x2 - k.a1 * m.y1 - k.a2 * m.y2;
    m.x2 = m.x1;
    m.x1 = x;
    m.y2 = m.y1;
    m.y1 = y;
    return y;
}

constexpr float kSoftClipKnee = 0.92f;
constexpr float kSoftClipRange = 1.0f - kSoftClipKnee;

// The bit patterns of magnitudes, read as integers, order as the magnitudes do, with every
// infinity and NaN above every finite value: an integer comparison tells quiet, loud and broken
// samples apart where a float one would let NaN pass as quiet.
constexpr int32_t kKneeBits = std::bit_cast<int32_t>(kSoftClipKnee);
constexpr int32_t kInfinityBits = 0x7F800000;

// Values up to 0.92 pass; above, the magnitude bends towards 1.0 and never exceeds it. A value
// that is not finite (a filter that has blown up) is silence. Eight lanes at a time, with one
// value in lane 0 for the tail: every lane does the same operations.
template <typename V>
SORIX_LANES_INLINE V softClip(V x) noexcept {
    using IntLanes = decltype(x < x);
    const IntLanes bits = reinterpret_cast<IntLanes>(x);
    const IntLanes magnitudeBits = bits & INT32_MAX;
    const V magnitude = reinterpret_cast<V>(magnitudeBits);
    const V bent =
        kSoftClipKnee + kSoftClipRange * tanhLanes((magnitude - kSoftClipKnee) / kSoftClipRange);
    const V clipped =
        select(magnitudeBits > kKneeBits,
               reinterpret_cast<V>(reinterpret_cast<IntLanes>(bent) | (bits & INT32_MIN)), x);
    return reinterpret_cast<V>(reinterpret_cast<IntLanes>(clipped) &
                               (magnitudeBits < kInfinityBits));
}

SORIX_LANES_INLINE void softClipBlock(float* samples, int64_t count) noexcept {
    int64_t i = 0;
    for (; i + 8 <= count; i += 8) {
        const Float8 x = load8(samples + i);
        // Quiet stretches skip the curve; NaN and infinities are not quiet.
        if (anyLane((reinterpret_cast<Int8>(x) & INT32_MAX) > kKneeBits))
            store8(samples + i, softClip(x));
    }
    for (; i < count; ++i)
        samples[i] = softClip(splat(samples[i]))[0];
}

// Lane l of vector g holds band 2g + l / 2 of the pair's channel l % 2.
constexpr int bandOfLane(int vector, int lane) { return 2 * vector + lane / 2; }

}  // namespace

EQProcessor::EQProcessor() { recompute(); }

EQProcessor::Coeff EQProcessor::coefficient(const BandSpec& band, float gainDB, float rate) {
    if (std::fabs(gainDB) <= inactiveGainDB) return Coeff{};

    const float A = std::pow(10.0f, gainDB / 40.0f);
    const float w0 = band.freq * 6.283185f / rate;
    const float cs = std::cos(w0);
    const float sn = std::sin(w0);
    const float alpha = sn / (2.0f * band.q);
    const float s = 2.0f * std::sqrt(A) * alpha;

    float b0 = 1, b1 = 0, b2 = 0, a0 = 1, a1 = 0, a2 = 0;
    switch (band.kind) {
        case Kind::lowShelf:
            b0 = A * ((A + 1) - (A - 1) * cs + s);
            b1 = 2 * A * ((A - 1) - (A + 1) * cs);
            b2 = A * ((A + 1) - (A - 1) * cs - s);
            a0 = (A + 1) + (A - 1) * cs + s;
            a1 = -2 * ((A - 1) + (A + 1) * cs);
            a2 = (A + 1) + (A - 1) * cs - s;
            break;
        case Kind::peak:
            b0 = 1 + alpha * A;
            b1 = -2 * cs;
            b2 = 1 - alpha * A;
            a0 = 1 + alpha / A;
            a1 = -2 * cs;
            a2 = 1 - alpha / A;
            break;
        case Kind::highShelf:
            b0 = A * ((A + 1) + (A - 1) * cs + s);
            b1 = -2 * A * ((A - 1) + (A + 1) * cs);
            b2 = A * ((A + 1) + (A - 1) * cs - s);
            a0 = (A + 1) - (A - 1) * cs + s;
            a1 = 2 * ((A - 1) - (A + 1) * cs);
            a2 = (A + 1) - (A - 1) * cs - s;
            break;
    }
    return Coeff{b0 / a0, b1 / a0, b2 / a0, a1 / a0, a2 / a0};
}

void EQProcessor::prepare(const RenderSpec& spec) {
    if (spec.sampleRate > 0 && std::isfinite(spec.sampleRate))
        sampleRate_ = static_cast<float>(spec.sampleRate);
    recompute();
}

void EQProcessor::reset() { recompute(); }

void EQProcessor::recompute() {
    std::array<Coeff, bandCount> coeffs;
    for (int b = 0; b < bandCount; ++b)
        coeffs[b] = coefficient(bands[b], gainsDB_[b], sampleRate_);
    publish(std::any_of(gainsDB_.begin(), gainsDB_.end(),
                        [](float g) { return std::fabs(g) > inactiveGainDB; }),
            coeffs);
}

void EQProcessor::useCoefficients(const std::array<Coeff, bandCount>& coeffs) {
    publish(true, coeffs);
}

void EQProcessor::publish(bool active, const std::array<Coeff, bandCount>& coeffs) {
    CoefficientSet set;
    set.active = active;
    set.coeffs = coeffs;
    for (int v = 0; v < vectorsPerPair; ++v) {
        for (int lane = 0; lane < lanesPerVector; ++lane) {
            const Coeff& c = set.coeffs[bandOfLane(v, lane)];
            set.lanes[v].b0[lane] = c.b0;
            set.lanes[v].b1[lane] = c.b1;
            set.lanes[v].b2[lane] = c.b2;
            set.lanes[v].a1[lane] = c.a1;
            set.lanes[v].a2[lane] = c.a2;
        }
    }
    current_ = set;
    exchange_.writeSlot() = set;
    exchange_.publish();
}

void EQProcessor::setGains(std::span<const float> gains) {
    gainsDB_.fill(0.0f);
    const std::size_t used = std::min<std::size_t>(gains.size(), bandCount);
    for (std::size_t i = 0; i < used; ++i)
        gainsDB_[i] = clampedOr(gains[i], 0.0f, -maxGainDB, maxGainDB);
    recompute();
}

SORIX_RENDER_CLONES void EQProcessor::process(float* buffer, int64_t channels,
                                              int64_t frames) noexcept {
    // A new set restarts the filters from silence, as a recompute promises.
    if (exchange_.takeLatest()) state_ = {};
    const CoefficientSet& set = exchange_.readSlot();
    if (!set.active || channels <= 0 || channels > maxChannels || frames <= 0) return;

    // An odd last channel runs in both lanes of its pair; the twin lane computes the same values.
    for (int64_t first = 0, pair = 0; first < channels; first += 2, ++pair) {
        const int64_t second = std::min(first + 1, channels - 1);
        processChannelPair(set, buffer, channels, first, second, frames, state_[pair]);
    }
    softClipBlock(buffer, channels * frames);
}

// The six bands run as a pipeline: at step t band b filters frame t - 2b, so all twelve filters
// of a channel pair advance together and frame t - 10 leaves the last band. A band takes its
// predecessor's output of two steps back, which keeps the chain from one band to the next off
// the critical path of a step. Each filter still sees its input in order with its own memories,
// so the output is exactly that of running the bands one after another on every sample.
SORIX_RENDER_CLONES void EQProcessor::processChannelPair(
    const CoefficientSet& set, float* buffer, int64_t channels, int64_t first, int64_t second,
    int64_t frames, std::array<LaneState, vectorsPerPair>& state) noexcept {
    constexpr int64_t latency = 2 * (bandCount - 1);

    CoefficientLanes k[vectorsPerPair];
    MemoryLanes m[vectorsPerPair];
    for (int v = 0; v < vectorsPerPair; ++v) {
        const LaneCoefficients& c = set.lanes[v];
        k[v] = {load4(c.b0), load4(c.b1), load4(c.b2), load4(c.a1), load4(c.a2)};
        m[v] = {load4(state[v].x1), load4(state[v].x2), load4(state[v].y1), load4(state[v].y2)};
    }

    // Filling and draining the pipeline: only bands that have a frame in range move. A band whose
    // predecessor has already run out of frames finds the output it needs in y1, not y2.
    auto partialStep = [&](int64_t t) {
        const float* in = buffer + std::min(t, frames - 1) * channels;
        Float4 x[vectorsPerPair] = {lowHalves(Float4{in[first], in[second], 0, 0}, m[0].y2),
                                    highThenLowHalf(m[0].y2, m[1].y2),
                                    highThenLowHalf(m[1].y2, m[2].y2)};
        for (int v = 0; v < vectorsPerPair; ++v) {
            for (int lane = 0; lane < lanesPerVector; ++lane) {
                const int band = bandOfLane(v, lane);
                if (band == 0 || t - 2 * band != frames - 1) continue;
                const int producer = band - 1;
                x[v][lane] = m[producer / 2].y1[2 * (producer % 2) + lane % 2];
            }
        }
        for (int v = 0; v < vectorsPerPair; ++v) {
            const MemoryLanes before = m[v];
            biquadStep(k[v], m[v], x[v]);
            for (int lane = 0; lane < lanesPerVector; ++lane) {
                const int64_t frame = t - 2 * bandOfLane(v, lane);
                if (frame >= 0 && frame < frames) continue;
                m[v].x1[lane] = before.x1[lane];
                m[v].x2[lane] = before.x2[lane];
                m[v].y1[lane] = before.y1[lane];
                m[v].y2[lane] = before.y2[lane];
            }
        }
        if (t >= latency) {
            float* out = buffer + (t - latency) * channels;
            out[first] = m[2].y1[2];
            out[second] = m[2].y1[3];
        }
    };

    int64_t t = 0;
    for (; t < std::min(latency, frames); ++t)
        partialStep(t);
    if (t < frames) {
        // The steady state, with every memory in a local the compiler can keep in a register.
        MemoryLanes m0 = m[0], m1 = m[1], m2 = m[2];
        const CoefficientLanes k0 = k[0], k1 = k[1], k2 = k[2];
        for (; t < frames; ++t) {
            const float* in = buffer + t * channels;
            const Float4 x0 = lowHalves(Float4{in[first], in[second], 0, 0}, m0.y2);
            const Float4 x1 = highThenLowHalf(m0.y2, m1.y2);
            const Float4 x2 = highThenLowHalf(m1.y2, m2.y2);
            biquadStep(k0, m0, x0);
            biquadStep(k1, m1, x1);
            const Float4 y = biquadStep(k2, m2, x2);
            float* out = buffer + (t - latency) * channels;
            out[first] = y[2];
            out[second] = y[3];
        }
        m[0] = m0;
        m[1] = m1;
        m[2] = m2;
    }
    for (; t < frames + latency; ++t)
        partialStep(t);

    // x - x is 0 exactly when x is finite. A pair whose filters have blown up (an unstable or NaN
    // coefficient) starts the next block from silence instead of playing silence for good.
    Int4 finite = ~Int4{};
    for (int v = 0; v < vectorsPerPair; ++v) {
        finite &= (m[v].x1 - m[v].x1 == 0.0f) & (m[v].x2 - m[v].x2 == 0.0f) &
                  (m[v].y1 - m[v].y1 == 0.0f) & (m[v].y2 - m[v].y2 == 0.0f);
    }
    const bool blownUp = (finite[0] & finite[1] & finite[2] & finite[3]) == 0;
    for (int v = 0; v < vectorsPerPair; ++v) {
        store4(state[v].x1, blownUp ? Float4{} : m[v].x1);
        store4(state[v].x2, blownUp ? Float4{} : m[v].x2);
        store4(state[v].y1, blownUp ? Float4{} : m[v].y1);
        store4(state[v].y2, blownUp ? Float4{} : m[v].y2);
    }
}

}  // namespace sorix
