#include "PulseConnection.h"

#include <cmath>

namespace sorix::pulse {

namespace {

constexpr double kReconnectDelaySeconds = 1.0;

}  // namespace

// --- LoopTimer ---

LoopTimer::LoopTimer(pa_mainloop_api* api, std::function<void()> fired)
    : api_(api), fired_(std::move(fired)) {
    // Made disarmed; start() arms it.
    event_ = api_->time_new(api_, nullptr, &LoopTimer::onTime, this);
}

LoopTimer::~LoopTimer() {
    if (event_ != nullptr) api_->time_free(event_);
}

void LoopTimer::start(double seconds) {
    timeval when{};
    pa_timeval_add(pa_gettimeofday(&when),
                   static_cast<pa_usec_t>(std::llround(seconds * PA_USEC_PER_SEC)));
    api_->time_restart(event_, &when);
    armed_ = true;
}

void LoopTimer::stop() {
    api_->time_restart(event_, nullptr);
    armed_ = false;
}

void LoopTimer::onTime(pa_mainloop_api*, pa_time_event* event, const timeval*, void* self) {
    auto* timer = static_cast<LoopTimer*>(self);
    // A fired event stays where it was until it is moved; it must not fire again by itself.
    timer->api_->time_restart(event, nullptr);
    timer->armed_ = false;
    timer->fired_();
}

// --- PulseConnection ---

PulseConnection::Lock::Lock(const PulseConnection& connection) : loop_(connection.loop_) {
    pa_threaded_mainloop_lock(loop_);
}

PulseConnection::Lock::~Lock() { pa_threaded_mainloop_unlock(loop_); }

PulseConnection::PulseConnection(std::string threadName)
    : threadName_(std::move(threadName)),
      loop_(pa_threaded_mainloop_new()),
      requests_(std::make_unique<RequestTable>(loop_)) {
    pa_threaded_mainloop_set_name(loop_, threadName_.c_str());
}

PulseConnection::~PulseConnection() {
    stop();
    pa_threaded_mainloop_free(loop_);
}

void PulseConnection::start(Observer& observer) {
    Lock lock(*this);
    if (started_) return;
    started_ = true;
    observer_ = &observer;
    reconnect_ = std::make_unique<LoopTimer>(api(), [this] {
        if (!stopping_) connect();
    });
    pa_threaded_mainloop_start(loop_);
    connect();
}

void PulseConnection::stop() {
    if (!started_) return;
    {
        Lock lock(*this);
        if (stopping_) return;
        stopping_ = true;
        reconnect_.reset();
        // Going for good is no loss to tell of: nobody is left to act on it.
        announcedReady_ = false;
        dropContext();
    }
    pa_threaded_mainloop_stop(loop_);
}

pa_context* PulseConnection::context() const {
    return context_ != nullptr && pa_context_get_state(context_) == PA_CONTEXT_READY ? context_
                                                                                     : nullptr;
}

pa_mainloop_api* PulseConnection::api() const { return pa_threaded_mainloop_get_api(loop_); }

void PulseConnection::wait(const Operation& operation) const {
    while (operation.running())
        pa_threaded_mainloop_wait(loop_);
}

void PulseConnection::dropContext() {
    if (context_ == nullptr) return;
    // Disconnecting cancels every request in flight, whose completions hear so now, while the
    // observer can still take it in. Its state is no news any more: the loss is told below.
    pa_context_set_state_callback(context_, nullptr, nullptr);
    pa_context_set_subscribe_callback(context_, nullptr, nullptr);
    pa_context_disconnect(context_);
    pa_context_unref(context_);
    context_ = nullptr;
    ready_ = false;
    if (announcedReady_) {
        announcedReady_ = false;
        observer_->connectionLost();
    }
}

void PulseConnection::connect() {
    dropContext();
    pa_proplist* identity = pa_proplist_new();
    pa_proplist_sets(identity, PA_PROP_APPLICATION_NAME, "Sorix");
    pa_proplist_sets(identity, PA_PROP_APPLICATION_ID, "org.sorix.Sorix");
    pa_proplist_sets(identity, PA_PROP_APPLICATION_ICON_NAME, "sorix");
    context_ = pa_context_new_with_proplist(api(), "Sorix", identity);
    pa_proplist_free(identity);
    pa_context_set_state_callback(context_, &PulseConnection::onState, this);
    pa_context_set_subscribe_callback(context_, &PulseConnection::onEvent, this);
    // Never start a sound server: Sorix follows the one the desktop runs.
    if (pa_context_connect(context_, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0)
        reconnect_->start(kReconnectDelaySeconds);
}

void PulseConnection::onState(pa_context* context, void* self) {
    auto* connection = static_cast<PulseConnection*>(self);
    switch (pa_context_get_state(context)) {
        case PA_CONTEXT_READY:
            connection->ready_ = true;
            connection->announcedReady_ = true;
            connection->observer_->connectionReady(context);
            break;
        case PA_CONTEXT_FAILED:
        case PA_CONTEXT_TERMINATED:
            connection->ready_ = false;
            if (connection->announcedReady_) {
                connection->announcedReady_ = false;
                connection->observer_->connectionLost();
            }
            if (!connection->stopping_ && !connection->reconnect_->armed())
                connection->reconnect_->start(kReconnectDelaySeconds);
            break;
        default:
            break;
    }
}

void PulseConnection::onEvent(pa_context*, pa_subscription_event_type_t event, uint32_t index,
                              void* self) {
    static_cast<PulseConnection*>(self)->observer_->serverEvent(event, index);
}

}  // namespace sorix::pulse
