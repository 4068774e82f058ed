#include "EngineFixture.h"
#include "SettingsKeys.h"

namespace sorix::testing {
namespace {

using PipelineRecoveryTest = EngineFixture;

constexpr OSStatus kRefused = kAudioHardwareIllegalOperationError;

TEST_F(PipelineRecoveryTest, FailedBuildsRetryAfterOneOneFourFourFourSecondsThenFail) {
    hardware.injectFailure(Call::createTap, FakeAudioHardware::anySelector, kRefused);
    auto engine = makeEngine();
    engine->start();

    const double delays[] = {1, 1, 4, 4, 4};
    for (int attempt = 1; attempt <= 5; ++attempt) {
        EXPECT_EQ(hardware.callCount(Call::createTap), attempt);
        EXPECT_EQ(engine->state()->kind(), Case::starting);
        queue.advance(delays[attempt - 1] - 0.01);
        EXPECT_EQ(hardware.callCount(Call::createTap), attempt) << "retry came early";
        queue.advance(0.01);
    }
    EXPECT_EQ(hardware.callCount(Call::createTap), 6);
    EXPECT_EQ(engine->state()->kind(), Case::failed);
    EXPECT_EQ(countLogged("pipeline build failed (Could not create the system audio tap"), 5);
    queue.advance(60);
    EXPECT_EQ(hardware.callCount(Call::createTap), 6) << "no retry runs from failed";
}

TEST_F(PipelineRecoveryTest, AFailedEngineStartsAgainByItselfOnceTheAudioSystemHasAnOutput) {
    hardware.injectFailure(Call::createTap, FakeAudioHardware::anySelector, kRefused);
    auto engine = makeEngine();
    engine->start();
    queue.advance(14);
    ASSERT_EQ(engine->state()->kind(), Case::failed);
    EXPECT_NE(engine->state()->message().find("sound server"), std::string::npos)
        << "the failure says what a user can check";

    // The server goes on changing while it is away: a device list without a default output
    // is no reason to try.
    hardware.setDefaultOutput(kAudioObjectUnknown);
    hardware.removeDevice(speakers);
    queue.runPending();
    EXPECT_EQ(engine->state()->kind(), Case::failed);

    hardware.clearFailures();
    const auto headphones = hardware.addDevice({.uid = "headphones", .name = "Headphones"});
    hardware.setDefaultOutput(headphones);
    hardware.addDevice({.uid = "dac", .name = "DAC"});
    queue.runPending();
    EXPECT_EQ(engine->state()->kind(), Case::active);
    EXPECT_EQ(hardware.aggregate()->subDevices.front(), "headphones");
    EXPECT_EQ(hardware.listenerCount(kAudioObjectSystemObject, globalAddress(Selector::devices)),
              0u);

    // Switched off while failed, it stays off whatever the server does.
    hardware.injectFailure(Call::createTap, FakeAudioHardware::anySelector, kRefused);
    engine->rebuildIfRunning();
    queue.advance(14);
    ASSERT_EQ(engine->state()->kind(), Case::failed);
    engine->stop();
    hardware.clearFailures();
    hardware.addDevice({.uid = "usb", .name = "USB"});
    queue.runPending();
    EXPECT_EQ(engine->state()->kind(), Case::inactive);
}

TEST_F(PipelineRecoveryTest, AFailureAtAnyStepLeavesNothingBehind) {
    const auto otherDefault = hardware.addDevice(
        {.uid = "loopback", .name = "Loopback", .transport = Transport::virtualDevice});
    // Each with the start of the reason its failure is logged with, to tell the steps apart.
    struct Step {
        std::function<void()> breakIt;
        std::string reason;
    };
    const std::vector<Step> steps = {
        {[&] { hardware.injectFailure(Call::createAggregate, 0, kRefused); },
         "Could not create the boost device"},
        {[&] { hardware.injectFailure(Call::createIOProc, 0, kRefused); },
         "Could not attach the audio processor"},
        {[&] { hardware.injectFailure(Call::start, 0, kRefused); },
         "Could not start audio processing"},
        {[&] { hardware.setDefaultOutput(otherDefault); },
         "Your selected system output is a virtual device"},
        {[&] { hardware.injectFailure(Call::get, Selector::translatePIDToProcess, kRefused); },
         "Could not register Sorix"},
    };
    for (const Step& step : steps) {
        SCOPED_TRACE(step.reason);
        hardware.clearFailures();
        hardware.setDefaultOutput(speakers);
        queue.runPending();
        auto engine = makeEngine();
        step.breakIt();
        engine->start();
        EXPECT_EQ(engine->state()->kind(), Case::starting);
        EXPECT_EQ(hardware.tapID(), 0u);
        EXPECT_EQ(hardware.aggregateID(), 0u);
        EXPECT_FALSE(hardware.isRunning());
        EXPECT_FALSE(engine->pipelineExists());
        EXPECT_EQ(TapEngineTestAccess::outputDeviceListenerCount(*engine), 0u);
        EXPECT_EQ(countLogged("pipeline build failed (" + step.reason), 1);
        engine->stop();
    }
}

TEST_F(PipelineRecoveryTest, AStopDuringTheRetryDelayCancelsTheRetry) {
    hardware.injectFailure(Call::createAggregate, 0, kRefused, 1);
    auto engine = makeEngine();
    engine->start();
    engine->stop();
    queue.advance(5);
    EXPECT_EQ(engine->state()->kind(), Case::inactive);
    EXPECT_EQ(builds(), 1);
}

TEST_F(PipelineRecoveryTest, TheWatchdogAcceptsAnyRenderedFrameAndRetriesADeadPipeline) {
    auto engine = startedEngine();
    renderCycle();
    queue.advance(2.0);
    EXPECT_EQ(TapEngineTestAccess::startAttempts(*engine), 0) << "one frame proves it alive";

    // From now on nothing renders: each build is found dead and retried, without a limit.
    engine->rebuildIfRunning();
    queue.advance(2.0);
    EXPECT_TRUE(logged("dead pipeline (0 callbacks), retrying in 1.000000s (attempt 2)"));
    EXPECT_EQ(engine->state()->kind(), Case::starting);
    EXPECT_FALSE(engine->pipelineExists());
    queue.advance(1.0 + 2.0);
    EXPECT_TRUE(logged("dead pipeline (0 callbacks), retrying in 1.000000s (attempt 3)"));
    queue.advance(1.0 + 2.0);
    EXPECT_TRUE(logged("dead pipeline (0 callbacks), retrying in 5.000000s (attempt 4)"));
    queue.advance(5.0 + 2.0);
    queue.advance(5.0 + 2.0);
    queue.advance(5.0 + 2.0);
    EXPECT_TRUE(logged("dead pipeline (0 callbacks), retrying in 5.000000s (attempt 7)"));
    EXPECT_EQ(engine->state()->kind(), Case::starting) << "never gives up on its own";
    engine->stop();
}

TEST_F(PipelineRecoveryTest, TheMeterLogsPeaksAndRebuildsADeadTapOnlyWhileOthersPlay) {
    auto engine = startedEngine();
    renderCycle(0.5f);
    queue.advance(2.0);
    EXPECT_TRUE(logged("meter: inPeak=0.5000 outPeak=0.5000 callbacks=1"));
    queue.advance(2.0);
    EXPECT_TRUE(logged("meter: inPeak=0.0000 outPeak=0.0000 callbacks=1"))
        << "each tick reports its own interval";

    queue.advance(10.0);
    EXPECT_EQ(builds(), 1) << "silence with nobody playing is just silence";

    // A tap that goes on delivering silence is alive, however long someone else plays.
    hardware.addProcess(777, true);
    for (int tick = 0; tick < 8; ++tick) {
        renderCycle(0.0f);
        queue.advance(2.0);
    }
    EXPECT_EQ(builds(), 1);

    // One that stops delivering is dead: five silent ticks, then one rebuild.
    queue.advance(8.0);
    EXPECT_EQ(builds(), 1);
    queue.advance(2.0);
    EXPECT_EQ(builds(), 2);
    EXPECT_EQ(engine->state()->kind(), Case::active);
}

TEST_F(PipelineRecoveryTest, TheDefaultOutputIsFollowedOnlyWithoutPinnedOutputs) {
    const auto headphones = hardware.addDevice({.uid = "headphones", .name = "Headphones"});
    auto engine = startedEngine();
    hardware.setDefaultOutput(headphones);
    queue.runPending();
    EXPECT_EQ(builds(), 2);
    EXPECT_EQ(hardware.aggregate()->subDevices.front(), "headphones");

    engine->toggleOutput("speakers");
    EXPECT_EQ(builds(), 3);
    hardware.setDefaultOutput(speakers);
    queue.runPending();
    EXPECT_EQ(builds(), 3) << "pinned outputs ignore the system default";
}

TEST_F(PipelineRecoveryTest, PrimaryOutputChangesRebuildAfterTheBuildsOwnEcho) {
    auto engine = startedEngine();
    renderCycle();
    const auto rate = globalAddress(Selector::nominalSampleRate);
    queue.advance(1.499);
    hardware.changeProperty(speakers, rate, 44100.0);
    queue.runPending();
    EXPECT_EQ(builds(), 1) << "within 1.5 s of a build it is the build's own echo";

    queue.advance(0.002);
    hardware.changeProperty(speakers, rate, 48000.0);
    queue.runPending();
    EXPECT_EQ(builds(), 2);
    EXPECT_EQ(hardware.listenerCount(speakers, rate), 1u) << "the old listener was replaced";
}

TEST_F(PipelineRecoveryTest, APrimaryOutputChangeDropsAKeptAlivePipeline) {
    hardware.addDevice({.uid = "dac", .name = "DAC"});
    settings.setStringArray(SettingsKeys::outputDeviceUIDs, {"speakers", "dac"});
    auto engine = startedEngine();
    engine->stop();
    queue.advance(2.0);
    hardware.removeDevice(speakers);
    queue.runPending();
    EXPECT_FALSE(engine->pipelineExists());
    EXPECT_EQ(engine->state()->kind(), Case::inactive);
}

TEST_F(PipelineRecoveryTest, ListenersCoverThePrimaryOutputAndEveryPinnedLatency) {
    const auto dac = hardware.addDevice({.uid = "dac", .name = "DAC"});
    settings.setStringArray(SettingsKeys::outputDeviceUIDs, {"dac", "speakers", "absent"});
    auto engine = startedEngine();
    EXPECT_EQ(TapEngineTestAccess::outputDeviceID(*engine), dac);
    EXPECT_EQ(hardware.listenerCount(dac, globalAddress(Selector::isAlive)), 1u);
    EXPECT_EQ(hardware.listenerCount(dac, globalAddress(Selector::nominalSampleRate)), 1u);
    EXPECT_EQ(hardware.listenerCount(dac, outputAddress(Selector::latency)), 1u);
    EXPECT_EQ(hardware.listenerCount(speakers, outputAddress(Selector::latency)), 1u);
    EXPECT_EQ(TapEngineTestAccess::outputDeviceListenerCount(*engine), 4u);
    engine->shutDown();
    EXPECT_EQ(TapEngineTestAccess::outputDeviceListenerCount(*engine), 0u);
    EXPECT_EQ(hardware.listenerCount(dac, outputAddress(Selector::latency)), 0u);
}

}  // namespace
}  // namespace sorix::testing
