#include "EngineFixture.h"
#include "SettingsKeys.h"

namespace sorix::testing {
namespace {

using TapEngineTest = EngineFixture;

TEST_F(TapEngineTest, StartBuildsStopTearsDownAndEveryAssignmentIsLogged) {
    auto engine = makeEngine();
    EXPECT_EQ(engine->state().get(), TapEngine::State::inactive());
    EXPECT_EQ(engine->pipelineSampleRate(), 48000);
    for (std::size_t slot = 0; slot < 32; ++slot) {
        EXPECT_EQ(engine->renderBuffers().outputGains[slot].load(), 1.0f);
        EXPECT_EQ(engine->renderBuffers().outputDelays[slot].load(), 0u);
    }
    EXPECT_EQ(hardware.listenerCount(), 0u) << "construction registers nothing";

    std::vector<TapEngine::State> seen;
    engine->state().observe([&](const TapEngine::State& state) { seen.push_back(state); });
    engine->start();
    EXPECT_EQ(messages(), (std::vector<std::string>{"state -> starting",
                                                    "start requested, permission status: granted",
                                                    "state -> active"}));
    EXPECT_EQ(seen, (std::vector{TapEngine::State::starting(), TapEngine::State::active()}));
    EXPECT_TRUE(hardware.isRunning());

    const auto linesBefore = messages().size();
    engine->start();
    EXPECT_EQ(messages().size(), linesBefore) << "start while active changes nothing";

    engine->stop();
    EXPECT_EQ(messages().back(), "state -> inactive");
    EXPECT_EQ(hardware.tapID(), 0u);
    EXPECT_EQ(hardware.aggregateID(), 0u);
    EXPECT_FALSE(engine->pipelineExists());
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
    EXPECT_EQ(messages().back(),
              "state -> failed: Sorix doesn't have System Audio Recording permission. Enable it "
              "in Privacy & Security → Screen & System Audio Recording, then try again.");

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
    EXPECT_EQ(messages().back(), "entered transparent mode (streams kept alive)");
    EXPECT_TRUE(hardware.isRunning());

    renderCycle(0.25f);
    EXPECT_FLOAT_EQ(lastOutput[0], 0.25f) << "transparent mode passes audio untouched";

    engine->start();
    EXPECT_EQ(engine->state()->kind(), Case::active);
    EXPECT_EQ(engine->renderBuffers().processBypass.load(), 0u);
    EXPECT_EQ(TapEngineTestAccess::startAttempts(*engine), 0);
    EXPECT_EQ(messages().back(), "resumed from transparent mode (sync preserved)");
    EXPECT_EQ(builds(), 1) << "nothing is rebuilt";

    engine->shutDown();
    EXPECT_FALSE(engine->pipelineExists()) << "quitting never keeps the pipeline";
    EXPECT_EQ(messages().back(), "state -> inactive");
}

TEST_F(TapEngineTest, OneOutputStopTearsDown) {
    auto engine = startedEngine();
    engine->stop();
    EXPECT_FALSE(engine->pipelineExists());
    EXPECT_FALSE(hardware.isRunning());
}

TEST_F(TapEngineTest, ConstructionReadsTheOutputSettings) {
    EXPECT_TRUE(makeEngine()->volumesLinked().get()) << "absent means linked";

    settings.setBool(SettingsKeys::volumesLinked, false);
    settings.setString(SettingsKeys::outputDeviceUID, "legacy");
    settings.setObject(SettingsKeys::outputVolumes, {{"a", 0.5}, {"b", "loud"}, {"c", 1}});
    settings.setObject(SettingsKeys::outputDelays, {{"a", 12.5}, {"b", true}});
    auto engine = makeEngine();
    EXPECT_FALSE(engine->volumesLinked().get());
    EXPECT_EQ(engine->selectedOutputUIDs().get(), std::vector<std::string>{"legacy"});
    EXPECT_EQ(engine->outputVolumes().get(), (std::map<std::string, float>{{"a", 0.5f}, {"c", 1}}));
    EXPECT_EQ(engine->deviceDelaysMs().get(), (std::map<std::string, double>{{"a", 12.5}}));
    EXPECT_EQ(engine->availableOutputs()->size(), 1u);
}

TEST_F(TapEngineTest, BuildDescribesTheTapAndDeviceAndWritesRangesGainsAndDelays) {
    hardware.addDevice({.uid = "dac", .name = "DAC", .outputStreams = 2, .volume = std::nullopt});
    hardware.addDevice({.uid = "hdmi", .name = "HDMI", .volume = std::nullopt});
    settings.setStringArray(SettingsKeys::outputDeviceUIDs, {"dac", "speakers", "hdmi", "gone"});
    settings.setObject(SettingsKeys::outputVolumes, {{"dac", 0.5}, {"speakers", 0.25}});
    settings.setObject(SettingsKeys::outputDelays, {{"speakers", 10.0}});
    auto engine = startedEngine();

    const auto& tap = *hardware.tap();
    EXPECT_EQ(tap.name, "Sorix System Tap");
    EXPECT_EQ(tap.muteBehavior, TapDescription::MuteBehavior::mutedWhenTapped);
    EXPECT_EQ(tap.excludedProcesses, TapEngineTestAccess::ownProcessObjects(*engine));
    const auto& device = *hardware.aggregate();
    EXPECT_EQ(device.subDevices, (std::vector<std::string>{"dac", "speakers", "hdmi"}));
    EXPECT_EQ(device.tap, tap.uuid);
    EXPECT_TRUE(logged("some pinned outputs unavailable, using 3 of 4"));

    EXPECT_EQ(TapEngineTestAccess::deviceBufferRanges(*engine),
              (BufferRanges{{"dac", {0, 2}}, {"speakers", {2, 3}}, {"hdmi", {3, 4}}}));
    EXPECT_EQ(engine->renderBuffers().outputGains[0].load(), 0.5f);
    EXPECT_EQ(engine->renderBuffers().outputDelays[2].load(), 480u) << "10 ms at 48 kHz";
    EXPECT_EQ(engine->renderBuffers().outputDelays[0].load(), 0u);
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

TEST_F(TapEngineTest, SelectionChangesPersistAndRebuildOnlyARunningPipeline) {
    hardware.addDevice({.uid = "dac", .name = "DAC"});
    auto engine = makeEngine();
    engine->toggleOutput("dac");
    EXPECT_EQ(settings.stringArray(SettingsKeys::outputDeviceUIDs),
              std::vector<std::string>{"dac"});
    EXPECT_EQ(builds(), 0) << "an idle engine builds nothing";

    engine->start();
    EXPECT_EQ(hardware.aggregate()->subDevices.front(), "dac");
    engine->toggleOutput("dac");
    EXPECT_EQ(settings.stringArray(SettingsKeys::outputDeviceUIDs), std::vector<std::string>{});
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
