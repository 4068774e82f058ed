#pragma once

#include <functional>
#include <memory>
#include <utility>

namespace sorix::pulse {

// Requests whose answers belong together, as the ones that make a first full picture of the
// server: the group is complete once it is closed and every member has ended with an answer. A
// member that ends unanswered (its connection died) leaves the group incomplete for good; the
// next connection starts a group of its own.
class RequestGroup {
  public:
    // For one more request: call it once, when the request ends.
    std::function<void(bool answered)> member() {
        ++state_->open;
        return [state = state_](bool answered) {
            --state->open;
            state->missing = state->missing || !answered;
            state->completeIfDue();
        };
    }
    // No more members; `complete` runs once all have answered (at once if they have).
    void close(std::function<void()> complete) {
        state_->complete = std::move(complete);
        state_->closed = true;
        state_->completeIfDue();
    }

  private:
    struct State {
        int open = 0;
        bool closed = false;
        bool missing = false;
        std::function<void()> complete;

        void completeIfDue() {
            if (!closed || open > 0 || missing || !complete) return;
            std::exchange(complete, nullptr)();
        }
    };
    std::shared_ptr<State> state_ = std::make_shared<State>();
};

}  // namespace sorix::pulse
