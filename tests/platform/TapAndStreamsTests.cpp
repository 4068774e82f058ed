// The tap and the aggregate device through the audio hardware seam, on a real sound server of
// the test's own (PulseAudio, then PipeWire's PulseAudio server) with real players: which streams
// the tap takes and gives back, what reaches the IO block and what the block writes reaches.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <iostream>
#include <thread>

#include "ChildProcess.h"
#include "Logger.h"
#include "ManualMainQueue.h"
#include "PrivateSoundServer.h"
#include "ProcessLiveness.h"
#include "PulseAudioHardware.h"
#include "PulseClients.h"
#include "SoundServerParams.h"

namespace sorix {
namespace {

using testing::ChildProcess;
using testing::PrivateSoundServer;
using testing::SoundServerKind;

constexpr double kTone = 0.25;      // the players' peak level
constexpr float kBlockGain = 0.5f;  // what the IO block does to the tap's audio
constexpr const char* kTapName = "Sorix System Tap";

// What the IO block saw, written on the IO thread.
struct BlockProbe {
    std::atomic<float> inputPeak{0};
};

class TapAndStreamsTest : public ::testing::TestWithParam<SoundServerKind> {
  protected:
    void SetUp() override {
        const std::string missing = server_.missingPrograms({"paplay", "parec", "sox"});
        if (!missing.empty()) GTEST_SKIP() << "needs " << missing;
        ASSERT_TRUE(server_.start()) << "could not start a private " << server_.name();
        ASSERT_EQ(server_.run("sox -q -n -r 48000 -c 2 -b 16 " + tone() +
                              " synth 60 sine 1000 vol " + std::to_string(kTone)),
                  0);
    }
    void TearDown() override {
        hardware_.reset();
        if (HasFailure()) {
            std::cout << server_.logs();
            for (const std::string& line : log_->messages())
                std::cout << "logged: " << line << "\n";
        }
    }

    void connect() {
        hardware_ = std::make_unique<PulseAudioHardware>(queue_, 3.0, log_);
        ASSERT_TRUE(hardware_->isConnected());
    }

    std::string tone() const { return (server_.folder() / "tone.wav").string(); }

    // A player of the tone on the sink, once the server shows its stream.
    std::unique_ptr<ChildProcess> play(const std::string& sink) {
        auto player = std::make_unique<ChildProcess>(
            std::vector<std::string>{"paplay", "--device=" + sink, tone()},
            server_.folder() / "player.log");
        EXPECT_TRUE(
            testing::eventually(5, [&] { return !testing::sinkOfPlayer(player->pid()).empty(); }));
        return player;
    }

    // Delivers main-queue work until the condition holds, or ten seconds pass.
    template <typename Condition>
    bool eventually(Condition condition) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        do {
            queue_.runPending();
            if (condition()) return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        } while (std::chrono::steady_clock::now() < deadline);
        return false;
    }

    struct Pipeline {
        AudioObjectID tap = kAudioObjectUnknown;
        AudioObjectID device = kAudioObjectUnknown;
        AudioDeviceIOProcID proc = 0;
    };

    // As the engine builds it: a tap of everything but this program, an aggregate device around
    // it playing on `output`, and an IO block that plays the tap's audio at kBlockGain.
    Pipeline build(const std::string& output) {
        Pipeline pipeline;
        uint32_t own = 0;
        EXPECT_EQ(getProperty(*hardware_, kAudioObjectSystemObject,
                              globalAddress(Selector::translatePIDToProcess), own,
                              hardware_->currentProcessID()),
                  0);
        TapDescription tap{.name = kTapName, .excludedProcesses = {own}, .uuid = "tap-uuid"};
        EXPECT_EQ(hardware_->createProcessTap(tap, pipeline.tap), 0);
        const AggregateDeviceDescription device{
            .name = "Sorix Boost Device", .subDevices = {output}, .tap = tap.uuid};
        EXPECT_EQ(hardware_->createAggregateDevice(device, pipeline.device), 0);
        EXPECT_EQ(hardware_->createIOProcID(pipeline.device, block(), pipeline.proc), 0);
        EXPECT_TRUE(eventually([&] {
            uint32_t alive = 0;
            getProperty(*hardware_, pipeline.device, globalAddress(Selector::isAlive), alive);
            return alive == 1;
        }));
        EXPECT_EQ(hardware_->startDevice(pipeline.device, pipeline.proc), 0);
        return pipeline;
    }

    void tearDown(const Pipeline& pipeline) {
        EXPECT_EQ(hardware_->stopDevice(pipeline.device, pipeline.proc), 0);
        EXPECT_EQ(hardware_->destroyIOProcID(pipeline.device, pipeline.proc), 0);
        EXPECT_EQ(hardware_->destroyAggregateDevice(pipeline.device), 0);
        EXPECT_EQ(hardware_->destroyProcessTap(pipeline.tap), 0);
    }

