#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "AudioHardware.h"
#include "KeyedMirror.h"
#include "ServerObjects.h"

namespace sorix::pulse {

// What the layer knows of the server: its sinks (the devices), clients (the processes), sink
// inputs (their streams), cards (for the ports' latency offsets) and its own information, as the
// replies to info requests and the removal events describe them. Updates come on the server
// thread and say which properties changed, for the listeners; they never act on anything else,
// so whatever reacts to a change does so after the update and outside the mirror's lock. Reads
// come from any thread and change nothing.
//
// This program may hold two connections: the one that keeps the mirror speaks for it as a
// process, and the streams of the other one count as its own; that one is no process of its own.
class ServerMirror {
  public:
    enum class Kind { sinks, clients, sinkInputs, cards };
    enum class OwnConnection { mirror, streams };

    explicit ServerMirror(ObjectNumbers& numbers) : numbers_(numbers) {}
    ServerMirror(const ServerMirror&) = delete;
    ServerMirror& operator=(const ServerMirror&) = delete;

    // --- Updates (server thread) ---
    MirrorTicket ask(Kind kind);
    void settle(Kind kind, const MirrorTicket& ticket);

    std::vector<Change> storeSink(const MirrorTicket& ticket, Sink sink);
    std::vector<Change> removeSink(uint32_t index);
    std::vector<Change> storeClient(const MirrorTicket& ticket, Client client);
    std::vector<Change> removeClient(uint32_t index);
    struct SinkInputUpdate {
        std::vector<Change> changes;
        bool stored = false;  // false for a reply that a removal overtook
    };
    SinkInputUpdate storeSinkInput(const MirrorTicket& ticket, SinkInput input);
    std::vector<Change> removeSinkInput(uint32_t index);
    std::vector<Change> storeCard(const MirrorTicket& ticket, Card card);
    void removeCard(uint32_t index);
    std::vector<Change> storeServerInfo(const ServerInfo& info);
    // While a tap stands in as the server's default output, the output the user chose is the one
    // that reads as the default: `userSink` whenever the server's default is `tapSink`.
    std::vector<Change> holdDefault(const std::string& tapSink, const std::string& userSink);
    std::vector<Change> releaseDefault();
    std::vector<Change> setOwnClient(OwnConnection connection, uint32_t index);
    // The first full picture is in: reads answer from now on.
    std::vector<Change> pictureComplete();
    // The connection is gone: every read fails until the next picture is complete.
    std::vector<Change> clear();

    // --- Reads (any thread) ---
    bool connected() const;
    bool onPipeWire() const;
    // A property of the system object, a sink or a client; kAudioHardwareBadObjectError for any
    // other object, and kAudioHardwareNotRunningError for every object while not connected.
    OSStatus read(AudioObjectID object, const AudioObjectPropertyAddress& address,
                  const PropertyQualifier& qualifier, int32_t ownPid, PropertyValue& value) const;

    std::optional<Sink> sink(uint32_t index) const;
    std::optional<Sink> sinkByObject(AudioObjectID object) const;
    std::optional<Sink> sinkNamed(const std::string& name) const;
    std::vector<Sink> sinks() const;
    // The default output as the user chose it (see holdDefault).
    std::optional<Sink> defaultSink() const;
    // The server's own default, which may be a tap.
    std::string serverDefaultName() const;
    std::optional<SinkInput> sinkInput(uint32_t index) const;
    std::vector<SinkInput> sinkInputs() const;
    // The process object a client's streams count for; none for an unknown client.
    std::optional<AudioObjectID> processOfClient(uint32_t index) const;
    // Whether the client is one of this program's connections.
    bool ownClient(uint32_t index) const;

  private:
    // The client that speaks for `index`: this program's mirror connection for its streams one.
    uint32_t speakerFor(uint32_t client) const;
    bool hiddenClient(uint32_t client) const;
    bool clientRunsOutput(uint32_t client) const;
    uint32_t latencyFramesOf(const Sink& sink) const;
    std::string reportedDefault() const;
    std::vector<Change> defaultChange(const std::string& before) const;
    std::vector<Change> sinkInputChanged(uint32_t client, bool wasRunning) const;

    OSStatus readSystem(const AudioObjectPropertyAddress& address,
                        const PropertyQualifier& qualifier, int32_t ownPid,
                        PropertyValue& value) const;
    static OSStatus readSink(const Sink& sink, const AudioObjectPropertyAddress& address,
                             PropertyValue& value);
    OSStatus readClient(const Client& client, const AudioObjectPropertyAddress& address,
                        PropertyValue& value) const;

    ObjectNumbers& numbers_;
    mutable std::mutex mutex_;
    bool connected_ = false;
    ServerInfo server_;
    struct HeldDefault {
        std::string tapSink;
        std::string userSink;
    };
    std::optional<HeldDefault> heldDefault_;
    uint32_t ownMirrorClient_ = kNoIndex;
    uint32_t ownStreamsClient_ = kNoIndex;
    KeyedMirror<Sink> sinks_;
    KeyedMirror<Client> clients_;
    KeyedMirror<SinkInput> sinkInputs_;
    KeyedMirror<Card> cards_;
};

}  // namespace sorix::pulse
