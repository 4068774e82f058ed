#pragma once

#include <atomic>

namespace sorix {

// A word shared between the main thread and the render thread. Every access is a relaxed atomic:
// each word is independent, so no ordering between words is needed, only freedom from tearing.
// Reads and writes look like plain field access, which keeps control code readable.
template <typename T>
class RelaxedAtomic {
    static_assert(std::atomic<T>::is_always_lock_free, "shared words must be lock-free");

  public:
    constexpr RelaxedAtomic() noexcept = default;
    constexpr RelaxedAtomic(T initial) noexcept
        : value_(initial) {}  // NOLINT(google-explicit-constructor)
    RelaxedAtomic(const RelaxedAtomic&) = delete;
    RelaxedAtomic& operator=(const RelaxedAtomic&) = delete;

    T load() const noexcept { return value_.load(std::memory_order_relaxed); }
    void store(T v) noexcept { value_.store(v, std::memory_order_relaxed); }

    operator T() const noexcept { return load(); }  // NOLINT(google-explicit-constructor)
    RelaxedAtomic& operator=(T v) noexcept {
        store(v);
        return *this;
    }

    // For counters with a single writer: a plain load and store, never a locked read-modify-write.
    void addFromSingleWriter(T delta) noexcept { store(static_cast<T>(load() + delta)); }

  private:
    std::atomic<T> value_{};
};

}  // namespace sorix
