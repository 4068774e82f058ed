// The delegate's launch and quit on the fake audio system: what the stored settings turn into.
#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <vector>

#include "AppDelegate.h"
#include "EngineFixture.h"
#include "SettingsKeys.h"
#include "StoredControls.h"

namespace sorix::testing {
namespace {

namespace Keys = SettingsKeys;

// The range itself is the Safe Mode cap's case below, and which values read as absent is the
// store's own case; here what the store may hold.
TEST(LaunchBoostTest, StoredFactorIsTakenWithinOneToEightWhateverWasStored) {
    struct Stored {
        SettingsStore::Value value;
        float expected;
    };
    const std::vector<Stored> table = {
        {nullptr, 1.0f},  // absent
        {3.55, 3.55f},
        {9.0, 8.0f},    // Safe Mode is not applied here
        {1e300, 8.0f},  // finite, but no float
        // Not finite: absent, so no boost rather than the most.
        {std::numeric_limits<double>::infinity(), 1.0f},
    };
    for (const Stored& stored : table) {
        MemorySettingsStore settings;
        if (!stored.value.is_null()) settings.setObject(Keys::volumeBoost, stored.value);
        EXPECT_FLOAT_EQ(launchBoost(settings), stored.expected) << stored.value.dump();
    }
}

TEST(SafeModeCapTest, HoldsAnyBoostToOneToEightAndCapsItAtTwoInSafeMode) {
    MemorySettingsStore safe;  // Safe Mode is on when never set
    MemorySettingsStore unsafe;
    unsafe.setBool(Keys::safeMode, false);
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    struct Case {
        float boost, safe, unsafe;
    };
    for (const Case& c : std::vector<Case>{{nan, 1, 1},
                                           {inf, 2, 8},
                                           {-inf, 1, 1},
                                           {0.99f, 1, 1},
                                           {2.01f, 2, 2.01f},
                                           {1.99f, 1.99f, 1.99f},
                                           {8.01f, 2, 8}}) {
        EXPECT_EQ(safeModeCapped(c.boost, safe), c.safe) << c.boost;
        EXPECT_EQ(safeModeCapped(c.boost, unsafe), c.unsafe) << c.boost;
    }
}

class AppDelegateTest : public EngineFixture {
  protected:
    std::unique_ptr<AppDelegate> launched() {
        auto delegate = std::make_unique<AppDelegate>(services());
        delegate->applicationDidFinishLaunching();
        queue.runPending();
        return delegate;
    }
};

TEST_F(AppDelegateTest, StoredBoostIsCappedBeforeTheFirstBlockAndTheStoreIsLeftAlone) {
    settings.setDouble(Keys::volumeBoost, 4.8);
    settings.setBool(Keys::boostActive, true);
    auto delegate = launched();
    EXPECT_FLOAT_EQ(delegate->engine().loudness().boost(), 2.0f);
    EXPECT_DOUBLE_EQ(settings.doubleForKey(Keys::volumeBoost), 4.8);

    settings.setBool(Keys::safeMode, false);
    EXPECT_FLOAT_EQ(launched()->engine().loudness().boost(), 4.8f);
}

TEST_F(AppDelegateTest, StoredEqualiserIsAppliedAsPresetOrAsTheUsersOwnGains) {
    settings.setString(Keys::eqPreset, "bass");
    EXPECT_EQ(launched()->engine().eq().gains(), EQProcessor::gains(EQProcessor::Preset::bass));

    settings.setString(Keys::eqPreset, "custom");
    settings.setString(Keys::customEQGains, "1.5,0.0,-2.0");
    const std::array<float, EQProcessor::bandCount> padded = {1.5f, 0, -2.0f, 0, 0, 0};
    EXPECT_EQ(launched()->engine().eq().gains(), padded);
}

TEST_F(AppDelegateTest, QuitTakesEveryOutputDownAndKeepsTheMasterSwitch) {
    // Stopping would keep two outputs running unprocessed; quitting must not.
    hardware.addDevice({.uid = "dac", .name = "DAC"});
    settings.setStringArray(Keys::outputDeviceUIDs, {"speakers", "dac"});
    settings.setBool(Keys::boostActive, true);
    auto delegate = launched();
    ASSERT_TRUE(delegate->engine().pipelineExists());

    delegate->applicationWillTerminate();
    EXPECT_FALSE(delegate->engine().pipelineExists());
    EXPECT_EQ(hardware.callCount(Call::destroyTap), 1);
    EXPECT_TRUE(settings.boolForKey(Keys::boostActive));
}

}  // namespace
}  // namespace sorix::testing
