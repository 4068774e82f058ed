#include <limits>

#include "EngineFixture.h"
#include "SettingsKeys.h"

namespace sorix::testing {
namespace {

// Volumes and delays per output, with two pinned speakers that have their own volume control.
class OutputLevelsTest : public EngineFixture {
  protected:
    OutputLevelsTest() {
        dac = hardware.addDevice({.uid = "dac", .name = "DAC", .volume = 0.3f});
        hardware.changeProperty(speakers, outputAddress(Selector::virtualMainVolume), 0.8f, true);
        settings.setStringArray(SettingsKeys::outputDeviceUIDs, {"speakers", "dac"});
        queue.runPending();
    }

    float hardwareVolumeOf(AudioObjectID device) {
        return *TapEngine::hardwareVolume(hardware, device);
    }

    AudioObjectID dac = 0;
};

TEST_F(OutputLevelsTest, LinkedOutputsMoveByTheSameStepAndStopAtTheEnds) {
    auto engine = makeEngine();
    engine->refreshDeviceVolumes();
    engine->setOutputVolume("speakers", 0.9f, true);
    EXPECT_FLOAT_EQ(hardwareVolumeOf(dac), 0.4f) << "additive, not proportional";

    engine->setOutputVolume("dac", 0.95f, true);
    EXPECT_FLOAT_EQ(hardwareVolumeOf(speakers), 1.0f) << "0.9 + 0.55 stops at the top";

    engine->setOutputVolume("dac", 0.9504f, true);
    EXPECT_FLOAT_EQ(hardwareVolumeOf(speakers), 1.0f);
    engine->setOutputVolume("dac", 0.9404f, true);
    EXPECT_NEAR(hardwareVolumeOf(speakers), 0.99f, 1e-5f) << "a step of 0.001 propagates";
    engine->setOutputVolume("dac", 0.9400f, true);
    EXPECT_NEAR(hardwareVolumeOf(speakers), 0.99f, 1e-5f) << "a step of 0.0004 does not";

    engine->setVolumesLinked(false);
    EXPECT_EQ(settings.boolean(SettingsKeys::volumesLinked), false);
    engine->setOutputVolume("dac", 0.1f, true);
    EXPECT_NEAR(hardwareVolumeOf(speakers), 0.99f, 1e-5f);
}

TEST_F(OutputLevelsTest, ExternalChangesMoveTheOthersUnlessTheyEchoOurOwnWrite) {
    auto engine = makeEngine();
    engine->refreshDeviceVolumes();
    const auto volume = outputAddress(Selector::virtualMainVolume);

    engine->setOutputVolume("speakers", 0.7f, false);
    hardware.changeProperty(speakers, volume, 0.2f, true);
    queue.runPending();
    EXPECT_FLOAT_EQ(engine->deviceVolumes->at("speakers"), 0.7f) << "within 0.25 s: our echo";

    queue.advance(0.3);
    hardware.changeProperty(speakers, volume, 0.6f, true);
    queue.runPending();
    EXPECT_FLOAT_EQ(engine->deviceVolumes->at("speakers"), 0.6f);
    EXPECT_FLOAT_EQ(hardwareVolumeOf(dac), 0.2f) << "0.3 moved by the same -0.1";
}

TEST_F(OutputLevelsTest, RefreshWatchesTheActiveOutputsAndTheDefaultAndReplacesListeners) {
    const auto plain =
        hardware.addDevice({.uid = "plain", .name = "Plain", .volume = std::nullopt});
    settings.setStringArray(SettingsKeys::outputDeviceUIDs, {"dac", "plain"});
    settings.setObject(SettingsKeys::outputVolumes, {{"plain", 0.4}});
    auto engine = makeEngine();
    engine->refreshDeviceVolumes();
    engine->refreshDeviceVolumes();
    const auto volume = outputAddress(Selector::virtualMainVolume);
    EXPECT_EQ(hardware.listenerCount(dac, volume), 1u);
    EXPECT_EQ(hardware.listenerCount(speakers, volume), 1u) << "the default is watched too";
    EXPECT_EQ(hardware.listenerCount(plain, volume), 0u);
    EXPECT_EQ(engine->deviceVolumes.get(),
              (std::map<std::string, float>{{"dac", 0.3f}, {"plain", 0.4f}, {"speakers", 0.8f}}));
}

TEST_F(OutputLevelsTest, OutputsWithoutAVolumeControlGetASoftwareGainThatIsKept) {
    hardware.addDevice({.uid = "plain", .name = "Plain", .volume = std::nullopt});
    settings.setStringArray(SettingsKeys::outputDeviceUIDs, {"dac", "plain"});
    auto engine = startedEngine();
    engine->setOutputVolume("plain", 0.5f, false);
    EXPECT_EQ(engine->outputGains[1].load(), 0.5f) << "at once, in the running pipeline";
    EXPECT_EQ(engine->outputGains[0].load(), 1.0f);
    EXPECT_EQ(settings.object(SettingsKeys::outputVolumes), SettingsStore::Value({{"plain", 0.5}}));

    engine->setOutputVolume("plain", 0.0f, false);
    renderCycle(0.5f);  // the fake has one output buffer, the DAC's
    engine.reset();

    auto restarted = startedEngine();
    EXPECT_EQ(restarted->outputGains[1].load(), 0.0f) << "the stored gain applies at the build";
}

TEST_F(OutputLevelsTest, ManualDelaysAreClampedStoredAndWrittenOnTopOfTheAutomaticHold) {
    auto engine = startedEngine();
    engine->setOutputDelay("dac", 2000);
    EXPECT_EQ(engine->deviceDelaysMs->at("dac"), 1500.0);
    EXPECT_EQ(engine->outputDelays[1].load(), 72000u);
    engine->setOutputDelay("dac", -5);
    EXPECT_EQ(engine->outputDelays[1].load(), 0u);
    engine->setOutputDelay("absent", 20);
    EXPECT_EQ(settings.object(SettingsKeys::outputDelays),
              SettingsStore::Value({{"dac", 0.0}, {"absent", 20.0}}));
}

TEST_F(OutputLevelsTest, VolumesAndDelaysThatAreNotNumbersGetTheirDefaultsAndInfinitiesTheEnds) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    hardware.addDevice({.uid = "plain", .name = "Plain", .volume = std::nullopt});
    settings.setStringArray(SettingsKeys::outputDeviceUIDs, {"dac", "plain"});
    auto engine = startedEngine();
    const struct {
        double asked;
        float volume;
        double delay;
    } cases[] = {{nan, 1.0f, 0.0}, {inf, 1.0f, 1500.0}, {-inf, 0.0f, 0.0}};
    for (const auto& c : cases) {
        engine->setOutputVolume("plain", 0.5f, false);
        engine->setOutputVolume("plain", static_cast<float>(c.asked), false);
        EXPECT_EQ(engine->outputGains[1].load(), c.volume) << c.asked;
        EXPECT_EQ(engine->outputVolumes->at("plain"), c.volume) << c.asked;
        engine->setOutputVolume("dac", 0.5f, false);
        engine->setOutputVolume("dac", static_cast<float>(c.asked), false);
        EXPECT_EQ(hardwareVolumeOf(dac), c.volume) << c.asked;

        engine->setOutputDelay("dac", 10);
        engine->setOutputDelay("dac", c.asked);
        EXPECT_EQ(engine->deviceDelaysMs->at("dac"), c.delay) << c.asked;
        EXPECT_EQ(engine->outputDelays[0].load(), static_cast<uint32_t>(c.delay * 48)) << c.asked;
    }
}

TEST_F(OutputLevelsTest, StoredVolumesAndDelaysAreHeldToTheirRanges) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    settings.setObject(
        SettingsKeys::outputVolumes,
        {{"a", nan}, {"b", 1e300}, {"c", -0.5}, {"d", "x"}, {"e", 0.25}, {"f", 1.001}});
    settings.setObject(SettingsKeys::outputDelays,
                       {{"a", nan}, {"b", 1e300}, {"c", -3.0}, {"d", 1500.5}, {"e", 12.5}});
    auto engine = makeEngine();
    EXPECT_EQ(engine->outputVolumes.get(),
              (std::map<std::string, float>{{"b", 1.0f}, {"c", 0.0f}, {"e", 0.25f}, {"f", 1.0f}}));
    EXPECT_EQ(
        engine->deviceDelaysMs.get(),
        (std::map<std::string, double>{{"b", 1500.0}, {"c", 0.0}, {"d", 1500.0}, {"e", 12.5}}));
}

