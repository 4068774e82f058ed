#include "EngineFixture.h"
#include "OutputCatalogue.h"
#include "OutputSelection.h"
#include "SettingsKeys.h"
#include "SorixError.h"

namespace sorix::testing {
namespace {

using OutputCatalogueTest = EngineFixture;

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
    const auto headset = hardware.addDevice(
        {.uid = "headset", .name = "Headset", .transport = Transport::bluetoothLE});
    const auto odd = hardware.addDevice({.uid = "odd", .name = "Odd", .transport = std::nullopt});
    auto engine = makeEngine();
    EXPECT_EQ(engine->currentOutputName(), "Speakers");
    EXPECT_EQ(engine->currentOutputSubtitle(), "Built-in Output");
    hardware.setDefaultOutput(headset);
    EXPECT_EQ(engine->currentOutputSubtitle(), "Bluetooth");
    hardware.setDefaultOutput(odd);
    EXPECT_EQ(engine->currentOutputSubtitle(), "System Default");
    hardware.setDefaultOutput(0);
    EXPECT_EQ(engine->currentOutputName(), "System Output");
    EXPECT_EQ(engine->currentOutputSubtitle(), "System output");

    engine->toggleOutput("unplugged");
    EXPECT_EQ(engine->currentOutputName(), "System Output");
    EXPECT_EQ(engine->currentOutputSubtitle(), "Pinned output");
    engine->toggleOutput("unplugged");

    engine->toggleOutput("headset");
    engine->toggleOutput("gone");
    EXPECT_EQ(engine->currentOutputName(), "2 Outputs");
    EXPECT_EQ(engine->currentOutputSubtitle(), "Headset • Device");
    EXPECT_EQ(engine->outputName("gone"), "Device");
}

TEST_F(OutputCatalogueTest, ResolutionKeepsPinnedOutputsThatArePresentElseTheDefault) {
    const auto loop = hardware.addDevice(
        {.uid = "loop", .name = "Loopback", .transport = Transport::virtualDevice});
    hardware.addDevice({.uid = "dac", .name = "DAC"});
    settings.setStringArray(SettingsKeys::outputDeviceUIDs, {"gone", "dac", "away"});
    auto engine = makeEngine();
    EXPECT_EQ(engine->resolveOutputUIDs(), std::vector<std::string>{"dac"});
    EXPECT_TRUE(logged("some pinned outputs unavailable, using 1 of 3"));
    EXPECT_EQ(engine->selectedOutputUIDs->size(), 3u) << "absent outputs stay pinned";

    hardware.setDefaultOutput(loop);
    EXPECT_EQ(engine->resolveOutputUIDs(), std::vector<std::string>{"dac"})
        << "a pinned output makes the default irrelevant";

    engine->clearOutputSelection();
    const auto failure = [&] {
        try {
            engine->resolveOutputUIDs();
        } catch (const SorixError& error) {
            return error.message();
        }
        return std::string();
    };
    EXPECT_EQ(failure(),
              "Your selected system output is a virtual device that can't play sound. Pick your "
              "real speakers in Sorix's Output menu (or in System Settings → Sound).");
    hardware.setDefaultOutput(0);
    EXPECT_EQ(failure(), "No default output device found (error 0).");
    hardware.setDefaultOutput(speakers);
    EXPECT_EQ(engine->resolveOutputUIDs(), std::vector<std::string>{"speakers"});
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
    auto engine = makeEngine();
    EXPECT_EQ(engine->activeBluetoothCount(), 0);
    for (const char* uid : {"buds", "le", "speakers", "gone"})
        engine->toggleOutput(uid);
    EXPECT_EQ(engine->activeBluetoothCount(), 2);
}

}  // namespace
}  // namespace sorix::testing
