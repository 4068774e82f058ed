// Moving other programs' streams onto a tap, and back home.
#include <algorithm>

#include "TapController.h"

namespace sorix::pulse {

void TapController::startCapture(const std::string& sinkName) {
    PulseConnection::Lock lock(connection_);
    const auto tap = std::find_if(taps_.begin(), taps_.end(), [&](const auto& entry) {
        return entry.second.sinkName == sinkName;
    });
    if (tap == taps_.end() || tap->second.capturing) return;
    tap->second.capturing = true;
    // A tap that keeps the streams audible where they play has no default to stand in for.
    if (!tap->second.keepAudible) defaults_.take(sinkName);
    for (const SinkInput& input : mirror_.sinkInputs())
        capture(input);
}

void TapController::sinkInputStored(uint32_t index) {
    if (const auto input = mirror_.sinkInput(index)) capture(*input);
}

void TapController::sinkInputRemoved(uint32_t index) {
    // Nothing is kept of a stream that went: its entries would only grow with every one.
    refusedMoves_.erase(index);
    for (auto& [object, tap] : taps_) {
        if (tap.moved.erase(index) > 0) journal_.streamForgotten(index);
    }
    if (retired_ && retired_->moved.erase(index) > 0) journal_.streamForgotten(index);
}

void TapController::sinkRemoved() { defaults_.sinkRemoved(); }

void TapController::serverInfoStored() { defaults_.serverInfoStored(); }

void TapController::capture(const SinkInput& input) {
    if (connection_.context() == nullptr) return;
    // Streams without a client belong to modules (our own audible copies among them), and our
    // own playback must never be captured again.
    if (input.client == kNoIndex || mirror_.ownClient(input.client)) return;
    for (auto& [object, tap] : taps_) {
        if (!tap.capturing || tap.sinkIndex == kNoIndex || input.sink == tap.sinkIndex) continue;
        const auto process = mirror_.processOfClient(input.client);
        if (process && std::find(tap.excludedProcesses.begin(), tap.excludedProcesses.end(),
                                 *process) != tap.excludedProcesses.end())
            continue;
        const auto from = mirror_.sink(input.sink);
        if (from && from->tapOwner) continue;  // another tap's
        // PipeWire announces a new stream before its session manager links it to a sink; it
        // goes home to the sink it asked for, if it asked for one, rather than to the default.
        const std::string origin = from ? from->name : input.target;
        if (tap.moved.try_emplace(input.index, origin).second && !origin.empty())
            journal_.streamMoved(input.index, origin);
        if (tap.keepAudible && !origin.empty()) keepAudibleOn(tap, origin);
        moveSinkInput(input.index, tap.sinkIndex);
        return;
    }
}

void TapController::moveSinkInput(uint32_t input, uint32_t sink) {
    pa_context* context = connection_.context();
    connection_.requests().send(
        context, Done([this, input](const Outcome& outcome) {
            // A stream that may not move is asked again at each of its changes; told once.
            if (!outcome.failed() || !refusedMoves_.insert(input).second) return;
            report_("stream " + std::to_string(input) +
                    " could not be moved onto the tap: " + outcome.problem());
        }),
        [&](Done& done) {
            return pa_context_move_sink_input_by_index(context, input, sink, Done::reply, &done);
        });
}

void TapController::moveSinkInputHome(uint32_t input, const std::string& sink) {
    pa_context* context = connection_.context();
    connection_.requests().send(
        context, Done([report = report_, input, sink](const Outcome& outcome) {
            if (outcome.failed())
                report("stream " + std::to_string(input) + " could not be moved back to " + sink +
                       ": " + outcome.problem());
        }),
        [&](Done& done) {
            return pa_context_move_sink_input_by_name(context, input, sink.c_str(), Done::reply,
                                                      &done);
        });
}

void TapController::keepAudibleOn(Tap& tap, const std::string& sinkName) {
    if (!tap.audibleCopies.emplace(sinkName, kNoIndex).second) return;
    // A loopback from the tap's monitor: the tapped programs stay audible where they played,
    // and Sorix's own output, which never passes the tap, cannot feed back into it.
    const std::string arguments = "source=" + tap.sinkName + ".monitor sink=" + sinkName +
                                  " latency_msec=20 source_dont_move=true sink_dont_move=true";
    pa_context* context = connection_.context();
    connection_.requests().send(context,
                                Loaded([this, tap = tap.object, sinkName](
                                           std::optional<uint32_t> module, const Outcome& outcome) {
                                    if (outcome.failed())
                                        report_("could not keep the tapped streams audible on " +
                                                sinkName + ": " + outcome.problem());
                                    const auto found = taps_.find(tap);
                                    if (found == taps_.end()) {
                                        if (module) unloadModule(*module, false);
                                        return;
                                    }
                                    if (module) found->second.audibleCopies[sinkName] = *module;
                                }),
                                [&](Loaded& loaded) {
                                    return pa_context_load_module(context, "module-loopback",
                                                                  arguments.c_str(), Loaded::reply,
                                                                  &loaded);
                                });
}

}  // namespace sorix::pulse
