// What a sink is connected through, when its properties say more than one thing, and how late
// it plays.
#include <gtest/gtest.h>

#include "AudioHardware.h"
#include "SinkLatency.h"
#include "SinkTransport.h"

namespace sorix {
namespace {

std::optional<uint32_t> transport(std::map<std::string, std::string> properties,
                                  std::string driver = "", std::string port = "") {
    return sinkTransport({std::move(properties), std::move(driver), std::move(port)});
}

TEST(SinkTransportTest, TheMostTellingPropertyWins) {
    // A Bluetooth device's profile tells LE Audio from the classic one.
    EXPECT_EQ(transport({{"device.bus", "bluetooth"}, {"api.bluez5.profile", "bap-sink"}}),
              Transport::bluetoothLE);
    EXPECT_EQ(transport({{"device.bus", "bluetooth"}, {"api.bluez5.profile", "a2dp-sink"}}),
              Transport::bluetooth);
    // A sound card's HDMI port is a display, whatever bus the card sits on; names are matched
    // whatever their case.
    EXPECT_EQ(transport({{"device.bus", "pci"}}, "", "[Out] HDMI1"), Transport::hdmi);
    EXPECT_EQ(transport({{"device.bus", "pci"}}), Transport::builtIn);
    // A combining sink is an aggregate even though it is abstract too.
    EXPECT_EQ(transport({{"device.class", "abstract"}}, "module-combine-sink.c"),
              Transport::aggregate);
    // A class that names no transport says nothing: such a sink is no built-in device.
    EXPECT_EQ(transport({{"device.class", "sound"}}), std::nullopt);
}

TEST(SinkTransportTest, PipeWireNullSinksAreVirtualUnlessGivenAClassOrABus) {
    EXPECT_EQ(transport({{"factory.name", "support.null-audio-sink"}}), Transport::virtualDevice);
    EXPECT_EQ(transport({{"factory.name", "support.null-audio-sink"}, {"device.class", "sound"}}),
              std::nullopt);
    EXPECT_EQ(transport({{"factory.name", "support.null-audio-sink"}, {"device.bus", "usb"}}),
              Transport::usb);
    EXPECT_EQ(transport({{"factory.name", "api.alsa.pcm.sink"}}), std::nullopt);
}

// The sum as the mirror reports it is the mirror's case; here the offset's sign and the rate.
TEST(SinkLatencyTest, AddsThePortOffsetAndNeverGoesNegative) {
    EXPECT_EQ(sinkLatencyFrames(25'000, -40'000, 48000), 0u);
    // A Bluetooth headset's port announcing 150 ms of its own.
    EXPECT_EQ(sinkLatencyFrames(25'000, 150'000, 48000), 8400u);
    EXPECT_EQ(sinkLatencyFrames(10'000, 0, 44100), 441u);
}

}  // namespace
}  // namespace sorix
