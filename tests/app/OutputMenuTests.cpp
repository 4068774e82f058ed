#include "EngineFixture.h"
#include "OutputMenuHost.h"

namespace sorix::testing {
namespace {

using Kind = OutputMenuItem::Kind;

class OutputMenuTest : public EngineFixture {
  protected:
    OutputMenuTest() {
        hardware.addDevice({.uid = "dac", .name = "DAC"});
        hardware.addDevice({.uid = "hdmi", .name = "HDMI"});
        anchor = std::make_shared<const OutputMenuHost::PopUp>(
            [this](const std::vector<OutputMenuItem>& items) { shown = items; });
        host.setAnchor(anchor);
    }

    std::vector<OutputMenuItem> open(const std::shared_ptr<TapEngine>& engine) {
        shown.clear();
        host.show(engine);
        EXPECT_TRUE(shown.empty()) << "the pop-up waits one main-queue turn";
        queue.runPending();
        return shown;
    }

    std::vector<std::string> checkedTitles(const std::vector<OutputMenuItem>& items) {
        std::vector<std::string> titles;
        for (const auto& item : items)
            if (item.checked) titles.push_back(item.title);
        return titles;
    }

    OutputMenuHost host{queue};
    std::shared_ptr<const OutputMenuHost::PopUp> anchor;
    std::vector<OutputMenuItem> shown;
};

TEST_F(OutputMenuTest, ListsTheDefaultEveryOutputAndTheHintWithChecksOnWhatPlays) {
    auto engine = makeEngine();
    const auto items = open(engine);
    ASSERT_EQ(items.size(), 7u);
    EXPECT_EQ(items[0], (OutputMenuItem{.title = "System Default", .checked = true}));
    EXPECT_EQ(items[1].kind, Kind::separator);
    EXPECT_EQ(items[3], (OutputMenuItem{.title = "DAC", .representedUID = "dac"}));
    EXPECT_EQ(items[5].kind, Kind::separator);
    EXPECT_EQ(items[6].kind, Kind::hint);
    EXPECT_FALSE(items[6].enabled);

    host.pick(items[3]);
    host.pick(items[4]);
    EXPECT_EQ(checkedTitles(open(engine)), (std::vector<std::string>{"DAC", "HDMI"}));
}

TEST_F(OutputMenuTest, PicksToggleAndSystemDefaultClearsEverything) {
    auto engine = makeEngine();
    for (const char* uid : {"speakers", "dac", "hdmi"})
        engine->toggleOutput(uid);
    auto items = open(engine);
    host.pick(items[3]);  // DAC, pinned: unpins it
    EXPECT_EQ(engine->selectedOutputUIDs().get(), (std::vector<std::string>{"speakers", "hdmi"}));

    engine->start();
    const int buildsBefore = builds();
    host.pick(open(engine)[0]);
    EXPECT_TRUE(engine->selectedOutputUIDs()->empty());
    EXPECT_EQ(builds(), buildsBefore + 1) << "a running pipeline follows the choice at once";
    EXPECT_EQ(checkedTitles(open(engine)), std::vector<std::string>{"System Default"});

    host.pick(open(engine)[6]);  // the hint does nothing
    EXPECT_EQ(builds(), buildsBefore + 1);
}

TEST_F(OutputMenuTest, NothingShowsWithoutAnAnchorAndAnEmptyCatalogueStillHasTheFrame) {
    auto engine = makeEngine();
    anchor.reset();
    host.show(engine);
    queue.runPending();
    EXPECT_TRUE(shown.empty());

    OutputMenuHost fresh{queue};
    fresh.pick({.title = "System Default"});  // no engine yet: ignored

    hardware.injectFailure(FakeAudioHardware::Call::get, Selector::devices,
                           kAudioHardwareUnspecifiedError);
    engine->refreshAvailableOutputs();
    const auto items = outputMenuItems(*engine);
    ASSERT_EQ(items.size(), 4u);
    EXPECT_EQ(items[0].title, "System Default");
    EXPECT_EQ(items[3].kind, Kind::hint);
}

}  // namespace
}  // namespace sorix::testing
