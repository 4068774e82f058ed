// Volumes and delays per output, down to the render tables.
#include <limits>

#include "OutputsFixture.h"
#include "SettingsKeys.h"

namespace sorix::testing {
namespace {

// Two pinned outputs with their own volume control: the speakers at 0.8, a DAC at 0.3.
class OutputLevelsTest : public OutputsFixture {
  protected:
    OutputLevelsTest() {
        dac = hardware.addDevice({.uid = "dac", .name = "DAC", .volume = 0.3f});
        hardware.changeProperty(speakers, outputAddress(Selector::virtualMainVolume), 0.8f, true);
        settings.setStringArray(SettingsKeys::outputDeviceUIDs, {"speakers", "dac"});
        queue.runPending();
    }

    OutputVolumes& volumes() { return routing->volumes(); }
    OutputDelays& delays() { return routing->delays(); }

    AudioObjectID dac = 0;
};

TEST_F(OutputLevelsTest, LinkedOutputsMoveByTheSameStepAboveTheThresholdAndStopAtTheEnds) {
    makeRouting();
    volumes().refreshDeviceVolumes();
    volumes().setOutputVolume("speakers", 0.9f, true);
    EXPECT_FLOAT_EQ(hardwareVolumeOf(dac), 0.4f) << "additive, not proportional";

    volumes().setOutputVolume("dac", 0.95f, true);
    EXPECT_FLOAT_EQ(hardwareVolumeOf(speakers), 1.0f) << "0.9 + 0.55 stops at the top";

    volumes().setOutputVolume("dac", 0.5f, true);
    EXPECT_FLOAT_EQ(hardwareVolumeOf(speakers), 0.55f);
    volumes().setOutputVolume("dac", 0.50055f, true);
    EXPECT_NEAR(hardwareVolumeOf(speakers), 0.55055f, 1e-6f) << "a step of 0.00055 propagates";
    volumes().setOutputVolume("dac", 0.501f, true);
    EXPECT_NEAR(hardwareVolumeOf(speakers), 0.55055f, 1e-6f) << "a step of 0.00045 does not";

    volumes().setVolumesLinked(false);
    EXPECT_EQ(settings.boolean(SettingsKeys::volumesLinked), false);
    volumes().setOutputVolume("dac", 0.1f, true);
    EXPECT_NEAR(hardwareVolumeOf(speakers), 0.55055f, 1e-6f);
    volumes().setVolumesLinked(true);
    volumes().setOutputVolume("dac", 0.9f, false);
    EXPECT_NEAR(hardwareVolumeOf(speakers), 0.55055f, 1e-6f) << "not asked to propagate";
}

TEST_F(OutputLevelsTest, ChangesFromElsewhereMoveTheOthersUnlessTheyEchoOurOwnWrite) {
    makeRouting();
    volumes().refreshDeviceVolumes();
    const auto volume = outputAddress(Selector::virtualMainVolume);

    volumes().setOutputVolume("speakers", 0.7f, false);
    queue.advance(0.2499);
    hardware.changeProperty(speakers, volume, 0.2f, true);
    queue.runPending();
    EXPECT_FLOAT_EQ(volumes().deviceVolumes()->at("speakers"), 0.7f) << "within 0.25 s: echo";

    queue.advance(0.0001);
    hardware.changeProperty(speakers, volume, 0.6f, true);
    queue.runPending();
    EXPECT_FLOAT_EQ(volumes().deviceVolumes()->at("speakers"), 0.6f) << "0.25 s on: news";
    EXPECT_FLOAT_EQ(hardwareVolumeOf(dac), 0.2f) << "0.3 moved by the same -0.1";

    routing.reset();
    EXPECT_EQ(hardware.listenerCount(speakers, volume), 0u) << "gone with the outputs";
    hardware.changeProperty(speakers, volume, 0.1f, true);
    queue.runPending();
}

TEST_F(OutputLevelsTest, RefreshWatchesTheActiveOutputsAndTheDefaultAndReplacesListeners) {
    const auto plain =
        hardware.addDevice({.uid = "plain", .name = "Plain", .volume = std::nullopt});
    settings.setStringArray(SettingsKeys::outputDeviceUIDs, {"dac", "plain"});
    settings.setObject(SettingsKeys::outputVolumes, {{"plain", 0.4}});
    makeRouting();
    volumes().refreshDeviceVolumes();
    volumes().refreshDeviceVolumes();
    const auto volume = outputAddress(Selector::virtualMainVolume);
    EXPECT_EQ(hardware.listenerCount(dac, volume), 1u);
    EXPECT_EQ(hardware.listenerCount(speakers, volume), 1u) << "the default is watched too";
    EXPECT_EQ(hardware.listenerCount(plain, volume), 0u);
    EXPECT_EQ(volumes().deviceVolumes().get(),
              (std::map<std::string, float>{{"dac", 0.3f}, {"plain", 0.4f}, {"speakers", 0.8f}}));
}

TEST_F(OutputLevelsTest, OutputsWithoutAVolumeControlGetASoftwareGainThatIsKept) {
    hardware.addDevice({.uid = "plain", .name = "Plain", .volume = std::nullopt});
    settings.setStringArray(SettingsKeys::outputDeviceUIDs, {"dac", "plain"});
    makeRouting();
    buildPipeline();
    volumes().setOutputVolume("plain", 0.5f, false);
    EXPECT_EQ(gain(1), 0.5f) << "at once, in the running pipeline";
    EXPECT_EQ(gain(0), 1.0f) << "the DAC turns itself down";
    EXPECT_EQ(settings.object(SettingsKeys::outputVolumes), SettingsStore::Value({{"plain", 0.5}}));

    volumes().setOutputVolume("plain", 0.0f, false);
    renderPath = std::make_unique<RenderPath>();
    makeRouting();
    buildPipeline();
    EXPECT_EQ(gain(1), 0.0f) << "the stored gain applies at the next build";
}

TEST_F(OutputLevelsTest, ManualDelaysAreClampedStoredAndWrittenAtThePipelinesRate) {
    makeRouting();
    buildPipeline(44100);
    delays().setOutputDelay("dac", 2000);
    EXPECT_EQ(delays().deviceDelaysMs()->at("dac"), 1500.0);
    EXPECT_EQ(delay(1), 66150u) << "1.5 s at 44.1 kHz";
    delays().setOutputDelay("dac", -5);
    EXPECT_EQ(delay(1), 0u);
    delays().setOutputDelay("absent", 20);
    EXPECT_EQ(settings.object(SettingsKeys::outputDelays),
              SettingsStore::Value({{"dac", 0.0}, {"absent", 20.0}}));
}

TEST_F(OutputLevelsTest, VolumesAndDelaysThatAreNotNumbersGetTheirDefaultsAndInfinitiesTheEnds) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    hardware.addDevice({.uid = "plain", .name = "Plain", .volume = std::nullopt});
    settings.setStringArray(SettingsKeys::outputDeviceUIDs, {"dac", "plain"});
    makeRouting();
    buildPipeline();
    const struct {
        double asked;
        float volume;
        double delay;
    } cases[] = {{nan, 1.0f, 0.0}, {inf, 1.0f, 1500.0}, {-inf, 0.0f, 0.0}};
    for (const auto& c : cases) {
        volumes().setOutputVolume("plain", 0.5f, false);
        volumes().setOutputVolume("plain", static_cast<float>(c.asked), false);
        EXPECT_EQ(gain(1), c.volume) << c.asked;
        EXPECT_EQ(volumes().outputVolumes()->at("plain"), c.volume) << c.asked;
        volumes().setOutputVolume("dac", 0.5f, false);
        volumes().setOutputVolume("dac", static_cast<float>(c.asked), false);
        EXPECT_EQ(hardwareVolumeOf(dac), c.volume) << c.asked;

        delays().setOutputDelay("dac", 10);
        delays().setOutputDelay("dac", c.asked);
        EXPECT_EQ(delays().deviceDelaysMs()->at("dac"), c.delay) << c.asked;
        EXPECT_EQ(delay(0), static_cast<uint32_t>(c.delay * 48)) << c.asked;
    }
}

TEST_F(OutputLevelsTest, StoredVolumesAndDelaysAreHeldToTheirRanges) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    settings.setObject(
        SettingsKeys::outputVolumes,
        {{"a", nan}, {"b", 1e300}, {"c", -0.5}, {"d", "x"}, {"e", 0.25}, {"f", 1.001}});
    settings.setObject(SettingsKeys::outputDelays,
                       {{"a", nan}, {"b", 1e300}, {"c", -3.0}, {"d", 1500.5}, {"e", 12.5}});
    settings.setString(SettingsKeys::volumesLinked, "yes");
    makeRouting();
    EXPECT_EQ(volumes().outputVolumes().get(),
              (std::map<std::string, float>{{"b", 1.0f}, {"c", 0.0f}, {"e", 0.25f}, {"f", 1.0f}}));
    EXPECT_EQ(
        delays().deviceDelaysMs().get(),
        (std::map<std::string, double>{{"b", 1500.0}, {"c", 0.0}, {"d", 1500.0}, {"e", 12.5}}));
    EXPECT_FALSE(volumes().volumesLinked().get()) << "a stored value of another kind is off";
    settings.removeObject(SettingsKeys::volumesLinked);
    makeRouting();
    EXPECT_TRUE(volumes().volumesLinked().get()) << "only an absent key means linked";
}

