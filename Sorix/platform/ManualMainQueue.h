#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <utility>

#include "MainQueue.h"

namespace sorix {

// A main queue on a virtual clock for tests: nothing runs until the test says so, and delays,
// retries and timers run at once and in a deterministic order when the clock is advanced.
class ManualMainQueue : public MainQueue {
  public:
    void async(Task task) override;
    void asyncAfter(double seconds, Task task) override;
    std::unique_ptr<Timer> repeating(double intervalSeconds, Task task) override;
    double now() const override { return now_; }

    // Runs queued tasks (and the tasks they queue) until none is left; returns how many ran.
    int runPending();
    // Moves the clock forward, running every task and timer tick that falls due on the way at
    // its own time, in time order (posting order for equal times).
    void advance(double seconds);
    // Delayed tasks and live timers still waiting.
    std::size_t scheduledCount() const;

  private:
    struct TimerState;
    class ManualTimer;

    struct Scheduled {
        Task task;
        std::shared_ptr<TimerState> timer;  // set for a timer's tick
    };

    // Due time, then posting order.
    using ScheduleKey = std::pair<double, uint64_t>;

    void schedule(double due, Scheduled entry);

    double now_ = 0.0;
    uint64_t sequence_ = 0;
    mutable std::mutex mutex_;  // tasks may be posted from other threads
    std::deque<Task> ready_;
    std::map<ScheduleKey, Scheduled> scheduled_;
};

}  // namespace sorix