    AudioDeviceIOBlock block() {
        return [probe = probe_](const AudioBufferList& input, AudioBufferList& output) {
            const AudioBuffer& in = input.mBuffers[0];
            const auto* samples = static_cast<const float*>(in.mData);
            const std::size_t count = in.mDataByteSize / sizeof(float);
            float peak = probe->inputPeak.load(std::memory_order_relaxed);
            for (std::size_t i = 0; i < count; ++i)
                peak = std::max(peak, std::fabs(samples[i]));
            probe->inputPeak.store(peak, std::memory_order_relaxed);
            for (uint32_t b = 0; b < output.mNumberBuffers; ++b) {
                auto* out = static_cast<float*>(output.mBuffers[b].mData);
                const std::size_t outCount = output.mBuffers[b].mDataByteSize / sizeof(float);
                for (std::size_t i = 0; i < outCount; ++i)
                    out[i] = i < count ? samples[i] * kBlockGain : 0.0f;
            }
        };
    }

  private:
    const std::unique_ptr<PrivateSoundServer> ownServer_ =
        PrivateSoundServer::create(GetParam(), PrivateSoundServer::imitatedDevices());

  protected:
    PrivateSoundServer& server_ = *ownServer_;
    ManualMainQueue queue_;
    std::shared_ptr<RecordingLogSink> log_ = std::make_shared<RecordingLogSink>();
    std::shared_ptr<BlockProbe> probe_ = std::make_shared<BlockProbe>();
    std::unique_ptr<PulseAudioHardware> hardware_;
};

TEST_P(TapAndStreamsTest,
       EveryOtherStreamIsCapturedPlayedThroughTheBlockAndGivenBackWhenTheTapGoes) {
    using testing::sinkOfPlayer;
    connect();
    const auto early = play("speakers");
    const Pipeline pipeline = build("usb_dac");
    const auto taps = testing::tapSinks();
    ASSERT_EQ(taps.size(), 1u);
    const std::string tap = taps.front();
    EXPECT_TRUE(eventually([&] { return sinkOfPlayer(early->pid()) == tap; }));
    EXPECT_TRUE(eventually([&] { return probe_->inputPeak.load() > kTone * 0.9; }));
    EXPECT_LT(probe_->inputPeak.load(), kTone * 1.1);

    // Only what the block writes plays, and only on the output.
    const auto output = testing::measureSink("usb_dac");
    ASSERT_TRUE(output);
    EXPECT_NEAR(output->peak, kTone * kBlockGain, kTone * kBlockGain * 0.1);
    const auto home = testing::measureSink("speakers");
    ASSERT_TRUE(home);
    EXPECT_LT(home->peak, 0.01);

    // A stream that starts once the tap runs is captured too.
    const auto late = play("headset");
    EXPECT_TRUE(eventually([&] { return sinkOfPlayer(late->pid()) == tap; }));

    // A rebuild in one main-queue task takes the same tap back: nothing moves out and in.
    const auto module = testing::moduleOfSink(tap);
    tearDown(pipeline);
    const Pipeline rebuilt = build("usb_dac");
    EXPECT_EQ(testing::tapSinks(), taps);
    EXPECT_EQ(testing::moduleOfSink(tap), module);
    EXPECT_EQ(sinkOfPlayer(early->pid()), tap);

    // Once the task that destroyed the tap is over, each stream is back where it played.
    tearDown(rebuilt);
    queue_.runPending();
    EXPECT_TRUE(eventually([&] {
        return sinkOfPlayer(early->pid()) == "speakers" && sinkOfPlayer(late->pid()) == "headset";
    }));
    EXPECT_TRUE(testing::tapSinks().empty());
    EXPECT_TRUE(log_->lines.empty()) << "a request failed";
}

// A tap is its owner's while a process with the owner's pid and start time runs; a pid now
// worn by a process that started at another time is a reused one, and its tap a leftover.
TEST_P(TapAndStreamsTest, LeftoverTapsOfGoneOwnersAreRemovedAtConnectionAndLiveOnesKept) {
    ChildProcess owner({"sleep", "60"}, server_.folder() / "owner.log");
    ASSERT_TRUE(eventually([&] { return processStartTime(owner.pid()).has_value(); }));
    const uint64_t started = *processStartTime(owner.pid());
    const auto loadTap = [&](const std::string& name, uint64_t ownerStart) {
        return server_.run("pactl load-module module-null-sink 'sink_name=" + name +
                           " rate=48000 sink_properties=\"device.description=Leftover "
                           "device.class=abstract sorix.tap.owner_pid=" +
                           std::to_string(owner.pid()) +
                           " sorix.tap.owner_start=" + std::to_string(ownerStart) + "\"'");
    };
    ASSERT_EQ(loadTap("live_tap", started), 0);
    ASSERT_EQ(loadTap("stale_tap", started + 1), 0);
    const auto stranded = play("stale_tap");

    connect();
    const auto sinkNames = [&] { return server_.output("pactl list short sinks | cut -f2"); };
    EXPECT_TRUE(eventually([&] { return sinkNames().find("stale_tap") == std::string::npos; }))
        << sinkNames();
    EXPECT_NE(sinkNames().find("live_tap"), std::string::npos);
    // The server hands the leftover's streams to a real sink.
    EXPECT_TRUE(eventually([&] { return testing::sinkOfPlayer(stranded->pid()) == "speakers"; }));
}

INSTANTIATE_TEST_SUITE_P(, TapAndStreamsTest, testing::everySoundServer(),
                         testing::soundServerName);

}  // namespace
}  // namespace sorix
