#include "ManualMainQueue.h"

#include <algorithm>

namespace sorix {

struct ManualMainQueue::TimerState {
    double interval;
    Task task;
    bool cancelled = false;
};

class ManualMainQueue::ManualTimer : public MainQueue::Timer {
  public:
    explicit ManualTimer(std::shared_ptr<TimerState> state) : state_(std::move(state)) {}
    ~ManualTimer() override { state_->cancelled = true; }
    void cancel() override { state_->cancelled = true; }

  private:
    std::shared_ptr<TimerState> state_;
};

void ManualMainQueue::async(Task task) {
    std::lock_guard lock(mutex_);
    ready_.push_back(std::move(task));
}

void ManualMainQueue::asyncAfter(double seconds, Task task) {
    std::lock_guard lock(mutex_);
    schedule(now_ + std::max(seconds, 0.0), Scheduled{std::move(task), nullptr});
}

std::unique_ptr<MainQueue::Timer> ManualMainQueue::repeating(double intervalSeconds, Task task) {
    // A zero interval would tick forever within one advance.
    auto state =
        std::make_shared<TimerState>(TimerState{std::max(intervalSeconds, 1e-3), std::move(task)});
    std::lock_guard lock(mutex_);
    schedule(now_ + state->interval, Scheduled{nullptr, state});
    return std::make_unique<ManualTimer>(state);
}

void ManualMainQueue::schedule(double due, Scheduled entry) {
    scheduled_.emplace(ScheduleKey{due, sequence_++}, std::move(entry));
}

int ManualMainQueue::runPending() {
    int ran = 0;
    for (;;) {
        Task task;
        {
            std::lock_guard lock(mutex_);
            if (ready_.empty()) return ran;
            task = std::move(ready_.front());
            ready_.pop_front();
        }
        task();
        ++ran;
    }
}

void ManualMainQueue::advance(double seconds) {
    const double target = now_ + std::max(seconds, 0.0);
    runPending();
    for (;;) {
        Scheduled entry;
        {
            std::lock_guard lock(mutex_);
            if (scheduled_.empty() || scheduled_.begin()->first.first > target) break;
            auto first = scheduled_.begin();
            now_ = first->first.first;
            entry = std::move(first->second);
            scheduled_.erase(first);
            if (entry.timer) {
                if (entry.timer->cancelled) continue;
                schedule(now_ + entry.timer->interval, Scheduled{nullptr, entry.timer});
            }
        }
        if (entry.timer) {
            entry.timer->task();
        } else {
            entry.task();
        }
        runPending();
    }
    now_ = target;
}

std::size_t ManualMainQueue::scheduledCount() const {
    std::lock_guard lock(mutex_);
    return static_cast<std::size_t>(std::count_if(
        scheduled_.begin(), scheduled_.end(),
        [](const auto& item) { return !(item.second.timer && item.second.timer->cancelled); }));
}

}  // namespace sorix
