// The real `sorix` on a desktop of the test's own (Xvfb, openbox, an XEmbed tray) and a private
// sound server, driven as a user would: a click on the tray icon, the master switch, the boost
// slider, Escape, a click elsewhere, Quit. Screenshots of the panel are kept with the build.
#include "DesktopPanelFixture.h"

namespace sorix::testing {
namespace {

using DesktopPanelTest = DesktopPanelFixture;

TEST_P(DesktopPanelTest, TheTrayOpensThePanelWhoseSwitchAndSliderChangeWhatTheSpeakersPlay) {
    const auto player = play("tone.wav");
    const auto sorix = startOnDesktop();
    const auto icon = trayIcon();
    ASSERT_TRUE(icon) << "no icon in the tray\n" << log();
    EXPECT_FALSE(panelShown()) << "the panel waits for a click";

    openPanel(*icon);
    const auto window = rig.visibleWindow(kPanelTitle);
    ASSERT_TRUE(window);
    EXPECT_NEAR(window->centreX(), icon->centreX(), 384) << "under the icon, kept on the screen";
    EXPECT_GE(window->y, icon->y + icon->height);
    rig.screenshot(shots() / "1-panel-off.png");

    const auto toggle = part("masterSwitch");
    ASSERT_TRUE(toggle);
    rig.click(toggle->centreX(), toggle->centreY());
    ASSERT_TRUE(logShows("pipeline alive")) << log();
    EXPECT_EQ(std::vector<std::string>{sinkOfPlayer(player->pid())}, tapSinks());
    expectTone(1.0);

    // Safe Mode holds a drag to the right end at 200 %.
    const auto track = part("track");
    ASSERT_TRUE(track);
    rig.drag(track->x + 2, track->centreY(), track->x + track->width + 40, track->centreY());
    EXPECT_TRUE(eventually(5, [&] {
        const auto settings = storedSettings();
        return !settings.is_discarded() && settings.value("volumeBoost", 0.0) == 2.0;
    }));
    expectTone(2.0);
    rig.screenshot(shots() / "2-panel-on-200.png");

    rig.press("Escape");
    EXPECT_TRUE(waitPanel(false)) << "Escape closes the panel";
    openPanel(*icon);
    rig.click(200, 600);
    EXPECT_TRUE(waitPanel(false)) << "a click elsewhere closes the panel";

    openPanel(*icon);
    const auto quit = part("quitButton");
    ASSERT_TRUE(quit);
    rig.click(quit->centreX(), quit->centreY());
    EXPECT_EQ(sorix->waitForExit(10), 0) << log();
    EXPECT_TRUE(eventually(5, [&] { return sinkOfPlayer(player->pid()) == "speakers"; }))
        << "Quit gives the stream back";
    EXPECT_TRUE(tapSinks().empty());
}

INSTANTIATE_TEST_SUITE_P(, DesktopPanelTest, everySoundServer(), soundServerName);

}  // namespace
}  // namespace sorix::testing
