#pragma once

#include <pulse/pulseaudio.h>

#include <functional>
#include <optional>
#include <vector>

#include "PulseConnection.h"
#include "ServerMirror.h"

namespace sorix::pulse {

// Keeps the mirror current over the connection it observes: on each connection the server's
// subscription and a first full picture (its information, sinks, clients, sink inputs and cards),
// then one info request per subscription event and a removal for each removal event. All of it
// runs on the connection's thread. What changed is told to `Events` after each update, outside
// the mirror's lock.
class MirrorFeed final : public PulseConnection::Observer {
  public:
    class Events {
      public:
        virtual void mirrorChanged(const std::vector<Change>& changes) = 0;
        // A sink input's description was stored (a new stream, or one that changed).
        virtual void sinkInputStored(uint32_t index) = 0;
        virtual void sinkInputRemoved(uint32_t index) = 0;
        virtual void sinkRemoved(uint32_t index) = 0;
        // The server's information was stored; its default output may have changed.
        virtual void serverInfoStored() = 0;
        // The first full picture of a (re)connected server is in.
        virtual void serverMirrored() = 0;
        // The connection is gone and the mirror empty.
        virtual void serverLost() = 0;

      protected:
        ~Events() = default;
    };

    // Made before the connection starts, freed after it stopped.
    MirrorFeed(PulseConnection& connection, ServerMirror& mirror, Events& events);

    void connectionReady(pa_context* context) override;
    void connectionLost() override;
    void serverEvent(pa_subscription_event_type_t event, uint32_t index) override;

  private:
    using Member = std::function<void(bool answered)>;

    // Asks for the objects of one kind, one by index or all of them, and stores each one that
    // the answer describes; `ended` hears when the answer is complete.
    template <typename Info, typename Store, typename Start>
    void describe(ServerMirror::Kind kind, Store store, Member ended, Start start);
    void requestServerInfo(Member ended = {});
    void requestSinks(std::optional<uint32_t> index, Member ended = {});
    void requestClients(std::optional<uint32_t> index, Member ended = {});
    void requestSinkInputs(std::optional<uint32_t> index, Member ended = {});
    void requestCards(std::optional<uint32_t> index, Member ended = {});
    void pictureComplete();

    // Asks again a little later, twice, after the last of a series of announcements.
    struct Recheck {
        LoopTimer timer;
        std::size_t left = 0;
    };
    void scheduleRecheck(Recheck& recheck, bool afterNewEvent);
    void recheckFired(Recheck& recheck);

    PulseConnection& connection_;
    ServerMirror& mirror_;
    Events& events_;
    // PipeWire's PulseAudio server announces a change of the default output as soon as it is
    // asked for, and may still name the old one until its session manager has agreed, with no
    // second announcement.
    Recheck serverRecheck_;
    // A sink's configured latency is the lowest its streams ask for, and changes as they come,
    // go and start, with no announcement of the sink's own.
    Recheck sinkRecheck_;
};

}  // namespace sorix::pulse
