#include <gtest/gtest.h>

#include "CommaDecimalLocale.h"
#include "EQControls.h"

namespace sorix {
namespace {

using Gains = std::array<float, EQProcessor::bandCount>;

// How setGains clamps and pads is the equaliser's own case.
TEST(EQControlsTest, PresetsAndCustomGainsAreAppliedAndCustomOnesLoggedAsGiven) {
    auto sink = std::make_shared<RecordingLogSink>();
    const Logger log("TapEngine", sink);
    EQProcessor eq;

    setEQPreset(eq, log, EQProcessor::Preset::bass);
    EXPECT_EQ(eq.gains(), EQProcessor::gains(EQProcessor::Preset::bass));
    const std::vector<float> tooLoud = {20, 0, -1.5f};
    setEQGains(eq, log, tooLoud);
    EXPECT_EQ(eq.gains(), (Gains{12, 0, -1.5f, 0, 0, 0}));
    EXPECT_EQ(sink->messages(),
              (std::vector<std::string>{"EQ preset -> bass", "EQ custom gains -> 20.0,0.0,-1.5"}));
}

TEST(EQControlsTest, StoredSettingsReadBackForgivingly) {
    EXPECT_EQ(parseCustomEQGains("4,,x,2"), (Gains{4, 0, 2, 0, 0, 0}));
    EXPECT_EQ(parseCustomEQGains("3"), (Gains{3, 0, 0, 0, 0, 0}));
    EXPECT_EQ(parseCustomEQGains("1,2,3,4,5,6,7"), (Gains{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(parseCustomEQGains(""), Gains{});
    const Gains written = {4, 2, -2, 1, 3, 5.5f};
    EXPECT_EQ(parseCustomEQGains(formatCustomEQGains(written)), written);

    // Hand-edited lists: blanks around a piece and a leading '+' are fine, nothing else is.
    EXPECT_EQ(parseCustomEQGains(" 3 , +2.5,\t-1\t, 0.5 "), (Gains{3, 2.5f, -1, 0.5f, 0, 0}));
    EXPECT_EQ(parseCustomEQGains("1, ,\t,2"), (Gains{1, 2, 0, 0, 0, 0})) << "blank is empty";
    EXPECT_EQ(parseCustomEQGains("+-3,++3,+,3 5,0x10,3dB,2"), (Gains{0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(parseCustomEQGains("1e1,.5,-.5,5.,2"), (Gains{10, 0.5f, -0.5f, 5, 2, 0}));
    // Pieces that are not finite numbers count as flat. Beyond a float's range: 3.5e38 would
    // round to infinity, 1e999 is out of range.
    EXPECT_EQ(parseCustomEQGains("inf,-inf,NaN,infinity,-nan,4"), (Gains{0, 0, 0, 0, 0, 4}));
    EXPECT_EQ(parseCustomEQGains("3.5e38,1e999,-1e999,3.4e38"), (Gains{0, 0, 0, 3.4e38f, 0, 0}));

    EXPECT_EQ(storedPreset("movie"), EQProcessor::Preset::movie);
    EXPECT_EQ(storedPreset("loudness"), EQProcessor::Preset::flat);
}

TEST(EQControlsTest, StoredGainsReadAndWriteTheSameUnderACommaDecimalLocale) {
    const testing::CommaDecimalLocale german;
    SKIP_WITHOUT_COMMA_DECIMAL_LOCALE(german);
    EXPECT_EQ(parseCustomEQGains("3.5,0,0,0,0,-2"), (Gains{3.5f, 0, 0, 0, 0, -2}));
    EXPECT_EQ(parseCustomEQGains("3,5,0"), (Gains{3, 5, 0, 0, 0, 0})) << "',' only separates";
    const std::vector<float> gains = {3, 0, -1.5f, 0.25f, -0.04f, 11.96f};
    EXPECT_EQ(formatCustomEQGains(gains), "3.0,0.0,-1.5,0.2,-0.0,12.0");
}

}  // namespace
}  // namespace sorix
