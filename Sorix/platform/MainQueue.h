#pragma once

#include <functional>
#include <memory>

namespace sorix {

// The main thread's queue: every engine operation, listener and timer runs on it. Tasks posted
// from any thread run later on the main thread, in order; none runs inside the call that posts
// it.
class MainQueue {
  public:
    using Task = std::function<void()>;

    // A repeating timer; it stops when cancelled or destroyed.
    class Timer {
      public:
        virtual ~Timer() = default;
        virtual void cancel() = 0;
    };

    virtual ~MainQueue() = default;

    // From any thread: runs the task on the next turn of the main queue.
    virtual void async(Task task) = 0;
    // From any thread: runs the task on the main queue after the delay.
    virtual void asyncAfter(double seconds, Task task) = 0;
    // From the main thread: runs the task every interval until the timer is cancelled.
    virtual std::unique_ptr<Timer> repeating(double intervalSeconds, Task task) = 0;
    // Seconds on a monotonic clock.
    virtual double now() const = 0;
};

}  // namespace sorix
