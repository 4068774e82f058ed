#include <gtest/gtest.h>

#include "AudioObjectQueries.h"
#include "FakeAudioHardware.h"
#include "ManualMainQueue.h"
#include "SorixError.h"

namespace sorix {
namespace {

using Call = FakeAudioHardware::Call;

class AudioObjectQueriesTest : public ::testing::Test {
  protected:
    std::string defaultOutputError() {
        try {
            queries_.defaultOutputDeviceUID();
        } catch (const SorixError& error) {
            return error.message();
        }
        return "";
    }

    ManualMainQueue queue_;
    FakeAudioHardware hardware_{queue_};
    std::shared_ptr<RecordingLogSink> sink_ = std::make_shared<RecordingLogSink>();
    Logger log_{"TapEngine", sink_};
    double clock_ = 0;
    std::vector<double> sleeps_;
    AudioObjectQueries queries_{hardware_, log_, [this] { return clock_; },
                                [this](double seconds) {
                                    sleeps_.push_back(seconds);
                                    clock_ += seconds;
                                }};
};

TEST_F(AudioObjectQueriesTest, TheDefaultOutputIsItsUIDOrAnError) {
    EXPECT_EQ(defaultOutputError(), "No default output device found (error 0).");
    const AudioObjectID speakers = hardware_.addDevice({.uid = "speakers"});
    hardware_.setDefaultOutput(speakers);
    EXPECT_EQ(queries_.defaultOutputDeviceUID(), "speakers");

    hardware_.injectFailure(Call::get, Selector::deviceUID, kAudioHardwareBadDeviceError, 1);
    EXPECT_EQ(defaultOutputError(), "Could not identify the output device (error 560227702).");
    hardware_.injectFailure(Call::get, Selector::defaultOutputDevice, -10, 1);
    EXPECT_EQ(defaultOutputError(), "No default output device found (error -10).");
}

TEST_F(AudioObjectQueriesTest, TranslationsAndNamesFailQuietly) {
    const AudioObjectID dac = hardware_.addDevice({.uid = "usb-dac", .name = "USB DAC"});
    EXPECT_EQ(queries_.deviceID("usb-dac"), dac);
    EXPECT_EQ(queries_.deviceID("unplugged"), std::nullopt);
    EXPECT_EQ(queries_.stringProperty(dac, Selector::name), "USB DAC");
    EXPECT_EQ(queries_.stringProperty(9999, Selector::name), std::nullopt);

    EXPECT_EQ(queries_.ownProcessObjects().size(), 1u);
    hardware_.injectFailure(Call::get, Selector::translatePIDToProcess, -1, 1);
    EXPECT_TRUE(queries_.ownProcessObjects().empty());
}

TEST_F(AudioObjectQueriesTest, OnlyOtherProcessesCountAsPlaying) {
    const AudioObjectID own = queries_.ownProcessObjects().front();
    hardware_.changeProperty(own, globalAddress(Selector::isRunningOutput), uint32_t{1});
    EXPECT_FALSE(queries_.anyOtherProcessPlayingAudio());

    hardware_.addProcess(900, true);
    EXPECT_TRUE(queries_.anyOtherProcessPlayingAudio());
    // A process whose state cannot be read is skipped, not taken as playing.
    hardware_.injectFailure(Call::get, Selector::isRunningOutput, -1);
    EXPECT_FALSE(queries_.anyOtherProcessPlayingAudio());
    hardware_.clearFailures();
    hardware_.injectFailure(Call::get, Selector::processObjects, -1, 1);
    EXPECT_FALSE(queries_.anyOtherProcessPlayingAudio());
}

TEST_F(AudioObjectQueriesTest, WaitingForALiveDeviceCostsNothingAndADeadOneTheTimeout) {
    const AudioObjectID device = hardware_.addDevice({.uid = "speakers"});
    queries_.waitForDeviceAlive(device, 2.0);
    EXPECT_TRUE(sleeps_.empty());
    EXPECT_TRUE(sink_->lines.empty());

    hardware_.changeProperty(device, globalAddress(Selector::isAlive), uint32_t{0});
    queries_.waitForDeviceAlive(device, 2.0);
    EXPECT_GE(clock_, 2.0);
    EXPECT_LE(clock_, 2.1 + 1e-9);
    ASSERT_EQ(sink_->lines.size(), 1u);
    EXPECT_EQ(sink_->lines[0].level, LogLevel::error);
}

}  // namespace
}  // namespace sorix
