// The main thread recomputes the equaliser many times per render block, as a dragged slider
// does, while a render thread equalises the same short block over and over. Every block must
// come out as the work of one whole coefficient set: either a set just picked up (filters from
// silence) or the continuation of the set already in use. A set read while half written, or a
// pick-up that kept stale memories, produces a block that is neither.

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstring>
#include <random>
#include <thread>
#include <vector>

#include "EQProcessor.h"

namespace sorix {
namespace {

constexpr int64_t kChannels = 2, kFrames = 48;
constexpr std::array<std::array<float, 6>, 3> kSets = {{
    {6, -4, 3, -5, 2, 8},
    {-3, 5, -6, 4, -2, -7},
    {12, -12, 9, -9, 6, -6},
}};

bool same(const std::vector<float>& a, const std::vector<float>& b) {
    return std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

TEST(CoefficientPublicationTest, RenderThreadOnlyEverUsesWholeSets) {
    std::vector<float> block(kChannels * kFrames);
    std::mt19937 rng(99);
    std::uniform_real_distribution<float> noise(-0.5f, 0.5f);
    for (float& s : block)
        s = noise(rng);

    // What the block becomes when each set has just been picked up.
    std::array<std::vector<float>, 3> fresh;
    for (std::size_t s = 0; s < kSets.size(); ++s) {
        EQProcessor eq;
        eq.setGains(kSets[s]);
        fresh[s] = block;
        eq.process(fresh[s].data(), kChannels, kFrames);
    }
    ASSERT_FALSE(same(fresh[0], fresh[1]) || same(fresh[1], fresh[2]));

    EQProcessor eq;
    eq.setGains(kSets[0]);
    std::atomic<bool> stop{false};
    std::atomic<uint64_t> blocks{0};
    uint64_t pickUps = 0, continuations = 0, strays = 0;

    std::thread render([&] {
        // A private processor replays the render thread's history: it adopts a set whenever
        // one is picked up and otherwise runs on, so it predicts every continuation.
        EQProcessor model;
        bool tracking = false;
        std::vector<float> out, expected;
        while (!stop.load(std::memory_order_acquire)) {
            out = block;
            eq.process(out.data(), kChannels, kFrames);
            expected = block;
            std::size_t picked = kSets.size();
            for (std::size_t s = 0; s < kSets.size(); ++s)
                if (same(out, fresh[s])) picked = s;
            if (picked < kSets.size()) {
                model.setGains(kSets[picked]);
                model.process(expected.data(), kChannels, kFrames);
                tracking = true;
                ++pickUps;
            } else if (tracking) {
                model.process(expected.data(), kChannels, kFrames);
                if (same(out, expected)) {
                    ++continuations;
                } else {
                    ++strays;
                    tracking = false;
                }
            } else {
                ++strays;
            }
            blocks.fetch_add(1, std::memory_order_release);
        }
    });

    // Every sixteenth recompute waits for three more blocks: at least one of them starts after
    // the last publication, so each wait guarantees a pick-up and a continuation.
    constexpr int kRecomputes = 16000, kBurst = 16;
    for (int i = 0; i < kRecomputes; ++i) {
        eq.setGains(kSets[(i + i / 7) % kSets.size()]);
        if (i % kBurst == kBurst - 1) {
            const uint64_t seen = blocks.load(std::memory_order_acquire);
            while (blocks.load(std::memory_order_acquire) < seen + 3)
                std::this_thread::yield();
        }
    }
    stop.store(true, std::memory_order_release);
    render.join();

    EXPECT_EQ(strays, 0u);
    EXPECT_GE(pickUps, static_cast<uint64_t>(kRecomputes / kBurst));
    EXPECT_GE(continuations, static_cast<uint64_t>(kRecomputes / kBurst));
}

}  // namespace
}  // namespace sorix
