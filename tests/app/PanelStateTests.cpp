// The panel's state and the rules of the boost card, on the fake audio system.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "BoostCardRules.h"
#include "EngineFixture.h"
#include "PanelState.h"
#include "SettingsKeys.h"
#include "SorixRuntime.h"

namespace sorix::testing {
namespace {

namespace Rules = BoostCardRules;
namespace Keys = SettingsKeys;

TEST(BoostSliderTest, ADragMapsLogarithmicallyAndCutsDownToFivePercentSteps) {
    EXPECT_EQ(Rules::sliderValue(1.0, 2.0), 2.0) << "far right in Safe Mode";
    EXPECT_EQ(Rules::sliderValue(1.0, std::nullopt), 8.0);
    EXPECT_EQ(Rules::sliderValue(1.7, std::nullopt), 8.0) << "beyond the track";
    EXPECT_EQ(Rules::sliderValue(0.0, std::nullopt), 1.0);
    EXPECT_EQ(Rules::sliderValue(-0.3, 2.0), 1.0);
    EXPECT_EQ(Rules::sliderValue(std::numeric_limits<double>::quiet_NaN(), 2.0), 1.0);
    EXPECT_DOUBLE_EQ(Rules::sliderValue(0.5, std::nullopt), 2.8) << "8^0.5 = 2.83, cut down";
    // 8^t just below and just above 2.35: the step below is kept until the next is reached.
    const double justBelow = std::log(2.3499) / std::log(8.0);
    const double justAbove = std::log(2.3501) / std::log(8.0);
    EXPECT_DOUBLE_EQ(Rules::sliderValue(justBelow, std::nullopt), 2.3);
    EXPECT_DOUBLE_EQ(Rules::sliderValue(justAbove, std::nullopt), 2.35);
}

TEST(BoostSliderTest, ValuesSitOnTheTrackWhereADragWouldSetThem) {
    EXPECT_DOUBLE_EQ(Rules::sliderFraction(2.0), 1.0 / 3.0);
    EXPECT_DOUBLE_EQ(Rules::sliderFraction(4.0), 2.0 / 3.0);
    for (double value = 1.0; value <= 8.0; value += 0.05)
        EXPECT_NEAR(Rules::sliderValue(Rules::sliderFraction(value) + 1e-12, std::nullopt), value,
                    1e-9);
    EXPECT_DOUBLE_EQ(Rules::scaleLabelCentre(1.0, 300), 15.0) << "held off the left end";
    EXPECT_DOUBLE_EQ(Rules::scaleLabelCentre(2.0, 300), 100.0);
    EXPECT_DOUBLE_EQ(Rules::scaleLabelCentre(8.0, 300), 283.0) << "held off the right end";
}

TEST(BoostCardTextTest, TheNumberIsTheWholePercentAndSafeModeWarnsOnlyWhenItCaps) {
    EXPECT_EQ(Rules::percentText(Rules::sliderValue(Rules::sliderFraction(1.15), std::nullopt)),
              "115");
    EXPECT_EQ(Rules::percentText(Rules::effectiveBoost(4.8, true)), "200");
    EXPECT_EQ(Rules::percentText(Rules::effectiveBoost(12.0, false)), "1200") << "shown as stored";

    EXPECT_FALSE(Rules::subtitleWarns(2.0, true));
    EXPECT_TRUE(Rules::subtitleWarns(2.05, true));
    EXPECT_FALSE(Rules::subtitleWarns(8.0, false));
    EXPECT_NE(Rules::subtitle(4.8, true).find("480%"), std::string::npos);
    // The limiter row: calm only while Safe Mode holds the boost within its cap.
    const auto on = Rules::limiterRow(true, 2.0);
    const auto capping = Rules::limiterRow(true, 2.05);
    const auto off = Rules::limiterRow(false, 1.0);
    EXPECT_FALSE(on.warns);
    EXPECT_TRUE(capping.warns && capping.shield);
    EXPECT_TRUE(off.warns);
    EXPECT_FALSE(off.shield);
}

class PanelStateTest : public EngineFixture {
  protected:
    PanelState& panel() {
        if (!panel_) {
            engine_ = makeEngine();
            adaptor_ = std::make_unique<EngineAdaptor>(engine_);
            panel_ = std::make_unique<PanelState>(settings, *adaptor_);
        }
        return *panel_;
    }
    TapEngine& engine() { return *engine_; }

    void TearDown() override { SorixRuntime::snapshotShowsEQ = false; }

