#include "DefaultChoice.h"

#include <algorithm>

namespace sorix::pulse {

namespace {

const Sink* named(const std::vector<Sink>& sinks, const std::string& name) {
    const auto found = std::find_if(sinks.begin(), sinks.end(),
                                    [&](const Sink& sink) { return sink.name == name; });
    return found == sinks.end() ? nullptr : &*found;
}

}  // namespace

std::string firstRealSink(const std::vector<Sink>& sinks) {
    for (const Sink& sink : sinks) {
        if (!sink.tapOwner) return sink.name;
    }
    return {};
}

std::string userSinkAtTakeover(const std::string& serverDefault, const std::vector<Sink>& sinks,
                               const std::string& remembered) {
    const Sink* current = named(sinks, serverDefault);
    if (current != nullptr && !current->tapOwner) return serverDefault;
    if (const Sink* kept = named(sinks, remembered); kept != nullptr && !kept->tapOwner)
        return remembered;
    return firstRealSink(sinks);
}

std::optional<std::string> userChoiceIn(const std::string& serverDefault,
                                        const std::vector<Sink>& sinks, const std::string& tapSink,
                                        const std::string& userSink,
                                        std::chrono::steady_clock::duration sinceOwnRequest) {
    if (serverDefault == tapSink) return std::nullopt;
    const Sink* chosen = named(sinks, serverDefault);
    if (chosen == nullptr || chosen->tapOwner) return std::nullopt;
    if (serverDefault == userSink && sinceOwnRequest < kDefaultEchoWindow) return std::nullopt;
    return serverDefault;
}

}  // namespace sorix::pulse
