// The render path runs on the audio thread, where an allocation can block on a lock held by a
// preempted thread. This binary replaces the global allocation functions with counting ones
// and drives the render path through every mode it has.

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <new>
#include <vector>

#include "RenderPath.h"

namespace {

std::atomic<uint64_t> allocations{0};

void* allocate(std::size_t size) noexcept {
    allocations.fetch_add(1, std::memory_order_relaxed);
    return std::malloc(size == 0 ? 1 : size);
}

void* allocate(std::size_t size, std::align_val_t alignment) noexcept {
    allocations.fetch_add(1, std::memory_order_relaxed);
    const std::size_t a = std::max(static_cast<std::size_t>(alignment), sizeof(void*));
    return std::aligned_alloc(a, (std::max<std::size_t>(size, 1) + a - 1) / a * a);
}

template <typename... Args>
void* allocateOrThrow(Args... args) {
    if (void* p = allocate(args...)) return p;
    throw std::bad_alloc();
}

}  // namespace

void* operator new(std::size_t n) { return allocateOrThrow(n); }
void* operator new[](std::size_t n) { return allocateOrThrow(n); }
void* operator new(std::size_t n, std::align_val_t a) { return allocateOrThrow(n, a); }
void* operator new[](std::size_t n, std::align_val_t a) { return allocateOrThrow(n, a); }
void* operator new(std::size_t n, const std::nothrow_t&) noexcept { return allocate(n); }
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept { return allocate(n); }
void* operator new(std::size_t n, std::align_val_t a, const std::nothrow_t&) noexcept {
    return allocate(n, a);
}
void* operator new[](std::size_t n, std::align_val_t a, const std::nothrow_t&) noexcept {
    return allocate(n, a);
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete(void* p, std::size_t, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete(void* p, std::align_val_t, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, std::align_val_t, const std::nothrow_t&) noexcept { std::free(p); }

namespace sorix {
namespace {

// Keeps the compiler from eliding an allocation it can see is unused.
void escape(void* p) { asm volatile("" : : "r"(p) : "memory"); }

TEST(RenderAllocationTest, CountingSeesEveryKindOfAllocation) {
    struct alignas(64) Wide {
        float lanes[16];
    };
    const uint64_t before = allocations.load();
    auto* plain = new int(1);
    auto* wide = new Wide[3];
    auto* quiet = new (std::nothrow) double[5];
    escape(plain), escape(wide), escape(quiet);
    delete plain, delete[] wide, delete[] quiet;
    EXPECT_EQ(allocations.load() - before, 3u);
}

TEST(RenderAllocationTest, IOCyclesAndPipelineRebuildsNeverAllocate) {
    auto path = std::make_unique<RenderPath>();
    EQProcessor& eq = path->eq();
    LoudnessProcessor& limiter = path->loudness();
    RenderBuffers* buffers = &path->buffers();
    limiter.setBoost(8.0f);
    eq.setGains(EQProcessor::gains(EQProcessor::Preset::music));
    buffers->outputGains[1] = 0.7f;
    buffers->outputDelays[1] = 480;
    buffers->outputDelays[2] = 5000;
    buffers->outputDelays[3] = 0xFFFFFFFF;

    constexpr uint32_t maxFrames = 512;
    std::vector<float> tap(2 * maxFrames);
    std::vector<float> storage(8 * maxFrames);
    AudioBuffer in[2] = {{2, 64, tap.data()}, {2, 0, tap.data()}};
    // Stereo, four channels, mono and a stereo buffer shorter than most blocks.
    AudioBuffer out[4] = {{2, 2 * maxFrames * 4, storage.data()},
                          {4, 4 * maxFrames * 4, storage.data()},
                          {1, maxFrames * 4, storage.data()},
                          {2, 2 * 300 * 4, storage.data()}};
    const AudioBufferList inList{2, in};
    AudioBufferList outList{4, out};

    uint64_t during = 0;
    float phase = 0.0f;
    for (int round = 0; round < 3000; ++round) {
        // Blocks of varying length, a mono tap for a while, bypass switched both ways and a
        // new equaliser set now and then, as the controls would.
        const uint32_t frames = 64 + static_cast<uint32_t>(round * 37) % (maxFrames - 63);
        const uint32_t channels = round / 500 == 3 ? 1 : 2;
        for (uint32_t i = 0; i < frames * channels; ++i, phase += 0.031f)
            tap[i] = std::sin(phase);
        in[1] = {channels, frames * channels * 4, tap.data()};
        buffers->processBypass = (round / 100) % 4 == 1 ? 1 : 0;
        if (round % 700 == 350)
            eq.setGains(EQProcessor::gains(round % 1400 == 350 ? EQProcessor::Preset::bass
                                                               : EQProcessor::Preset::movie));

        const uint64_t before = allocations.load();
        // A rebuild prepares the path for the new tap's rate between two cycles.
        if (round % 1000 == 999)
            path->prepare({.sampleRate = round % 2000 == 999 ? 44100.0 : 48000.0});
        path->render(inList, outList);
        during += allocations.load() - before;
    }
    EXPECT_EQ(during, 0u);
    EXPECT_GT(limiter.envelopeValue(), 0.6f);
    EXPECT_GT(buffers->samplesRendered.load(), 0u);
    EXPECT_EQ(buffers->ioDiagnostics[RenderBuffers::callbacks].load(), 3000u);
}

}  // namespace
}  // namespace sorix
