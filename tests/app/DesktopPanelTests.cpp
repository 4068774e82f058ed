// The real `sorix` on a desktop of the test's own (Xvfb, openbox, an XEmbed tray) and a private
// sound server, driven as a user would: a click on the tray icon, the master switch, the boost
// slider, Escape, a click elsewhere, Quit. Screenshots of the panel are kept with the build.
#include <nlohmann/json.hpp>

#include "DesktopRig.h"
#include "SorixOnPrivateServer.h"

namespace sorix::testing {
namespace {

constexpr double kTone = 0.25;
constexpr double kTolerance = 0.12;
constexpr double kPanelTimeout = 10;
constexpr const char* kPanelTitle = "Sorix";

class DesktopPanelTest : public SorixOnPrivateServer {
  protected:
    DesktopPanelTest() : rig(server.folder() / "desktop") {}

    void SetUp() override {
        SorixOnPrivateServer::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        const std::string missing = DesktopRig::missingPrograms();
        if (!missing.empty()) GTEST_SKIP() << "needs " << missing;
        std::filesystem::create_directories(server.folder() / "desktop");
        ASSERT_TRUE(rig.start()) << "no desktop on " << rig.display();
        ASSERT_EQ(
            server.run("sox -q -n -r 48000 -c 2 -b 16 " + (server.folder() / "tone.wav").string() +
                       " synth 90 sine 1000 vol " + std::to_string(kTone)),
            0);
        std::filesystem::create_directories(shots());
    }

    std::filesystem::path shots() const {
        return std::filesystem::path(SORIX_TEST_ARTIFACTS) / "desktop" / server.name();
    }
    std::filesystem::path layoutFile() const { return server.folder() / "layout.json"; }

    std::unique_ptr<ChildProcess> startOnDesktop() {
        return startSorix({"DISPLAY=" + rig.display(), "DBUS_SESSION_BUS_ADDRESS=disabled:",
                           "SORIX_PANEL_LAYOUT_FILE=" + layoutFile().string()});
    }

    // The tray's icon once Sorix has put it there (the tray grows from nothing to hold it).
    std::optional<DesktopRig::Rect> trayIcon() const {
        std::optional<DesktopRig::Rect> tray;
        eventually(kPanelTimeout, [&] {
            tray = rig.tray();
            return tray && tray->width >= 16;
        });
        if (!tray || tray->width < 16) return std::nullopt;
        return tray;
    }

    bool panelShown() const { return rig.visibleWindow(kPanelTitle).has_value(); }
    bool waitPanel(bool shown) const {
        return eventually(kPanelTimeout, [&] { return panelShown() == shown; });
    }

    // Where a named part of the open panel is, as Sorix reports it.
    std::optional<DesktopRig::Rect> part(const std::string& name) const {
        std::optional<DesktopRig::Rect> found;
        eventually(kPanelTimeout, [&] {
            std::ifstream file(layoutFile());
            if (!file) return false;
            const auto layout = nlohmann::json::parse(file, nullptr, false);
            if (layout.is_discarded() || !layout.contains(name)) return false;
            const auto& item = layout[name];
            found = DesktopRig::Rect{item["x"].get<int>(), item["y"].get<int>(),
                                     static_cast<int>(item["width"].get<double>()),
                                     static_cast<int>(item["height"].get<double>())};
            return true;
        });
        return found;
    }

    void openPanel(const DesktopRig::Rect& icon) {
        std::filesystem::remove(layoutFile());
        rig.click(icon.centreX(), icon.centreY());
        ASSERT_TRUE(waitPanel(true)) << "the panel did not open\n" << log();
    }

    // The speakers come to play the tone boosted by `factor`. A second of recording is measured
    // up to three times: on a loaded machine the server may be a moment late to follow.
    void expectTone(double factor) const {
        const double rms = kTone * factor / std::sqrt(2.0);
        std::optional<Levels> levels;
        for (int attempt = 0; attempt < 3; ++attempt) {
            levels = measureSink("speakers");
            if (levels && std::fabs(levels->rms - rms) <= rms * kTolerance) return;
        }
        ASSERT_TRUE(levels);
        EXPECT_NEAR(levels->rms, rms, rms * kTolerance) << log();
    }

    DesktopRig rig;
};

TEST_P(DesktopPanelTest, TheTrayOpensThePanelWhoseSwitchAndSliderChangeWhatTheSpeakersPlay) {
    const auto player = play("tone.wav");
    const auto sorix = startOnDesktop();
    const auto icon = trayIcon();
    ASSERT_TRUE(icon) << "no icon in the tray\n" << log();
    EXPECT_FALSE(panelShown()) << "the panel waits for a click";

    openPanel(*icon);
    const auto window = rig.visibleWindow(kPanelTitle);
    ASSERT_TRUE(window);
    EXPECT_EQ(window->width, 384);
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
        std::ifstream file(server.folder() / "settings.json");
        const auto settings = nlohmann::json::parse(file, nullptr, false);
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
