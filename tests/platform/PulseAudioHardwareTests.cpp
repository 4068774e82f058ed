// The audio hardware layer against a real sound server of the test's own, PulseAudio and then
// PipeWire's PulseAudio server.

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <iostream>
#include <map>
#include <thread>

#include "ChildProcess.h"
#include "ManualMainQueue.h"
#include "PrivateSoundServer.h"
#include "PulseAudioHardware.h"
#include "PulseClients.h"
#include "SoundServerParams.h"

namespace sorix {
namespace {

using testing::ChildProcess;
using testing::PrivateSoundServer;
using testing::SoundServerKind;

class PulseAudioHardwareTest : public ::testing::TestWithParam<SoundServerKind> {
  protected:
    void SetUp() override {
        const std::string missing = server_.missingPrograms({"paplay", "sox"});
        if (!missing.empty()) GTEST_SKIP() << "needs " << missing;
        ASSERT_TRUE(server_.start()) << "could not start a private " << server_.name();
        hardware_ = std::make_unique<PulseAudioHardware>(queue_);
        ASSERT_TRUE(hardware_->isConnected());
    }
    void TearDown() override {
        hardware_.reset();
        if (HasFailure()) std::cout << server_.logs();
    }

    // Delivers main-queue work until the condition holds (or a generous limit passes).
    template <typename Condition>
    bool eventually(Condition condition) {
        for (int i = 0; i < 1000; ++i) {
            queue_.runPending();
            if (condition()) return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return false;
    }

    AudioObjectID device(const std::string& uid) const {
        uint32_t id = 0;
        getProperty(*hardware_, kAudioObjectSystemObject,
                    globalAddress(Selector::translateUIDToDevice), id, uid);
        return id;
    }

    template <typename T>
    T read(AudioObjectID object, const AudioObjectPropertyAddress& address) const {
        T value{};
        EXPECT_EQ(getProperty(*hardware_, object, address, value), 0)
            << fourCharCodeString(address.mSelector);
        return value;
    }

    PropertyListener listen(AudioObjectID object, const AudioObjectPropertyAddress& address,
                            int& calls) {
        auto listener = std::make_shared<const PropertyListenerBlock>(
            [&calls](const std::vector<AudioObjectPropertyAddress>&) { ++calls; });
        EXPECT_EQ(hardware_->addPropertyListener(object, address, listener), 0);
        return listener;
    }

  private:
    const std::unique_ptr<PrivateSoundServer> ownServer_ =
        PrivateSoundServer::create(GetParam(), PrivateSoundServer::imitatedDevices());

  protected:
    PrivateSoundServer& server_ = *ownServer_;
    ManualMainQueue queue_;
    std::unique_ptr<PulseAudioHardware> hardware_;
};

TEST_P(PulseAudioHardwareTest, SinksAppearAsDevicesWithNamesUIDsAndTransports) {
    const auto devices = read<std::vector<AudioObjectID>>(kAudioObjectSystemObject,
                                                          globalAddress(Selector::devices));
    ASSERT_EQ(devices.size(), 5u);
    const std::map<std::string, std::pair<std::string, std::optional<uint32_t>>> expected = {
        {"speakers", {"Speakers", Transport::builtIn}}, {"usb_dac", {"USB DAC", Transport::usb}},
        {"headset", {"Headset", Transport::bluetooth}}, {"monitor", {"Monitor", Transport::hdmi}},
        {"plain", {"", Transport::virtualDevice}},
    };
    for (AudioObjectID id : devices) {
        const auto uid = read<std::string>(id, globalAddress(Selector::deviceUID));
        ASSERT_TRUE(expected.count(uid)) << uid;
        const auto& [name, transport] = expected.at(uid);
        if (!name.empty()) {
            EXPECT_EQ(read<std::string>(id, globalAddress(Selector::name)), name);
        }
        EXPECT_EQ(read<uint32_t>(id, globalAddress(Selector::transportType)), *transport) << uid;
        EXPECT_EQ(device(uid), id);
        EXPECT_EQ(read<double>(id, globalAddress(Selector::nominalSampleRate)), 48000);
        EXPECT_EQ(read<uint32_t>(id, globalAddress(Selector::isAlive)), 1u);
        uint32_t streamBytes = 0;
        EXPECT_EQ(
            hardware_->getPropertyDataSize(id, outputAddress(Selector::streams), {}, streamBytes),
            0);
        EXPECT_EQ(streamBytes, 4u);
        uint32_t latency = 0;
        EXPECT_EQ(getProperty(*hardware_, id, outputAddress(Selector::latency), latency), 0);
    }
    EXPECT_EQ(device("no-such-sink"), kAudioObjectUnknown);
    EXPECT_EQ(
        read<uint32_t>(kAudioObjectSystemObject, globalAddress(Selector::defaultOutputDevice)),
        device("speakers"));
}

TEST_P(PulseAudioHardwareTest, DefaultOutputChangesReachListeners) {
    int calls = 0;
    const auto address = globalAddress(Selector::defaultOutputDevice);
    const auto listener = listen(kAudioObjectSystemObject, address, calls);
    ASSERT_EQ(server_.run("pactl set-default-sink usb_dac"), 0);
    EXPECT_TRUE(eventually([&] { return calls > 0; }));
    EXPECT_EQ(read<uint32_t>(kAudioObjectSystemObject, address), device("usb_dac"));

    EXPECT_EQ(hardware_->removePropertyListener(kAudioObjectSystemObject, address, listener), 0);
    server_.run("pactl set-default-sink headset");
    eventually(
        [&] { return read<uint32_t>(kAudioObjectSystemObject, address) == device("headset"); });
    queue_.runPending();
    EXPECT_EQ(calls, 1);
}

TEST_P(PulseAudioHardwareTest, VolumeIsReadSetAndFollowedBothWays) {
    const AudioObjectID dac = device("usb_dac");
    const auto volume = outputAddress(Selector::virtualMainVolume);
    bool settable = false;
    EXPECT_EQ(hardware_->isPropertySettable(dac, volume, settable), 0);
    EXPECT_TRUE(settable);
    int calls = 0;
    const auto listener = listen(dac, volume, calls);

    ASSERT_EQ(hardware_->setPropertyData(dac, volume, PropertyValue{0.25f}), 0);
    EXPECT_TRUE(eventually([&] { return std::abs(read<float>(dac, volume) - 0.25f) < 0.001f; }));
    EXPECT_NE(server_.output("pactl get-sink-volume usb_dac").find("25%"), std::string::npos);

    const int before = calls;
    ASSERT_EQ(server_.run("pactl set-sink-volume usb_dac 60%"), 0);
    EXPECT_TRUE(eventually([&] { return calls > before; }));
    EXPECT_NEAR(read<float>(dac, volume), 0.60f, 0.001f);
    hardware_->removePropertyListener(dac, volume, listener);
}

TEST_P(PulseAudioHardwareTest, ASinksLatencyFollowsTheStreamsThatAskForIt) {
    // PipeWire's null sinks report no latency at all.
    if (GetParam() == SoundServerKind::pipeWire) GTEST_SKIP() << "null sinks report 0";
    const std::string tone = (server_.folder() / "tone.wav").string();
    ASSERT_EQ(server_.run("sox -n -r 48000 -c 2 " + tone + " synth 20 sine 440 vol 0.1"), 0);
    const AudioObjectID dac = device("usb_dac");
    const auto latency = outputAddress(Selector::latency);
    const auto play = [&](int milliseconds) {
        return std::make_unique<ChildProcess>(
            std::vector<std::string>{"paplay", "--device=usb_dac",
                                     "--latency-msec=" + std::to_string(milliseconds), tone},
            server_.folder() / "player.log");
    };
    // A stream that joins a sink already running lowers its latency, and the server announces
    // nothing of the sink for it.
    const auto relaxed = play(1000);
    ASSERT_TRUE(eventually([&] { return read<uint32_t>(dac, latency) > 48000 / 4; }))
        << read<uint32_t>(dac, latency);
    int calls = 0;
    const auto listener = listen(dac, latency, calls);
    const auto eager = play(10);
    EXPECT_TRUE(eventually([&] { return read<uint32_t>(dac, latency) < 48000 / 20; }))
        << read<uint32_t>(dac, latency);
    EXPECT_GT(calls, 0);
    hardware_->removePropertyListener(dac, latency, listener);
}

TEST_P(PulseAudioHardwareTest, ClientsAreProcessesAndOneThatPlaysOnATapRunsOutput) {
    uint32_t own = 0;
    EXPECT_EQ(getProperty(*hardware_, kAudioObjectSystemObject,
                          globalAddress(Selector::translatePIDToProcess), own,
                          hardware_->currentProcessID()),
              0);
    EXPECT_NE(own, kAudioObjectUnknown);
    EXPECT_EQ(read<uint32_t>(own, globalAddress(Selector::isRunningOutput)), 0u);

    const std::string tone = (server_.folder() / "tone.wav").string();
    ASSERT_EQ(server_.run("sox -n -r 48000 -c 2 " + tone + " synth 5 sine 440 vol 0.1"), 0);
    // A sink marked as a tap, as a Sorix that still runs (this test) would have made it.
    ASSERT_EQ(server_.run("pactl load-module module-null-sink sink_name=tap_like "
                          "sink_properties=sorix.tap.owner_pid=" +
                          std::to_string(::getpid()) + " >/dev/null"),
              0);
    const auto play = [&](const std::string& sink) {
        auto player = std::make_unique<ChildProcess>(
            std::vector<std::string>{"paplay", "--device=" + sink, tone},
            server_.folder() / "player.log");
        EXPECT_TRUE(
            testing::eventually(5, [&] { return testing::sinkOfPlayer(player->pid()) == sink; }));
        return player;
    };
    auto running = [&] {
        const auto processes = read<std::vector<AudioObjectID>>(
            kAudioObjectSystemObject, globalAddress(Selector::processObjects));
        for (AudioObjectID process : processes) {
            uint32_t value = 0;
            getProperty(*hardware_, process, globalAddress(Selector::isRunningOutput), value);
            if (process != own && value == 1) return true;
        }
        return false;
    };
    // A stream that plays past the tap (one that may not move, or not moved yet) is nothing
    // the tap should hear.
    auto pastTheTap = play("speakers");
    queue_.runPending();
    EXPECT_FALSE(running());
    auto onTheTap = play("tap_like");
    EXPECT_TRUE(eventually(running));
    onTheTap.reset();
    EXPECT_TRUE(eventually([&] { return !running(); }));
}

TEST_P(PulseAudioHardwareTest, AnUnloadedSinkDiesAndItsListenersHear) {
    const AudioObjectID dac = device("usb_dac");
    int deaths = 0;
    const auto listener = listen(dac, globalAddress(Selector::isAlive), deaths);
    const std::string module =
        server_.output("pactl list modules short | awk '/sink_name=usb_dac/ {print $1}'");
    ASSERT_FALSE(module.empty());
    ASSERT_EQ(server_.run("pactl unload-module " + module), 0);
    EXPECT_TRUE(eventually([&] { return deaths > 0; }));
    EXPECT_EQ(device("usb_dac"), kAudioObjectUnknown);
    uint32_t alive = 0;
    EXPECT_NE(getProperty(*hardware_, dac, globalAddress(Selector::isAlive), alive), 0);
}

TEST_P(PulseAudioHardwareTest, ALostServerFailsReadsAndIsFoundAgainWhenItReturns) {
    const AudioObjectID speakers = device("speakers");
    int deaths = 0, defaults = 0;
    const auto alive = listen(speakers, globalAddress(Selector::isAlive), deaths);
    const auto fallback =
        listen(kAudioObjectSystemObject, globalAddress(Selector::defaultOutputDevice), defaults);

    server_.kill();
    EXPECT_TRUE(eventually([&] { return deaths > 0 && defaults > 0; }));
    uint32_t id = 0;
    EXPECT_NE(getProperty(*hardware_, kAudioObjectSystemObject,
                          globalAddress(Selector::defaultOutputDevice), id),
              0);
    EXPECT_NE(hardware_->setPropertyData(speakers, outputAddress(Selector::virtualMainVolume),
                                         PropertyValue{0.5f}),
              0);

    ASSERT_TRUE(server_.start());
    EXPECT_TRUE(hardware_->waitUntilConnected(10.0));
    EXPECT_NE(device("speakers"), kAudioObjectUnknown);
    EXPECT_TRUE(eventually([&] { return defaults > 1; }));
}

INSTANTIATE_TEST_SUITE_P(, PulseAudioHardwareTest, testing::everySoundServer(),
                         testing::soundServerName);

}  // namespace
}  // namespace sorix