TEST_F(OutputLevelsTest, ReportedLatenciesHoldTheEarlierOutputsBack) {
    // The speakers report 6000 frames at 48 kHz in all (125 ms), the DAC nothing.
    hardware.changeProperty(speakers, outputAddress(Selector::latency), uint32_t{5000});
    hardware.changeProperty(speakers, outputAddress(Selector::safetyOffset), uint32_t{1000});
    settings.setObject(SettingsKeys::outputDelays, {{"dac", 20.0}});
    makeRouting();
    buildPipeline();
    EXPECT_DOUBLE_EQ(OutputDelays::reportedLatencySeconds(hardware, speakers), 0.125);
    EXPECT_EQ(delay(1), 960u) << "a build writes the manual part only";

    delays().recomputeReportedSync();
    EXPECT_TRUE(logged("reported-sync update: DAC auto hold -> 125ms"));
    EXPECT_EQ(delay(1), 6000u + 960u);
    EXPECT_EQ(delay(0), 0u);

    const auto lines = sink->lines.size();
    delays().recomputeReportedSync();
    EXPECT_EQ(sink->lines.size(), lines) << "unchanged holds are not logged again";

    // 7200 and 480 frames: 0.15 s - 0.01 s is just under 0.14 s in double precision.
    hardware.changeProperty(dac, outputAddress(Selector::latency), uint32_t{480});
    hardware.changeProperty(speakers, outputAddress(Selector::latency), uint32_t{6200});
    delays().recomputeReportedSync();
    EXPECT_EQ(delays().autoDelayFrames().at("dac"), 6719u);
    delays().setOutputDelay("dac", 10);
    EXPECT_EQ(delay(1), 6719u + 480u);

    buildPipeline();
    EXPECT_EQ(delay(1), 480u) << "a rebuild writes the manual part and keeps the hold...";
    EXPECT_EQ(delays().autoDelayFrames().at("dac"), 6719u) << "... for the next recompute";
}

}  // namespace
}  // namespace sorix::testing
