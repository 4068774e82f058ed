#pragma once

#include <pulse/pulseaudio.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include "PulseRequest.h"

namespace sorix::pulse {

// A one-shot timer on a connection's loop, armed again as often as wanted. Made, armed and freed
// with the loop lock held (or on the loop's own thread); it fires on the loop's thread.
class LoopTimer {
  public:
    LoopTimer(pa_mainloop_api* api, std::function<void()> fired);
    ~LoopTimer();
    LoopTimer(const LoopTimer&) = delete;
    LoopTimer& operator=(const LoopTimer&) = delete;

    // Fires once, `seconds` from now; arming an armed timer moves it.
    void start(double seconds);
    void stop();
    bool armed() const { return armed_; }

  private:
    static void onTime(pa_mainloop_api*, pa_time_event*, const struct timeval*, void* self);

    pa_mainloop_api* api_;
    pa_time_event* event_ = nullptr;
    std::function<void()> fired_;
    bool armed_ = false;
};

// One connection to the sound server on a thread of its own: libpulse's threaded main loop and a
// context on it. A lost or refused connection is tried again every second; a sound server is
// never started for it, since Sorix follows the one the desktop runs. Its observer hears of it on
// the loop's thread, with the loop lock held.
class PulseConnection {
  public:
    class Observer {
      public:
        virtual void connectionReady(pa_context* context) = 0;
        virtual void connectionLost() = 0;
        // A subscription event: the facility and type bits, and the object's index.
        virtual void serverEvent(pa_subscription_event_type_t, uint32_t) {}

      protected:
        ~Observer() = default;
    };

    // Holds the loop lock for a scope. Never taken on the loop's own thread, which holds the
    // lock whenever it runs anything of ours.
    class Lock {
      public:
        explicit Lock(const PulseConnection& connection);
        ~Lock();
        Lock(const Lock&) = delete;
        Lock& operator=(const Lock&) = delete;

      private:
        pa_threaded_mainloop* loop_;
    };

    explicit PulseConnection(std::string threadName);
    ~PulseConnection();
    PulseConnection(const PulseConnection&) = delete;
    PulseConnection& operator=(const PulseConnection&) = delete;

    // Starts the thread and the first attempt to connect.
    void start(Observer& observer);
    // Disconnects for good and stops the thread; every request in flight ends unanswered first.
    void stop();

    // Whether the context is ready; any thread.
    bool ready() const { return ready_.load(std::memory_order_relaxed); }
    // The ready context, or none. Loop lock held.
    pa_context* context() const;
    pa_mainloop_api* api() const;
    RequestTable& requests() { return *requests_; }
    // Loop lock held, off the loop's thread: returns once the operation has ended.
    void wait(const Operation& operation) const;

  private:
    void connect();
    void dropContext();
    static void onState(pa_context* context, void* self);
    static void onEvent(pa_context* context, pa_subscription_event_type_t event, uint32_t index,
                        void* self);

    std::string threadName_;
    pa_threaded_mainloop* loop_;
    std::unique_ptr<RequestTable> requests_;
    std::unique_ptr<LoopTimer> reconnect_;
    pa_context* context_ = nullptr;
    Observer* observer_ = nullptr;
    bool started_ = false;
    bool stopping_ = false;
    bool announcedReady_ = false;
    std::atomic<bool> ready_{false};
};

}  // namespace sorix::pulse
