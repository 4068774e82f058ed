#include "MirrorFeed.h"

#include <iterator>

#include "InfoConversion.h"
#include "RequestGroup.h"

namespace sorix::pulse {

namespace {

constexpr auto kSubscriptionMask = static_cast<pa_subscription_mask_t>(
    PA_SUBSCRIPTION_MASK_SINK | PA_SUBSCRIPTION_MASK_SERVER | PA_SUBSCRIPTION_MASK_CLIENT |
    PA_SUBSCRIPTION_MASK_SINK_INPUT | PA_SUBSCRIPTION_MASK_CARD);
// After an announcement, for what may follow it unannounced (see the rechecks).
constexpr double kRecheckDelaysSeconds[] = {0.25, 1.0};

}  // namespace

MirrorFeed::MirrorFeed(PulseConnection& connection, ServerMirror& mirror, Events& events)
    : connection_(connection),
      mirror_(mirror),
      events_(events),
      serverRecheck_{LoopTimer(connection.api(), [this] { recheckFired(serverRecheck_); })},
      sinkRecheck_{LoopTimer(connection.api(), [this] { recheckFired(sinkRecheck_); })} {}

void MirrorFeed::connectionReady(pa_context* context) {
    events_.mirrorChanged(
        mirror_.setOwnClient(ServerMirror::OwnConnection::mirror, pa_context_get_index(context)));
    RequestGroup picture;
    connection_.requests().send(
        context, Done([subscribed = picture.member()](const Outcome& outcome) {
            subscribed(outcome.kind != Outcome::Kind::unanswered);
        }),
        [&](Done& done) {
            return pa_context_subscribe(context, kSubscriptionMask, Done::reply, &done);
        });
    requestServerInfo(picture.member());
    requestSinks(std::nullopt, picture.member());
    requestClients(std::nullopt, picture.member());
    requestSinkInputs(std::nullopt, picture.member());
    requestCards(std::nullopt, picture.member());
    picture.close([this] { pictureComplete(); });
}

void MirrorFeed::pictureComplete() {
    const std::vector<Change> changes = mirror_.pictureComplete();
    events_.serverMirrored();
    events_.mirrorChanged(changes);
}

void MirrorFeed::connectionLost() {
    for (Recheck* recheck : {&serverRecheck_, &sinkRecheck_}) {
        recheck->timer.stop();
        recheck->left = 0;
    }
    const std::vector<Change> changes = mirror_.clear();
    events_.serverLost();
    events_.mirrorChanged(changes);
}

void MirrorFeed::serverEvent(pa_subscription_event_type_t event, uint32_t index) {
    const auto facility = event & PA_SUBSCRIPTION_EVENT_FACILITY_MASK;
    const bool removed = (event & PA_SUBSCRIPTION_EVENT_TYPE_MASK) == PA_SUBSCRIPTION_EVENT_REMOVE;
    switch (facility) {
        case PA_SUBSCRIPTION_EVENT_SINK:
            if (removed) {
                events_.mirrorChanged(mirror_.removeSink(index));
                events_.sinkRemoved(index);
            } else {
                requestSinks(index);
            }
            break;
        case PA_SUBSCRIPTION_EVENT_SERVER:
            requestServerInfo();
            scheduleRecheck(serverRecheck_, true);
            break;
        case PA_SUBSCRIPTION_EVENT_CLIENT:
            removed ? events_.mirrorChanged(mirror_.removeClient(index)) : requestClients(index);
            break;
        case PA_SUBSCRIPTION_EVENT_CARD:
            removed ? mirror_.removeCard(index) : requestCards(index);
            break;
        case PA_SUBSCRIPTION_EVENT_SINK_INPUT:
            if (removed) {
                events_.mirrorChanged(mirror_.removeSinkInput(index));
                events_.sinkInputRemoved(index);
            } else {
                requestSinkInputs(index);
            }
            scheduleRecheck(sinkRecheck_, true);
            break;
        default:
            break;
    }
}

void MirrorFeed::recheckFired(Recheck& recheck) {
    --recheck.left;
    if (connection_.context() == nullptr) return;
    if (&recheck == &serverRecheck_)
        requestServerInfo();
    else
        requestSinks(std::nullopt);
    scheduleRecheck(recheck, false);
}

void MirrorFeed::scheduleRecheck(Recheck& recheck, bool afterNewEvent) {
    constexpr std::size_t kRechecks = std::size(kRecheckDelaysSeconds);
    if (afterNewEvent) recheck.left = kRechecks;
    if (recheck.left == 0) return;
    recheck.timer.start(kRecheckDelaysSeconds[kRechecks - recheck.left]);
}

// --- Requests ---

template <typename Info, typename Store, typename Start>
void MirrorFeed::describe(ServerMirror::Kind kind, Store store, Member ended, Start start) {
    const MirrorTicket ticket = mirror_.ask(kind);
    connection_.requests().send(
        connection_.context(),
        Described<Info>([store, ticket](const Info& info) { store(ticket, info); },
                        [this, kind, ticket, ended](bool answered) {
                            mirror_.settle(kind, ticket);
                            if (ended) ended(answered);
                        }),
        start);
}

void MirrorFeed::requestServerInfo(Member ended) {
    using Reply = Described<pa_server_info>;
    pa_context* context = connection_.context();
    connection_.requests().send(
        context,
        Reply(
            [this](const pa_server_info& info) {
                events_.mirrorChanged(mirror_.storeServerInfo(serverInfoFrom(info)));
                events_.serverInfoStored();
            },
            [ended](bool answered) {
                if (ended) ended(answered);
            }),
        [&](Reply& reply) { return pa_context_get_server_info(context, Reply::reply, &reply); });
}

void MirrorFeed::requestSinks(std::optional<uint32_t> index, Member ended) {
    using Reply = Described<pa_sink_info>;
    pa_context* context = connection_.context();
    describe<pa_sink_info>(
        ServerMirror::Kind::sinks,
        [this](const MirrorTicket& ticket, const pa_sink_info& info) {
            events_.mirrorChanged(mirror_.storeSink(ticket, sinkFrom(info)));
        },
        std::move(ended),
        [&](Reply& reply) {
            return index ? pa_context_get_sink_info_by_index(context, *index, Reply::reply, &reply)
                         : pa_context_get_sink_info_list(context, Reply::reply, &reply);
        });
}

void MirrorFeed::requestClients(std::optional<uint32_t> index, Member ended) {
    using Reply = Described<pa_client_info>;
    pa_context* context = connection_.context();
    describe<pa_client_info>(
        ServerMirror::Kind::clients,
        [this](const MirrorTicket& ticket, const pa_client_info& info) {
            events_.mirrorChanged(mirror_.storeClient(ticket, clientFrom(info)));
        },
        std::move(ended),
        [&](Reply& reply) {
            return index ? pa_context_get_client_info(context, *index, Reply::reply, &reply)
                         : pa_context_get_client_info_list(context, Reply::reply, &reply);
        });
}

void MirrorFeed::requestSinkInputs(std::optional<uint32_t> index, Member ended) {
    using Reply = Described<pa_sink_input_info>;
    pa_context* context = connection_.context();
    describe<pa_sink_input_info>(
        ServerMirror::Kind::sinkInputs,
        [this](const MirrorTicket& ticket, const pa_sink_input_info& info) {
            const auto update = mirror_.storeSinkInput(ticket, sinkInputFrom(info));
            events_.mirrorChanged(update.changes);
            if (update.stored) events_.sinkInputStored(info.index);
        },
        std::move(ended),
        [&](Reply& reply) {
            return index ? pa_context_get_sink_input_info(context, *index, Reply::reply, &reply)
                         : pa_context_get_sink_input_info_list(context, Reply::reply, &reply);
        });
}

void MirrorFeed::requestCards(std::optional<uint32_t> index, Member ended) {
    using Reply = Described<pa_card_info>;
    pa_context* context = connection_.context();
    describe<pa_card_info>(
        ServerMirror::Kind::cards,
        [this](const MirrorTicket& ticket, const pa_card_info& info) {
            events_.mirrorChanged(mirror_.storeCard(ticket, cardFrom(info)));
        },
        std::move(ended),
        [&](Reply& reply) {
            return index ? pa_context_get_card_info_by_index(context, *index, Reply::reply, &reply)
                         : pa_context_get_card_info_list(context, Reply::reply, &reply);
        });
}

}  // namespace sorix::pulse
