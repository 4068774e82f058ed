#include <gtest/gtest.h>

#include "EQControls.h"

namespace sorix {
namespace {

using Gains = std::array<float, EQProcessor::bandCount>;

TEST(EQControlsTest, PresetsAndCustomGainsAreLoggedAndApplied) {
    auto sink = std::make_shared<RecordingLogSink>();
    const Logger log("TapEngine", sink);
    EQProcessor eq;

    setEQPreset(eq, log, EQProcessor::Preset::bass);
    EXPECT_TRUE(eq.active());
    EXPECT_EQ(eq.gainsDB, EQProcessor::gains(EQProcessor::Preset::bass));
    setEQPreset(eq, log, EQProcessor::Preset::flat);
    EXPECT_FALSE(eq.active());

    const std::vector<float> tooLoud = {20, 0, 0, 0, 0, 0};
    setEQGains(eq, log, tooLoud);
    EXPECT_EQ(eq.gainsDB, (Gains{12, 0, 0, 0, 0, 0}));
    const std::vector<float> fewer = {3, 0, -1.5f};
    setEQGains(eq, log, fewer);
    EXPECT_EQ(eq.gainsDB, (Gains{3, 0, -1.5f, 0, 0, 0}));

    EXPECT_EQ(sink->messages(),
              (std::vector<std::string>{"EQ preset -> bass", "EQ preset -> flat",
                                        "EQ custom gains -> 20.0,0.0,0.0,0.0,0.0,0.0",
                                        "EQ custom gains -> 3.0,0.0,-1.5"}));
}

TEST(EQControlsTest, StoredSettingsReadBackForgivingly) {
    EXPECT_EQ(parseCustomEQGains("4,,x,2"), (Gains{4, 0, 2, 0, 0, 0}));
    EXPECT_EQ(parseCustomEQGains("3"), (Gains{3, 0, 0, 0, 0, 0}));
    EXPECT_EQ(parseCustomEQGains("1,2,3,4,5,6,7"), (Gains{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(parseCustomEQGains("x,2"), (Gains{0, 2, 0, 0, 0, 0}));
    EXPECT_EQ(parseCustomEQGains(""), Gains{});
    const Gains written = {4, 2, -2, 1, 3, 5.5f};
    EXPECT_EQ(parseCustomEQGains(formatCustomEQGains(written)), written);

    EXPECT_EQ(storedPreset("movie"), EQProcessor::Preset::movie);
    EXPECT_EQ(storedPreset("loudness"), EQProcessor::Preset::flat);
}

}  // namespace
}  // namespace sorix
