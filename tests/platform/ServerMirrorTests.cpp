// The mirror of a sound server on its own, fed as the server thread feeds it: replies to info
// requests, removal events and the connection's comings and goings.
#include <gtest/gtest.h>

#include <algorithm>

#include "pulse/ServerMirror.h"

namespace sorix::pulse {
namespace {

constexpr int32_t kOwnPid = 4242;

class ServerMirrorTest : public ::testing::Test {
  protected:
    ServerMirrorTest() { mirror.pictureComplete(); }

    static Sink sink(uint32_t index, const std::string& name) {
        Sink sink;
        sink.index = index;
        sink.name = name;
        sink.sampleRate = 48000;
        sink.channelVolumes = {65536, 65536};
        return sink;
    }
    static SinkInput stream(uint32_t index, uint32_t client, bool corked = false) {
        return {index, client, corked, 0, ""};
    }

    std::vector<Change> storeSink(Sink sink) {
        return mirror.storeSink(mirror.ask(ServerMirror::Kind::sinks), std::move(sink));
    }
    void storeClient(uint32_t index, std::optional<int32_t> pid) {
        mirror.storeClient(mirror.ask(ServerMirror::Kind::clients), {index, 0, pid});
    }

    template <typename T>
    T read(AudioObjectID object, uint32_t selector, const PropertyQualifier& qualifier = {}) const {
        PropertyValue value;
        EXPECT_EQ(mirror.read(object, globalAddress(selector), qualifier, kOwnPid, value), 0)
            << fourCharCodeString(selector);
        const T* typed = std::get_if<T>(&value);
        return typed != nullptr ? *typed : T{};
    }
    std::vector<AudioObjectID> devices() const {
        return read<std::vector<AudioObjectID>>(kAudioObjectSystemObject, Selector::devices);
    }
    AudioObjectID objectOfClient(uint32_t index) const {
        return mirror.processOfClient(index).value_or(kAudioObjectUnknown);
    }

