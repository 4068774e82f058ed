#include "OutputCatalogue.h"
#include "OutputSelection.h"
#include "OutputsFixture.h"
#include "SettingsKeys.h"
#include "SorixError.h"

namespace sorix::testing {
namespace {

using OutputCatalogueTest = OutputsFixture;

std::vector<std::string> uidsOf(const std::vector<ResolvedOutput>& outputs) {
    std::vector<std::string> uids;
    for (const ResolvedOutput& output : outputs)
        uids.push_back(output.uid);
    return uids;
}

TEST_F(OutputCatalogueTest, ListsDevicesThatPlayToAListenerInTheSystemsOrder) {
    hardware.addDevice({.uid = "mic", .name = "Microphone", .outputStreams = 0});
    hardware.addDevice({.uid = "loop", .name = "Loopback", .transport = Transport::virtualDevice});
    hardware.addDevice({.uid = "agg", .name = "Aggregate", .transport = Transport::aggregate});
    hardware.addDevice({.uid = "odd", .name = "Unknown Bus", .transport = std::nullopt});
    const auto nameless = hardware.addDevice({.uid = "nameless"});
    hardware.removeProperty(nameless, globalAddress(Selector::name));
    EXPECT_EQ(physicalOutputDevices(hardware),
              (std::vector<OutputDevice>{{"speakers", "Speakers"}, {"odd", "Unknown Bus"}}));

    hardware.injectFailure(Call::get, Selector::devices, kAudioHardwareUnspecifiedError);
    EXPECT_TRUE(physicalOutputDevices(hardware).empty());
}

TEST_F(OutputCatalogueTest, TitlesAndSubtitlesNameWhatPlays) {
    hardware.addDevice({.uid = "headset", .name = "Headset"});
    const auto odd = hardware.addDevice({.uid = "odd", .name = "Odd", .transport = std::nullopt});
    OutputRouting& outputs = makeRouting();
    EXPECT_EQ(outputs.currentOutputName(), "Speakers");
    EXPECT_EQ(outputs.currentOutputSubtitle(), "Built-in Output");
    hardware.setDefaultOutput(odd);
    EXPECT_EQ(outputs.currentOutputSubtitle(), "System Default");
    hardware.setDefaultOutput(0);
    EXPECT_EQ(outputs.currentOutputName(), "System Output");
    EXPECT_EQ(outputs.currentOutputSubtitle(), "System output");

    outputs.toggleOutput("unplugged");
    EXPECT_EQ(outputs.currentOutputName(), "System Output");
    EXPECT_EQ(outputs.currentOutputSubtitle(), "Pinned output");
    outputs.toggleOutput("unplugged");

    outputs.toggleOutput("headset");
    outputs.toggleOutput("gone");
    EXPECT_EQ(outputs.currentOutputName(), "2 Outputs");
    EXPECT_EQ(outputs.currentOutputSubtitle(), "Headset • Device");
    EXPECT_EQ(outputs.outputName("gone"), "Device");
}

TEST_F(OutputCatalogueTest, ResolutionKeepsPinnedOutputsThatArePresentElseTheDefault) {
    const auto loop = hardware.addDevice(
        {.uid = "loop", .name = "Loopback", .transport = Transport::virtualDevice});
    hardware.addDevice({.uid = "dac", .name = "DAC"});
    settings.setStringArray(SettingsKeys::outputDeviceUIDs, {"gone", "dac", "away"});
    OutputRouting& outputs = makeRouting();
    EXPECT_EQ(uidsOf(outputs.resolveOutputs()), std::vector<std::string>{"dac"});
    EXPECT_EQ(outputs.selectedOutputUIDs()->size(), 3u) << "absent outputs stay pinned";

    hardware.setDefaultOutput(loop);
    EXPECT_EQ(uidsOf(outputs.resolveOutputs()), std::vector<std::string>{"dac"})
        << "a pinned output makes the default irrelevant";

    // What the failures say is the engine's and the queries' business.
    outputs.clearOutputSelection();
    EXPECT_THROW(outputs.resolveOutputs(), SorixError) << "a virtual default plays nothing";
    hardware.setDefaultOutput(0);
    EXPECT_THROW(outputs.resolveOutputs(), SorixError);
    hardware.setDefaultOutput(speakers);
    EXPECT_EQ(uidsOf(outputs.resolveOutputs()), std::vector<std::string>{"speakers"});
}

TEST_F(OutputCatalogueTest, TheStoredSelectionPrefersTheListOverTheOlderSingleOutput) {
    settings.setString(SettingsKeys::outputDeviceUID, "legacy");
    EXPECT_EQ(loadOutputSelection(settings), std::vector<std::string>{"legacy"});
    settings.setStringArray(SettingsKeys::outputDeviceUIDs, {});
    EXPECT_TRUE(loadOutputSelection(settings).empty()) << "an empty list is a choice too";
    settings.setObject(SettingsKeys::outputDeviceUIDs, SettingsStore::Value::array({"a", 1}));
    EXPECT_EQ(loadOutputSelection(settings), std::vector<std::string>{"legacy"});
}

TEST_F(OutputCatalogueTest, BluetoothOutputsAreCountedAmongThoseThatPlay) {
    hardware.addDevice({.uid = "buds", .name = "Buds", .transport = Transport::bluetooth});
    hardware.addDevice({.uid = "le", .name = "LE", .transport = Transport::bluetoothLE});
    OutputRouting& outputs = makeRouting();
    EXPECT_EQ(outputs.activeBluetoothCount(), 0);
    for (const char* uid : {"buds", "le", "speakers", "gone"})
        outputs.toggleOutput(uid);
    EXPECT_EQ(outputs.activeBluetoothCount(), 2);
}

TEST_F(OutputCatalogueTest, ChoosingAnOutputIsStoredAndReportedOncePerChange) {
    hardware.addDevice({.uid = "dac", .name = "DAC"});
    OutputRouting& outputs = makeRouting();
    outputs.toggleOutput("dac");
    outputs.toggleOutput("speakers");
    EXPECT_EQ(settings.stringArray(SettingsKeys::outputDeviceUIDs),
              (std::vector<std::string>{"dac", "speakers"}));
    outputs.toggleOutput("dac");
    outputs.clearOutputSelection();
    EXPECT_EQ(settings.stringArray(SettingsKeys::outputDeviceUIDs), std::vector<std::string>{});
    EXPECT_EQ(selectionChanges, 4);
}

TEST_F(OutputCatalogueTest, ABuildLaysTheOutputsOverOneBufferPerStreamWithTheirGains) {
    const auto dac = hardware.addDevice(
        {.uid = "dac", .name = "DAC", .outputStreams = 2, .volume = std::nullopt});
    hardware.addDevice({.uid = "hdmi", .name = "HDMI", .volume = std::nullopt});
    settings.setStringArray(SettingsKeys::outputDeviceUIDs, {"dac", "speakers", "hdmi"});
    settings.setObject(SettingsKeys::outputVolumes, {{"dac", 0.5}, {"speakers", 0.25}});
    OutputRouting& outputs = makeRouting();
    for (std::size_t slot = 0; slot < 8; ++slot)
        renderPath->buffers().outputGains[slot] = 0.1f;  // left by an earlier pipeline

    const auto resolved = buildPipeline();
    EXPECT_EQ(resolved.front().device, dac);
    EXPECT_EQ(outputs.deviceBufferRanges(),
              (BufferRanges{{"dac", {0, 2}}, {"speakers", {2, 3}}, {"hdmi", {3, 4}}}));
    // The speakers have their own volume control, so their stored software gain is not used.
    const std::vector<float> gains{0.5f, 0.5f, 1.0f, 1.0f, 1.0f, 1.0f, 1.0f, 1.0f};
    for (std::size_t slot = 0; slot < gains.size(); ++slot)
        EXPECT_EQ(gain(slot), gains[slot]) << "slot " << slot;

    // An output that is listed but whose UID no longer names a device still takes one buffer.
    std::vector<ResolvedOutput> vanished{{"dac", dac}, {"gone", std::nullopt}};
    outputs.assignBuffers(vanished);
    EXPECT_EQ(outputs.deviceBufferRanges(), (BufferRanges{{"dac", {0, 2}}, {"gone", {2, 3}}}));
}

}  // namespace
}  // namespace sorix::testing
