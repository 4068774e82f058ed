#include "DefaultTakeover.h"

#include "DefaultChoice.h"

namespace sorix::pulse {

DefaultTakeover::DefaultTakeover(PulseConnection& connection, ServerMirror& mirror,
                                 TakeoverJournal& journal, Deliver deliver, Report report,
                                 Clock clock)
    : connection_(connection),
      mirror_(mirror),
      journal_(journal),
      deliver_(std::move(deliver)),
      report_(std::move(report)),
      clock_(std::move(clock)) {}

void DefaultTakeover::hold(const std::string& userSink) {
    userSink_ = userSink;
    journal_.defaultTaken(userSink_);
    deliver_(mirror_.holdDefault(tapSink_, userSink_));
}

void DefaultTakeover::take(const std::string& tapSink) {
    if (tapSink_ == tapSink || connection_.context() == nullptr) return;
    const std::string current = mirror_.serverDefaultName();
    const std::string user = userSinkAtTakeover(current, mirror_.sinks(), userSink_);
    if (user.empty()) return;
    tapSink_ = tapSink;
    hold(user);
    if (current != tapSink_) setServerDefault(tapSink_);
}

void DefaultTakeover::giveBack(const std::string& tapSink) {
    if (tapSink_.empty() || tapSink_ != tapSink) return;
    tapSink_.clear();
    deliver_(mirror_.releaseDefault());
    if (connection_.context() != nullptr && mirror_.serverDefaultName() == tapSink) {
        // The user's output may have been pulled in the moment before the tap went, before the
        // removal was told: the server would then be left with no default at all.
        const std::string home =
            mirror_.sinkNamed(userSink_) ? userSink_ : firstRealSink(mirror_.sinks());
        if (!home.empty()) setServerDefault(home);
    }
    journal_.defaultGivenBack();
}

void DefaultTakeover::serverInfoStored() {
    if (tapSink_.empty()) return;
    const auto chosen = userChoiceIn(mirror_.serverDefaultName(), mirror_.sinks(), tapSink_,
                                     userSink_, clock_() - lastRequest_);
    if (!chosen) return;
    hold(*chosen);
    setServerDefault(tapSink_);
}

void DefaultTakeover::sinkRemoved() {
    if (userSink_.empty() || mirror_.sinkNamed(userSink_)) return;
    const std::string next = firstRealSink(mirror_.sinks());
    if (next.empty()) return;
    if (tapSink_.empty()) {
        // The tap was given back just before the user's output went, so the server was asked to
        // return to an output that is gone: unless it found another by itself, the next real one.
        if (!mirror_.sinkNamed(mirror_.serverDefaultName())) setServerDefault(next);
        userSink_ = next;
        return;
    }
    // The user's output was pulled while the tap stood in for it, so the server chose none in its
    // place: the next real output becomes the user's.
    hold(next);
}

void DefaultTakeover::connectionLost() { tapSink_.clear(); }

void DefaultTakeover::setServerDefault(const std::string& sink) {
    pa_context* context = connection_.context();
    if (context == nullptr) return;
    lastRequest_ = clock_();
    connection_.requests().send(
        context, Done([report = report_, sink](const Outcome& outcome) {
            if (outcome.failed())
                report("could not make " + sink + " the default output: " + outcome.problem());
        }),
        [&](Done& done) {
            return pa_context_set_default_sink(context, sink.c_str(), Done::reply, &done);
        });
}

}  // namespace sorix::pulse