TEST_F(OutputLevelsTest, ReportedLatenciesHoldTheEarlierOutputsBack) {
    // The speakers report 6000 frames at 48 kHz in all (125 ms), the DAC nothing.
    hardware.changeProperty(speakers, outputAddress(Selector::latency), uint32_t{5000});
    hardware.changeProperty(speakers, outputAddress(Selector::safetyOffset), uint32_t{1000});
    settings.setObject(SettingsKeys::outputDelays, {{"dac", 20.0}});
    auto engine = startedEngine();
    EXPECT_DOUBLE_EQ(TapEngine::reportedLatencySeconds(hardware, speakers), 0.125);
    EXPECT_EQ(engine->outputDelays[1].load(), 960u) << "a build writes the manual part only";

    hardware.changeProperty(speakers, outputAddress(Selector::latency), uint32_t{5000});
    queue.runPending();
    EXPECT_TRUE(logged("reported-sync update: DAC auto hold -> 125ms"));
    EXPECT_TRUE(logged("reported-sync update: Speakers auto hold -> 0ms"));
    EXPECT_EQ(engine->outputDelays[1].load(), 6000u + 960u);
    EXPECT_EQ(engine->outputDelays[0].load(), 0u);

    const auto lines = messages().size();
    engine->recomputeReportedSync();
    EXPECT_EQ(messages().size(), lines) << "unchanged holds are not logged again";

    // 7200 and 480 frames: 0.15 s - 0.01 s is just under 0.14 s in double precision.
    hardware.changeProperty(dac, outputAddress(Selector::latency), uint32_t{480});
    hardware.changeProperty(speakers, outputAddress(Selector::latency), uint32_t{6200});
    queue.runPending();
    EXPECT_TRUE(logged("reported-sync update: DAC auto hold -> 139ms"));
    EXPECT_EQ(engine->autoDelayFrames.at("dac"), 6719u);
    engine->setOutputDelay("dac", 10);
    EXPECT_EQ(engine->outputDelays[1].load(), 6719u + 480u);
}

}  // namespace
}  // namespace sorix::testing