  private:
    std::shared_ptr<TapEngine> engine_;
    std::unique_ptr<EngineAdaptor> adaptor_;
    std::unique_ptr<PanelState> panel_;
};

TEST_F(PanelStateTest, AnEmptyStoreGivesTheDefaultsAndAWriteIsStoredAtOnce) {
    EXPECT_EQ(panel().volumeBoost(), 1.0);
    EXPECT_FALSE(panel().boostActive());
    EXPECT_TRUE(panel().safeMode());
    EXPECT_EQ(panel().eqPreset(), "flat");
    EXPECT_EQ(panel().customGains(), (QList<double>{0, 0, 0, 0, 0, 0}));
    int changes = 0;
    QObject::connect(&panel(), &PanelState::boostDisplayChanged, [&] { ++changes; });
    panel().setSafeMode(false);
    EXPECT_EQ(settings.boolean(Keys::safeMode), false);
    EXPECT_EQ(changes, 1) << "the card follows a change of Safe Mode";
}

TEST_F(PanelStateTest, AppearingCapsAStoredBoostInSafeModeAndHandsEverythingToTheEngine) {
    settings.setDouble(Keys::volumeBoost, 4.8);
    settings.setString(Keys::eqPreset, "custom");
    settings.setString(Keys::customEQGains, "1.5,0,-2");
    settings.setBool(Keys::boostActive, true);
    panel().appear();
    EXPECT_EQ(settings.number(Keys::volumeBoost), 2.0);
    EXPECT_EQ(engine().loudness().boost(), 2.0f);
    EXPECT_EQ(engine().eq().gains(), (std::array<float, 6>{1.5f, 0, -2, 0, 0, 0}));
    queue.runPending();
    EXPECT_EQ(engine().state()->kind(), Case::active);
    EXPECT_FALSE(panel().showEQ());

    SorixRuntime::snapshotShowsEQ = true;
    panel().appear();
    EXPECT_TRUE(panel().showEQ()) << "a snapshot with --eq opens on the equaliser";
}

TEST_F(PanelStateTest, LiftingSafeModeNeedsTheConfirmationAndKeepsTheStoredBoost) {
    settings.setDouble(Keys::volumeBoost, 2.0);
    panel().toggleSafeMode();
    EXPECT_TRUE(panel().showSafeConfirm());
    EXPECT_TRUE(panel().safeMode()) << "nothing changes before the confirmation";
    panel().keepSafeMode();
    EXPECT_FALSE(panel().showSafeConfirm());
    EXPECT_TRUE(panel().safeMode());

    panel().toggleSafeMode();
    panel().disableSafeMode();
    EXPECT_FALSE(panel().safeMode());
    EXPECT_FALSE(panel().showSafeConfirm());
    EXPECT_EQ(panel().volumeBoost(), 2.0);
    EXPECT_EQ(panel().sliderCap(), 0.0) << "the slider's cap is lifted";

    panel().setBoostFromSlider(3.0);
    EXPECT_EQ(engine().loudness().boost(), 3.0f) << "every slider step reaches the engine";
    panel().toggleSafeMode();
    EXPECT_TRUE(panel().safeMode()) << "switching it back on needs no confirmation";
    EXPECT_EQ(panel().volumeBoost(), 2.0);
    EXPECT_EQ(engine().loudness().boost(), 2.0f);
}

TEST_F(PanelStateTest, PresetsAndCustomGainsAreStoredAndReachTheEngine) {
    panel().selectPreset("bass");
    EXPECT_EQ(settings.string(Keys::eqPreset), "bass");
    EXPECT_EQ(engine().eq().gains(), EQProcessor::gains(EQProcessor::Preset::bass));
    EXPECT_FALSE(panel().presetIsFlat());

    panel().changeCustomGains({1.5, 0, -2, 0, 0, 14});
    EXPECT_EQ(settings.string(Keys::customEQGains), "1.5,0.0,-2.0,0.0,0.0,14.0");
    EXPECT_EQ(engine().eq().gains(), (std::array<float, 6>{1.5f, 0, -2, 0, 0, 12}));
}

TEST_F(PanelStateTest, TheMasterSwitchIsStoredAndDrivesTheEngine) {
    panel().setMasterSwitch(true);
    EXPECT_TRUE(settings.boolForKey(Keys::boostActive));
    queue.runPending();
    EXPECT_EQ(engine().state()->kind(), Case::active);
    panel().setMasterSwitch(false);
    EXPECT_FALSE(settings.boolForKey(Keys::boostActive));
    EXPECT_EQ(engine().state()->kind(), Case::inactive);
}

}  // namespace
}  // namespace sorix::testing
