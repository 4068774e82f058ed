// The equaliser and output cards of the real `sorix` on a desktop and a private sound server,
// used as a user would: presets and a band slider change what the speakers play, the output
// menu under the card's header pins a second output, and a delay row's plus button holds an
// output back. Screenshots of the cards are kept with the build.
#include <complex>
#include <numbers>
#include <thread>

#include "DesktopPanelFixture.h"
#include "SpeakerPairs.h"

namespace sorix::testing {
namespace {

constexpr double kLowTone = 60;
constexpr double kHighTone = 2000;

// The amplitude of one frequency in a recording (a single bin of its Fourier transform).
double toneAmplitude(const std::vector<float>& samples, double hz) {
    std::complex<double> sum;
    for (std::size_t n = 0; n < samples.size(); ++n) {
        const double phase = 2 * std::numbers::pi * hz * static_cast<double>(n) / kRate;
        sum += static_cast<double>(samples[n]) * std::polar(1.0, -phase);
    }
    return 2 * std::abs(sum) / static_cast<double>(samples.size());
}

// How much louder, in dB, the speakers play the low tone than the high one.
std::optional<double> lowOverHighDB() {
    const auto recorded = recordSink("speakers", 2, 1.0);
    if (!recorded || recorded->size() < kRate) return std::nullopt;
    std::vector<float> left;
    for (std::size_t i = 0; i < recorded->size(); i += 2)
        left.push_back((*recorded)[i]);
    return 20 * std::log10(toneAmplitude(left, kLowTone) / toneAmplitude(left, kHighTone));
}

class DesktopCardsTest : public DesktopPanelFixture {
  protected:
    DesktopCardsTest() : DesktopPanelFixture(speakerPairs()) {}

    void SetUp() override {
        DesktopPanelFixture::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        // Quiet enough that the bass preset's 10 dB stay far below the limiter.
        ASSERT_TRUE(makeSound("tones.wav", "synth 90 sine " + std::to_string(kLowTone) + " sine " +
                                               std::to_string(kHighTone) +
                                               " remix 1,2 1,2 vol 0.1"));
        ASSERT_TRUE(makeSound("noise.wav", "synth 90 whitenoise vol 0.25"));
        storeSettings({{"volumeBoost", 1.0}, {"boostActive", true}});
    }

    // The speakers come to play the low tone more than `liftDB` louder, over the high one, than
    // `flat` did.
    void expectLowLifted(double flat, double liftDB) const {
        std::optional<double> measured;
        EXPECT_TRUE(eventually(5,
                               [&] {
                                   measured = lowOverHighDB();
                                   return measured && *measured > flat + liftDB;
                               }))
            << "the low tone over the high one: " << measured.value_or(-99) << " dB\n"
            << log();
    }

    void click(const std::string& name) {
        const auto found = settledPart(name);
        ASSERT_TRUE(found) << name << " is not on the panel";
        rig.click(found->centreX(), found->centreY());
    }
};

TEST_P(DesktopCardsTest, PresetsAndACustomBandChangeWhatTheSpeakersPlay) {
    const auto player = play("tones.wav");
    const auto sorix = startOnDesktop();
    const auto icon = trayIcon();
    ASSERT_TRUE(icon) << log();
    ASSERT_TRUE(logShows("pipeline alive")) << log();
    const auto flat = lowOverHighDB();
    ASSERT_TRUE(flat);
    EXPECT_NEAR(*flat, 0, 1) << "flat plays both tones alike";

    openPanel(*icon);
    ASSERT_NO_FATAL_FAILURE(click("equaliserButton"));
    ASSERT_NO_FATAL_FAILURE(click("preset_bass"));
    EXPECT_TRUE(eventually(5, [&] { return storedSettings().value("eqPreset", "") == "bass"; }));
    // The bass shelf lifts 60 Hz by about 9 dB and leaves 2 kHz within a decibel.
    expectLowLifted(*flat, 7);
    rig.screenshot(shots() / "3-equaliser-bass.png");

    // Custom mode starts from the stored custom gains, flat here; a drag of the 100 Hz band
    // to the top of its slider stores +12 and the speakers follow.
    ASSERT_NO_FATAL_FAILURE(click("preset_custom"));
    const auto band = settledPart("bandSlider0");
    ASSERT_TRUE(band);
    rig.drag(band->centreX(), band->centreY(), band->centreX(), band->y - 20);
    EXPECT_TRUE(eventually(5, [&] {
        const auto stored = storedSettings();
        return stored.value("eqPreset", "") == "custom" &&
               stored.value("customEQGains", "").rfind("12.0,0.0,", 0) == 0;
    })) << storedSettings().dump();
    expectLowLifted(*flat, 9);
    rig.screenshot(shots() / "4-equaliser-custom.png");
    terminate(*sorix);
}

TEST_P(DesktopCardsTest, TheOutputMenuPinsASecondOutputAndItsSyncRowHoldsItBack) {
    const auto player = play("noise.wav");
    const auto sorix = startOnDesktop();
    const auto icon = trayIcon();
    ASSERT_TRUE(icon) << log();
    ASSERT_TRUE(logShows("pipeline alive")) << log();
    openPanel(*icon);

    // What the menu lists, and where it opens, are the panel's own tests; here it is a real menu.
    auto menu = openOutputMenu();
    ASSERT_TRUE(menu) << "the menu did not open\n" << log();
    rig.screenshot(shots() / "5-output-menu.png");

    ASSERT_TRUE(pickFromMenu(*menu, "Front"));
    EXPECT_TRUE(eventually(5, [&] { return panelShown(); })) << "the panel stays open";
    menu = openOutputMenu();
    ASSERT_TRUE(menu) << "the menu did not open again\n" << log();
    ASSERT_TRUE(pickFromMenu(*menu, "Rear"));
    EXPECT_TRUE(eventually(5, [&] {
        return storedSettings().value("outputDeviceUIDs", nlohmann::json()) ==
               nlohmann::json{"front", "rear"};
    })) << storedSettings().dump();
    ASSERT_TRUE(logShows("pipeline alive", 3)) << log();
    for (const char* sink : {"front", "rear"}) {
        const auto levels = measureSink(sink);
        ASSERT_TRUE(levels);
        EXPECT_GT(levels->rms, 0.05) << sink << " plays\n" << log();
    }
    rig.screenshot(shots() / "6-two-outputs.png");

    // Sinks that were idle take a moment to settle into step.
    std::this_thread::sleep_for(std::chrono::seconds(3));
    const auto lagNow = [] {
        const auto [front, rear] = recordBothPairs(2.0);
        return front.size() > kRate ? median(lagsAlong(front, rear, kRate / 20)) : -1'000'000;
    };
    const int before = lagNow();
    const auto delayRow = settledPart("delayRow0");
    ASSERT_TRUE(delayRow);
    // The plus button is the row's last few pixels.
    rig.click(delayRow->x + delayRow->width - 6, delayRow->centreY());
    EXPECT_TRUE(eventually(5, [&] {
        return storedSettings()["outputDelays"].value("front", 0.0) == 10.0;
    })) << storedSettings().dump();
    std::this_thread::sleep_for(std::chrono::seconds(1));
    const int after = lagNow();
    // Rear trails front by 10 ms less: front is held back.
    EXPECT_NEAR(after - before, -kRate / 100, kRate / 1000)
        << "lag before " << before << ", after " << after << "\n"
        << log();
    terminate(*sorix);
}

INSTANTIATE_TEST_SUITE_P(, DesktopCardsTest, everySoundServer(), soundServerName);

}  // namespace
}  // namespace sorix::testing
