#pragma once

#include <array>
#include <atomic>
#include <cstdint>

namespace sorix {

// Hands a value larger than a word from one writer thread to one reader thread without locks.
// The writer fills its private slot and publishes it; the reader picks up the newest published
// slot when it chooses to. Neither side ever waits, the writer may publish any number of times
// between two reads, and the reader never sees a slot that is still being written.
template <typename T>
class TripleBuffer {
  public:
    TripleBuffer() = default;
    explicit TripleBuffer(const T& initial) : slots_{initial, initial, initial} {}

    // Writer side.
    T& writeSlot() noexcept { return slots_[back_]; }
    void publish() noexcept {
        back_ = middle_.exchange(static_cast<uint8_t>(back_ | kFresh), std::memory_order_acq_rel) &
                kIndexMask;
    }

    // Reader side: true when a newer value was taken.
    bool takeLatest() noexcept {
        if ((middle_.load(std::memory_order_relaxed) & kFresh) == 0) return false;
        front_ = middle_.exchange(front_, std::memory_order_acq_rel) & kIndexMask;
        return true;
    }
    const T& readSlot() const noexcept { return slots_[front_]; }

  private:
    static constexpr uint8_t kFresh = 0x4;
    static constexpr uint8_t kIndexMask = 0x3;

    std::array<T, 3> slots_{};
    uint8_t back_ = 0;                // writer's private slot
    uint8_t front_ = 1;               // reader's private slot
    std::atomic<uint8_t> middle_{2};  // the slot in between, with the fresh flag
};

}  // namespace sorix
