#include "DefaultTakeover.h"

namespace sorix::pulse {

namespace {

// PipeWire's server may still name the previous default for a moment after it was asked to set a
// new one. Within this time, the user's own output named again is taken for that echo rather
// than for the user picking it once more.
constexpr auto kEchoWindow = std::chrono::milliseconds(1500);

}  // namespace

DefaultTakeover::DefaultTakeover(PulseConnection& connection, ServerMirror& mirror,
                                 TakeoverJournal& journal, Deliver deliver, Report report,
                                 Clock clock)
    : connection_(connection),
      mirror_(mirror),
      journal_(journal),
      deliver_(std::move(deliver)),
      report_(std::move(report)),
      clock_(std::move(clock)) {}

std::string DefaultTakeover::fallbackSink() const {
    for (const Sink& sink : mirror_.sinks()) {
        if (!sink.tapOwner) return sink.name;
    }
    return {};
}

void DefaultTakeover::hold(const std::string& userSink) {
    userSink_ = userSink;
    journal_.defaultTaken(userSink_);
    deliver_(mirror_.holdDefault(tapSink_, userSink_));
}

void DefaultTakeover::take(const std::string& tapSink) {
    if (tapSink_ == tapSink || connection_.context() == nullptr) return;
    tapSink_ = tapSink;
    const std::string current = mirror_.serverDefaultName();
    const auto currentSink = mirror_.sinkNamed(current);
    std::string user = current;
    // A server that kept a tap as its configured default (after a crash of ours or its own) makes
    // the new tap the default the moment it appears; the user's choice is then what we remember,
    // or the first real output.
    if (!currentSink || currentSink->tapOwner) {
        user = !userSink_.empty() && mirror_.sinkNamed(userSink_) ? userSink_ : fallbackSink();
    }
    if (user.empty()) {
        tapSink_.clear();
        return;
    }
    hold(user);
    if (current != tapSink_) setServerDefault(tapSink_);
}

void DefaultTakeover::giveBack(const std::string& tapSink) {
    if (tapSink_.empty() || tapSink_ != tapSink) return;
    tapSink_.clear();
    deliver_(mirror_.releaseDefault());
    if (connection_.context() != nullptr && mirror_.serverDefaultName() == tapSink &&
        mirror_.sinkNamed(userSink_))
        setServerDefault(userSink_);
    journal_.defaultGivenBack();
}

void DefaultTakeover::serverInfoStored() {
    if (tapSink_.empty()) return;
    const std::string current = mirror_.serverDefaultName();
    if (current == tapSink_) return;
    const auto chosen = mirror_.sinkNamed(current);
    if (!chosen || chosen->tapOwner) return;
    if (current == userSink_ && clock_() - lastRequest_ < kEchoWindow) return;
    hold(current);
    setServerDefault(tapSink_);
}

void DefaultTakeover::sinkRemoved() {
    if (tapSink_.empty() || mirror_.sinkNamed(userSink_)) return;
    // The user's output was pulled while the tap stood in for it, so the server chose none in its
    // place: the next real output becomes the user's.
    const std::string next = fallbackSink();
    if (!next.empty()) hold(next);
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
