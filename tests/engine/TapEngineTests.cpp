#include "EngineFixture.h"
#include "SettingsKeys.h"

namespace sorix::testing {
namespace {

using TapEngineTest = EngineFixture;

TEST_F(TapEngineTest, StartBuildsStopTearsDownAndRepeatingEitherIsHarmless) {
    auto engine = makeEngine();
    EXPECT_EQ(engine->state().get(), TapEngine::State::inactive());
    EXPECT_EQ(hardware.listenerCount(), 0u) << "construction registers nothing";

    std::vector<TapEngine::State> seen;
    engine->state().observe([&](const TapEngine::State& state) { seen.push_back(state); });
    engine->start();
    EXPECT_EQ(seen, (std::vector{TapEngine::State::starting(), TapEngine::State::active()}));
    EXPECT_TRUE(hardware.isRunning());

    const auto linesBefore = messages().size();
    engine->start();
    EXPECT_EQ(messages().size(), linesBefore) << "start while active changes nothing";

    engine->stop();
    EXPECT_EQ(engine->state()->kind(), Case::inactive);
    EXPECT_EQ(hardware.tapID(), 0u);
    EXPECT_EQ(hardware.aggregateID(), 0u);
    EXPECT_FALSE(engine->pipelineExists()) << "one output is not kept alive";
    engine->stop();
    EXPECT_EQ(countLogged("state -> inactive"), 2) << "stop is accepted in every state";
}

TEST_F(TapEngineTest, PermissionDeniedOrDeclinedFailsWithoutBuilding) {
    int decision = 1;  // denied
    bool userAgrees = false;
    AudioCapturePermission asking{
        queue,
        [&] {
            return AudioCapturePermission::Service{
                [&](std::string_view) { return decision; },
                [&](std::string_view, std::function<void(bool)> done) { done(userAgrees); }};
        },
        [] {}};
    auto engine = TapEngine::create({hardware, queue, settings, asking, sink});

    engine->start();
    EXPECT_EQ(engine->state().get(),
              TapEngine::State::failed(
                  "Sorix doesn't have System Audio Recording permission. Enable it in Privacy & "
                  "Security → Screen & System Audio Recording, then try again."));

    decision = 2;  // not asked yet
    engine->start();
    queue.runPending();
    EXPECT_EQ(engine->state().get(),
              TapEngine::State::failed("System Audio Recording permission was declined. Sorix "
                                       "can't boost audio without it."));
    EXPECT_EQ(builds(), 0);

    userAgrees = true;
    engine->start();
    EXPECT_EQ(engine->state()->kind(), Case::starting);
    queue.runPending();
    EXPECT_EQ(engine->state()->kind(), Case::active);
}

TEST_F(TapEngineTest, SeveralOutputsStayAliveUnprocessedAcrossStopAndResume) {
    hardware.addDevice({.uid = "dac", .name = "DAC"});
    settings.setStringArray(SettingsKeys::outputDeviceUIDs, {"speakers", "dac"});
    auto engine = startedEngine();
    renderCycle();
    queue.advance(2.0);

    engine->stop();
    EXPECT_TRUE(engine->pipelineExists());
    EXPECT_EQ(engine->renderBuffers().processBypass.load(), 1u);
    EXPECT_TRUE(hardware.isRunning());

    renderCycle(0.25f);
    EXPECT_FLOAT_EQ(lastOutput[0], 0.25f) << "transparent mode passes audio untouched";

    engine->start();
    EXPECT_EQ(engine->state()->kind(), Case::active);
    EXPECT_EQ(engine->renderBuffers().processBypass.load(), 0u);
    EXPECT_EQ(TapEngineTestAccess::startAttempts(*engine), 0);
    EXPECT_EQ(builds(), 1) << "nothing is rebuilt";

    engine->shutDown();
    EXPECT_FALSE(engine->pipelineExists()) << "quitting never keeps the pipeline";
    EXPECT_EQ(engine->state()->kind(), Case::inactive);
}

// How the outputs are laid over the buffers, with their gains and delays, is the outputs' own
// case; the engine adds the tap and the device around them.
TEST_F(TapEngineTest, TheTapLeavesSorixOutAndTheDeviceWrapsThePresentOutputsAndTheTap) {
    hardware.addDevice({.uid = "dac", .name = "DAC"});
    settings.setStringArray(SettingsKeys::outputDeviceUIDs, {"dac", "gone", "speakers"});
    auto engine = startedEngine();

    const auto& tap = *hardware.tap();
    EXPECT_EQ(tap.muteBehavior, TapDescription::MuteBehavior::mutedWhenTapped);
    EXPECT_EQ(tap.excludedProcesses, TapEngineTestAccess::ownProcessObjects(*engine));
    EXPECT_FALSE(tap.excludedProcesses.empty());
    const auto& device = *hardware.aggregate();
    EXPECT_EQ(device.subDevices, (std::vector<std::string>{"dac", "speakers"}));
    EXPECT_EQ(device.tap, tap.uuid);
}

TEST_F(TapEngineTest, TheTapRateSetsTheProcessorsAndAFailedReadKeepsThePrevious) {
    settings.setBool(SettingsKeys::debugUnmuted, true);
    settings.setObject(SettingsKeys::outputDelays, {{"speakers", 10.0}});
    hardware.setTapSampleRate(44100);
    auto engine = startedEngine();
    EXPECT_EQ(hardware.tap()->muteBehavior, TapDescription::MuteBehavior::unmuted);
    EXPECT_EQ(engine->pipelineSampleRate(), 44100);
    EXPECT_EQ(engine->eq().sampleRate(), 44100.0f);
    EXPECT_EQ(engine->loudness().attackCoefficient(),
              LoudnessProcessor::attackCoefficientAt(44100));
    EXPECT_EQ(engine->renderBuffers().outputDelays[0].load(), 441u);

    hardware.setTapSampleRate(96000);
    hardware.injectFailure(Call::get, Selector::tapFormat, kAudioHardwareUnspecifiedError);
    engine->rebuildIfRunning();
    EXPECT_EQ(engine->state()->kind(), Case::active);
    EXPECT_EQ(engine->pipelineSampleRate(), 44100) << "a failed read keeps the previous rate";
    EXPECT_EQ(engine->renderBuffers().outputDelays[0].load(), 441u);
}

TEST_F(TapEngineTest, TheIOProcedureBoostsWithTheEnginesProcessors) {
    auto engine = startedEngine();
    engine->loudness().setBoost(2.0f);
    renderCycle(0.1f);
    EXPECT_NEAR(lastOutput[0], 0.2f, 1e-6f);
    EXPECT_EQ(engine->renderBuffers().samplesRendered.load(), 128u) << "64 stereo frames";
}

TEST_F(TapEngineTest, SelectionChangesRebuildOnlyARunningPipeline) {
    hardware.addDevice({.uid = "dac", .name = "DAC"});
    auto engine = makeEngine();
    engine->toggleOutput("dac");
    EXPECT_EQ(builds(), 0) << "an idle engine builds nothing";

    engine->start();
    EXPECT_EQ(hardware.aggregate()->subDevices.front(), "dac");
    engine->toggleOutput("dac");
    EXPECT_EQ(builds(), 2);
    EXPECT_EQ(hardware.aggregate()->subDevices.front(), "speakers") << "back to the default output";
}

TEST_F(TapEngineTest, AnEngineThatIsGoneIgnoresItsTimersAndListeners) {
    auto engine = startedEngine();
    engine.reset();
    EXPECT_EQ(hardware.tapID(), 0u) << "the pipeline goes with the engine";
    hardware.setDefaultOutput(speakers);
    queue.advance(30.0);  // watchdog, meter, listeners: nothing may touch the dead engine
    SUCCEED();
}

}  // namespace
}  // namespace sorix::testing
