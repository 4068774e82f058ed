#pragma once

// The real `sorix` on a desktop of the test's own (Xvfb, openbox, an XEmbed tray) and a private
// sound server, with what a test needs to drive its panel as a user would: the tray icon, where
// the panel's named parts are, clicks and drags.
#include <cmath>
#include <nlohmann/json.hpp>
#include <optional>
#include <thread>

#include "DesktopRig.h"
#include "SorixOnPrivateServer.h"

namespace sorix::testing {

constexpr double kTone = 0.25;
constexpr double kTolerance = 0.12;
constexpr double kPanelTimeout = 10;
constexpr const char* kPanelTitle = "Sorix";

class DesktopPanelFixture : public SorixOnPrivateServer {
  protected:
    explicit DesktopPanelFixture(std::string devices = PrivateSoundServer::imitatedDevices())
        : SorixOnPrivateServer(std::move(devices)), rig(server.folder() / "desktop") {}

    void SetUp() override {
        SorixOnPrivateServer::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        const std::string missing = DesktopRig::missingPrograms();
        if (!missing.empty()) GTEST_SKIP() << "needs " << missing;
        std::filesystem::create_directories(server.folder() / "desktop");
        ASSERT_TRUE(rig.start()) << "no desktop on " << rig.display();
        ASSERT_TRUE(makeSound("tone.wav", "synth 90 sine 1000 vol " + std::to_string(kTone)));
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

    std::filesystem::path menuFile() const { return layoutFile().string() + ".menu"; }

    // The output menu once it is open, as Sorix reports it: where it is and its items, each with
    // its title, check mark, whether it is enabled, and where it is.
    std::optional<nlohmann::json> openOutputMenu() {
        std::filesystem::remove(menuFile());
        const auto header = settledPart("outputHeader");
        if (!header) return std::nullopt;
        rig.click(header->centreX(), header->centreY());
        std::optional<nlohmann::json> menu;
        eventually(kPanelTimeout, [&] {
            std::ifstream file(menuFile());
            if (!file) return false;
            const auto report = nlohmann::json::parse(file, nullptr, false);
            if (report.is_discarded()) return false;
            menu = report;
            return true;
        });
        return menu;
    }

    // Clicks the menu's item of that title; false if it has none.
    bool pickFromMenu(const nlohmann::json& menu, const std::string& title) {
        for (const auto& item : menu["items"]) {
            if (item.value("title", "") != title) continue;
            rig.click(item["x"].get<int>() + item["width"].get<int>() / 2,
                      item["y"].get<int>() + item["height"].get<int>() / 2);
            return true;
        }
        return false;
    }

    // A part that has come to rest: cards slide and fade in, and a click aimed at where a part
    // was a moment ago lands beside it.
    std::optional<DesktopRig::Rect> settledPart(const std::string& name) const {
        std::optional<DesktopRig::Rect> last = part(name);
        for (int look = 0; look < 20 && last; ++look) {
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            const auto now = part(name);
            if (now && now->x == last->x && now->y == last->y && now->width == last->width &&
                now->height == last->height)
                return now;
            last = now;
        }
        return last;
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

}  // namespace sorix::testing