    ObjectNumbers numbers;
    ServerMirror mirror{numbers};
};

TEST_F(ServerMirrorTest, AReplyOvertakenByItsObjectsRemovalIsDroppedAndALaterRequestIsTaken) {
    storeSink(sink(3, "usb_dac"));
    ASSERT_EQ(devices().size(), 1u);
    // The sink changes, its description is asked for, and the server removes it before the
    // answer arrives: the late answer must not bring it back.
    const MirrorTicket beforeRemoval = mirror.ask(ServerMirror::Kind::sinks);
    mirror.removeSink(3);
    EXPECT_TRUE(mirror.storeSink(beforeRemoval, sink(3, "usb_dac")).empty());
    EXPECT_TRUE(devices().empty());
    // Asked right after the removal, the index names a new object (servers reuse indices).
    const MirrorTicket afterRemoval = mirror.ask(ServerMirror::Kind::sinks);
    EXPECT_FALSE(mirror.storeSink(afterRemoval, sink(3, "headset")).empty());
    ASSERT_EQ(devices().size(), 1u);
    EXPECT_EQ(read<std::string>(devices().front(), Selector::deviceUID), "headset");

    // The same holds for streams, whose stores are what the tap controller acts on.
    const MirrorTicket streamTicket = mirror.ask(ServerMirror::Kind::sinkInputs);
    mirror.removeSinkInput(9);
    EXPECT_FALSE(mirror.storeSinkInput(streamTicket, stream(9, 1)).stored);
    EXPECT_FALSE(mirror.sinkInput(9));
    mirror.settle(ServerMirror::Kind::sinkInputs, streamTicket);
    EXPECT_TRUE(
        mirror.storeSinkInput(mirror.ask(ServerMirror::Kind::sinkInputs), stream(9, 1)).stored);
}

TEST_F(ServerMirrorTest, RepliesFromBeforeALostConnectionAreDropped) {
    const MirrorTicket old = mirror.ask(ServerMirror::Kind::sinks);
    storeSink(sink(1, "speakers"));
    const auto lost = mirror.clear();
    // Every device dies, and the default output and the device list change.
    EXPECT_EQ(
        std::count(lost.begin(), lost.end(), Change{kAudioObjectSystemObject, Selector::devices}),
        1);
    EXPECT_EQ(lost.size(), 3u);
    PropertyValue value;
    EXPECT_EQ(
        mirror.read(kAudioObjectSystemObject, globalAddress(Selector::devices), {}, kOwnPid, value),
        kAudioHardwareNotRunningError);

    EXPECT_TRUE(mirror.storeSink(old, sink(2, "headset")).empty());
    mirror.pictureComplete();
    EXPECT_TRUE(devices().empty());
}

TEST_F(ServerMirrorTest, ASinkKeepsItsIdsAndEachChangeReachesOnlyItsOwnListeners) {
    const auto added = storeSink(sink(1, "speakers"));
    EXPECT_EQ(added, (std::vector<Change>{{kAudioObjectSystemObject, Selector::devices}}));
    const AudioObjectID speakers = devices().front();

    Sink louder = sink(1, "speakers");
    louder.channelVolumes = {32768, 32768};
    EXPECT_EQ(storeSink(louder), (std::vector<Change>{{speakers, Selector::virtualMainVolume}}));
    EXPECT_TRUE(storeSink(louder).empty());
    EXPECT_EQ(devices(), std::vector<AudioObjectID>{speakers});

    // The active port's latency offset adds to the sink's own, and changes with its card.
    louder.card = 7;
    louder.activePort = "analog-output";
    louder.configuredLatencyMicroseconds = 10'000;
    EXPECT_EQ(storeSink(louder), (std::vector<Change>{{speakers, Selector::latency}}));
    EXPECT_EQ(read<uint32_t>(speakers, Selector::latency), 480u);
    const auto offsetChanged =
        mirror.storeCard(mirror.ask(ServerMirror::Kind::cards), {7, {{"analog-output", 5'000}}});
    EXPECT_EQ(offsetChanged, (std::vector<Change>{{speakers, Selector::latency}}));
    EXPECT_EQ(read<uint32_t>(speakers, Selector::latency), 720u);

    // A new default that is already a device is one change; a sink that comes with the
    // default's name, another.
    EXPECT_EQ(mirror.storeServerInfo({"headset", false}),
              (std::vector<Change>{{kAudioObjectSystemObject, Selector::defaultOutputDevice}}));
    EXPECT_TRUE(mirror.storeServerInfo({"headset", false}).empty());
    EXPECT_EQ(storeSink(sink(2, "headset")).size(), 2u);

    EXPECT_EQ(mirror.removeSink(1),
              (std::vector<Change>{{speakers, Selector::isAlive},
                                   {kAudioObjectSystemObject, Selector::devices}}));
    EXPECT_TRUE(mirror.removeSink(1).empty());
}

TEST_F(ServerMirrorTest, TheStreamsConnectionIsNoProcessAndItsStreamsCountAsOurs) {
    storeClient(1, kOwnPid);  // the mirror's connection
    storeClient(2, kOwnPid);  // the streams' connection
    storeClient(3, 777);      // another program
    mirror.setOwnClient(ServerMirror::OwnConnection::mirror, 1);
    EXPECT_EQ(mirror.setOwnClient(ServerMirror::OwnConnection::streams, 2),
              (std::vector<Change>{{kAudioObjectSystemObject, Selector::processObjects}}));

    const AudioObjectID own = objectOfClient(1);
    const AudioObjectID other = objectOfClient(3);
    EXPECT_EQ(read<std::vector<AudioObjectID>>(kAudioObjectSystemObject, Selector::processObjects),
              (std::vector<AudioObjectID>{own, other}));
    EXPECT_EQ(
        read<uint32_t>(kAudioObjectSystemObject, Selector::translatePIDToProcess, int32_t{kOwnPid}),
        own);
    EXPECT_EQ(objectOfClient(2), own);
    EXPECT_TRUE(mirror.ownClient(2));
    EXPECT_FALSE(mirror.ownClient(3));

    // Our playback runs on the streams' connection, and is this program's output; only what
    // plays on a tap counts as running output (what the tap should hear), whatever its program.
    Sink tap = sink(0, "sorix_tap");
    tap.tapOwner = ProcessIdentity{kOwnPid, std::nullopt};
    storeSink(tap);
    storeSink(sink(1, "speakers"));
    const auto playing =
        mirror.storeSinkInput(mirror.ask(ServerMirror::Kind::sinkInputs), stream(5, 2));
    EXPECT_EQ(playing.changes, (std::vector<Change>{{own, Selector::isRunningOutput}}));
    EXPECT_EQ(read<uint32_t>(own, Selector::isRunningOutput), 1u);
    EXPECT_EQ(read<uint32_t>(other, Selector::isRunningOutput), 0u);
    SinkInput pastTheTap = stream(6, 3);
    pastTheTap.sink = 1;
    EXPECT_TRUE(mirror.storeSinkInput(mirror.ask(ServerMirror::Kind::sinkInputs), pastTheTap)
                    .changes.empty());
    EXPECT_EQ(read<uint32_t>(other, Selector::isRunningOutput), 0u);

    // A corked stream runs no output; its removal then changes nothing.
    const auto corked =
        mirror.storeSinkInput(mirror.ask(ServerMirror::Kind::sinkInputs), stream(5, 2, true));
    EXPECT_EQ(corked.changes, (std::vector<Change>{{own, Selector::isRunningOutput}}));
    EXPECT_TRUE(mirror.removeSinkInput(5).empty());
}

TEST_F(ServerMirrorTest, WhileATapStandsInAsTheServersDefaultTheUsersChoiceReadsAsTheDefault) {
    storeSink(sink(1, "speakers"));
    storeSink(sink(2, "headset"));
    storeSink(sink(3, "sorix_tap"));
    const auto defaultName = [&] {
        return read<std::string>(
            read<AudioObjectID>(kAudioObjectSystemObject, Selector::defaultOutputDevice),
            Selector::deviceUID);
    };
    const std::vector<Change> defaultChanged{
        {kAudioObjectSystemObject, Selector::defaultOutputDevice}};
    mirror.storeServerInfo({"speakers", false});

    // Taking the default over changes nothing anyone sees.
    EXPECT_TRUE(mirror.holdDefault("sorix_tap", "speakers").empty());
    EXPECT_TRUE(mirror.storeServerInfo({"sorix_tap", false}).empty());
    EXPECT_EQ(defaultName(), "speakers");
    EXPECT_EQ(mirror.defaultSink()->name, "speakers");
    EXPECT_EQ(mirror.serverDefaultName(), "sorix_tap");

    // The user picks another output in the desktop's settings: it shows at once, and stays the
    // default once the tap stands in again.
    EXPECT_EQ(mirror.storeServerInfo({"headset", false}), defaultChanged);
    EXPECT_TRUE(mirror.holdDefault("sorix_tap", "headset").empty());
    EXPECT_TRUE(mirror.storeServerInfo({"sorix_tap", false}).empty());
    EXPECT_EQ(defaultName(), "headset");

    // Given back, the tap would read as the default until the server names the user's again.
    EXPECT_EQ(mirror.releaseDefault(), defaultChanged);
    EXPECT_EQ(mirror.storeServerInfo({"headset", false}), defaultChanged);
    EXPECT_EQ(defaultName(), "headset");

    // A lost connection forgets the stand-in. A server that comes back with a tap still as its
    // configured default makes a new tap the default; a tap is never the user's output, though.
    mirror.holdDefault("sorix_tap", "headset");
    mirror.clear();
    mirror.pictureComplete();
    storeSink(sink(4, "usb_dac"));
    Sink tap = sink(5, "sorix_tap");
    tap.tapOwner = ProcessIdentity{kOwnPid, std::nullopt};
    storeSink(tap);
    mirror.storeServerInfo({"sorix_tap", false});
    EXPECT_EQ(defaultName(), "usb_dac");
    EXPECT_EQ(mirror.serverDefaultName(), "sorix_tap");
}

}  // namespace
}  // namespace sorix::pulse
