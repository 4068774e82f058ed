#include "ServerMirror.h"

#include <algorithm>

#include "SinkLatency.h"

namespace sorix::pulse {

namespace {

using Lock = std::lock_guard<std::mutex>;

}  // namespace

MirrorTicket ServerMirror::ask(Kind kind) {
    Lock lock(mutex_);
    switch (kind) {
        case Kind::sinks:
            return sinks_.ask();
        case Kind::clients:
            return clients_.ask();
        case Kind::sinkInputs:
            return sinkInputs_.ask();
        case Kind::cards:
            break;
    }
    return cards_.ask();
}

void ServerMirror::settle(Kind kind, const MirrorTicket& ticket) {
    Lock lock(mutex_);
    switch (kind) {
        case Kind::sinks:
            return sinks_.settle(ticket);
        case Kind::clients:
            return clients_.settle(ticket);
        case Kind::sinkInputs:
            return sinkInputs_.settle(ticket);
        case Kind::cards:
            return cards_.settle(ticket);
    }
}

// --- Sinks and cards ---

uint32_t ServerMirror::latencyFramesOf(const Sink& sink) const {
    int64_t offset = 0;
    if (const Card* card = cards_.find(sink.card)) {
        const auto port = card->portLatencyOffsets.find(sink.activePort);
        if (port != card->portLatencyOffsets.end()) offset = port->second;
    }
    return sinkLatencyFrames(sink.configuredLatencyMicroseconds, offset, sink.sampleRate);
}

std::vector<Change> ServerMirror::storeSink(const MirrorTicket& ticket, Sink sink) {
    Lock lock(mutex_);
    std::vector<Change> changes;
    sink.latencyFrames = latencyFramesOf(sink);
    const uint32_t index = sink.index;
    sinks_.update(ticket, index, std::move(sink), [&](const Sink* old, Sink& fresh) {
        if (old == nullptr) {
            fresh.object = numbers_.next();
            fresh.stream = numbers_.next();
            changes.push_back({kAudioObjectSystemObject, Selector::devices});
            if (fresh.name == reportedDefault())
                changes.push_back({kAudioObjectSystemObject, Selector::defaultOutputDevice});
            return;
        }
        fresh.object = old->object;
        fresh.stream = old->stream;
        if (old->channelVolumes != fresh.channelVolumes)
            changes.push_back({fresh.object, Selector::virtualMainVolume});
        if (old->sampleRate != fresh.sampleRate)
            changes.push_back({fresh.object, Selector::nominalSampleRate});
        if (old->latencyFrames != fresh.latencyFrames)
            changes.push_back({fresh.object, Selector::latency});
    });
    return changes;
}

std::vector<Change> ServerMirror::removeSink(uint32_t index) {
    Lock lock(mutex_);
    const Sink* sink = sinks_.find(index);
    const AudioObjectID object = sink != nullptr ? sink->object : kAudioObjectUnknown;
    if (!sinks_.remove(index)) return {};
    return {{object, Selector::isAlive}, {kAudioObjectSystemObject, Selector::devices}};
}

std::vector<Change> ServerMirror::storeCard(const MirrorTicket& ticket, Card card) {
    Lock lock(mutex_);
    const uint32_t index = card.index;
    if (!cards_.update(ticket, index, std::move(card), [](const Card*, Card&) {})) return {};
    std::vector<Change> changes;
    for (auto& [sinkIndex, sink] : sinks_.all()) {
        if (sink.card != index) continue;
        const uint32_t frames = latencyFramesOf(sink);
        if (frames == sink.latencyFrames) continue;
        sink.latencyFrames = frames;
        changes.push_back({sink.object, Selector::latency});
    }
    return changes;
}

void ServerMirror::removeCard(uint32_t index) {
    Lock lock(mutex_);
    cards_.remove(index);
}

std::string ServerMirror::reportedDefault() const {
    if (heldDefault_ && server_.defaultSink == heldDefault_->tapSink) return heldDefault_->userSink;
    const auto isCurrent = [this](const auto& entry) {
        return entry.second.name == server_.defaultSink;
    };
    const auto& sinks = sinks_.all();
    const auto current = std::find_if(sinks.begin(), sinks.end(), isCurrent);
    if (current == sinks.end() || !current->second.tapOwner) return server_.defaultSink;
    // A tap is never the user's output. A server whose configured default is still the tap of a
    // Sorix that was killed (or of this one before the server restarted) makes a tap of that
    // name the default the moment it appears; the first real output stands for the user's until
    // the tap controller knows better.
    for (const auto& [index, sink] : sinks) {
        if (!sink.tapOwner) return sink.name;
    }
    return server_.defaultSink;
}

std::vector<Change> ServerMirror::defaultChange(const std::string& before) const {
    if (reportedDefault() == before) return {};
    return {{kAudioObjectSystemObject, Selector::defaultOutputDevice}};
}

std::vector<Change> ServerMirror::storeServerInfo(const ServerInfo& info) {
    Lock lock(mutex_);
    const std::string before = reportedDefault();
    server_.pipeWire = info.pipeWire;
    server_.defaultSink = info.defaultSink;
    return defaultChange(before);
}

std::vector<Change> ServerMirror::holdDefault(const std::string& tapSink,
                                              const std::string& userSink) {
    Lock lock(mutex_);
    const std::string before = reportedDefault();
    heldDefault_ = HeldDefault{tapSink, userSink};
    return defaultChange(before);
}

std::vector<Change> ServerMirror::releaseDefault() {
    Lock lock(mutex_);
    const std::string before = reportedDefault();
    heldDefault_.reset();
    return defaultChange(before);
}

// --- Clients and their streams ---

bool ServerMirror::hiddenClient(uint32_t client) const {
    return client != kNoIndex && client == ownStreamsClient_;
}

uint32_t ServerMirror::speakerFor(uint32_t client) const {
    return hiddenClient(client) && ownMirrorClient_ != kNoIndex ? ownMirrorClient_ : client;
}

bool ServerMirror::clientRunsOutput(uint32_t client) const {
    // What the dead-tap check asks: whether the tap should be hearing this program. A stream on
    // any other sink (one that may not move, or one not yet moved) plays past the tap anyway.
    const auto& inputs = sinkInputs_.all();
    return std::any_of(inputs.begin(), inputs.end(), [&](const auto& entry) {
        const SinkInput& input = entry.second;
        if (speakerFor(input.client) != client || input.corked) return false;
        const Sink* sink = sinks_.find(input.sink);
        return sink != nullptr && sink->tapOwner.has_value();
    });
}

std::vector<Change> ServerMirror::sinkInputChanged(uint32_t client, bool wasRunning) const {
    const Client* speaker = clients_.find(client);
    if (speaker == nullptr || wasRunning == clientRunsOutput(client)) return {};
    return {{speaker->object, Selector::isRunningOutput}};
}

std::vector<Change> ServerMirror::storeClient(const MirrorTicket& ticket, Client client) {
    Lock lock(mutex_);
    std::vector<Change> changes;
    const uint32_t index = client.index;
    clients_.update(ticket, index, std::move(client), [&](const Client* old, Client& fresh) {
        if (old != nullptr) {
            fresh.object = old->object;
            return;
        }
        fresh.object = numbers_.next();
        if (!hiddenClient(fresh.index))
            changes.push_back({kAudioObjectSystemObject, Selector::processObjects});
    });
    return changes;
}

std::vector<Change> ServerMirror::removeClient(uint32_t index) {
    Lock lock(mutex_);
    const bool hidden = hiddenClient(index);
    if (!clients_.remove(index) || hidden) return {};
    return {{kAudioObjectSystemObject, Selector::processObjects}};
}

ServerMirror::SinkInputUpdate ServerMirror::storeSinkInput(const MirrorTicket& ticket,
                                                           SinkInput input) {
    Lock lock(mutex_);
    const uint32_t client = speakerFor(input.client);
    const bool wasRunning = clientRunsOutput(client);
    const uint32_t index = input.index;
    SinkInputUpdate update;
    update.stored =
        sinkInputs_.update(ticket, index, std::move(input), [](const SinkInput*, SinkInput&) {});
    if (update.stored) update.changes = sinkInputChanged(client, wasRunning);
    return update;
}

std::vector<Change> ServerMirror::removeSinkInput(uint32_t index) {
    Lock lock(mutex_);
    const SinkInput* input = sinkInputs_.find(index);
    const uint32_t client = input != nullptr ? speakerFor(input->client) : kNoIndex;
    const bool wasRunning = clientRunsOutput(client);
    if (!sinkInputs_.remove(index)) return {};
    return sinkInputChanged(client, wasRunning);
}

std::vector<Change> ServerMirror::setOwnClient(OwnConnection connection, uint32_t index) {
    Lock lock(mutex_);
    if (connection == OwnConnection::mirror) {
        ownMirrorClient_ = index;
        return {};
    }
    // The streams connection's client leaves the process list, or comes back to it.
    const bool listedBefore = clients_.find(ownStreamsClient_) != nullptr;
    const bool listedNow = clients_.find(index) != nullptr;
    ownStreamsClient_ = index;
    if (!listedBefore && !listedNow) return {};
    return {{kAudioObjectSystemObject, Selector::processObjects}};
}

// --- The connection ---

std::vector<Change> ServerMirror::pictureComplete() {
    Lock lock(mutex_);
    connected_ = true;
    // A (re)connected server may have a new default and new devices.
    return {{kAudioObjectSystemObject, Selector::defaultOutputDevice},
            {kAudioObjectSystemObject, Selector::devices}};
}

std::vector<Change> ServerMirror::clear() {
    Lock lock(mutex_);
    std::vector<Change> changes;
    // Nothing was shown from a picture that never completed, or from an empty one.
    if (connected_ || !sinks_.all().empty()) {
        for (const auto& [index, sink] : sinks_.all())
            changes.push_back({sink.object, Selector::isAlive});
        changes.push_back({kAudioObjectSystemObject, Selector::defaultOutputDevice});
        changes.push_back({kAudioObjectSystemObject, Selector::devices});
    }
    connected_ = false;
    server_.defaultSink.clear();
    heldDefault_.reset();
    sinks_.clear();
    clients_.clear();
    sinkInputs_.clear();
    cards_.clear();
    return changes;
}

}  // namespace sorix::pulse
