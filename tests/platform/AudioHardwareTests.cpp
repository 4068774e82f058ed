#include <gtest/gtest.h>

#include "SinkLatency.h"

namespace sorix {
namespace {

TEST(AudioHardwareTest, SinkLatencyAddsThePortOffsetAndNeverGoesNegative) {
    EXPECT_EQ(sinkLatencyFrames(25'000, 0, 48000), 1200u);
    // A Bluetooth headset's port announcing 150 ms of its own.
    EXPECT_EQ(sinkLatencyFrames(25'000, 150'000, 48000), 8400u);
    EXPECT_EQ(sinkLatencyFrames(25'000, -40'000, 48000), 0u);
    EXPECT_EQ(sinkLatencyFrames(10'000, 0, 44100), 441u);
}

}  // namespace
}  // namespace sorix
