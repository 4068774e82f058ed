// Several outputs of one Sorix on a private sound server, PulseAudio and then PipeWire: two sinks
// that are the two halves of one four-channel sink, so that one recording of it shows both
// outputs sample for sample.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "SorixOnPrivateServer.h"
#include "SpeakerPairs.h"

namespace sorix::testing {
namespace {

std::string joined(const std::vector<int>& values) {
    std::string text;
    for (int value : values)
        text += std::to_string(value) + " ";
    return text;
}

// Half a minute by default, long enough for stalls and the outputs' corrections to show; the
// bench sets SORIX_IN_STEP_SECONDS to run it for minutes.
int inStepSeconds() {
    const char* seconds = std::getenv("SORIX_IN_STEP_SECONDS");
    return seconds != nullptr ? std::max(14, std::atoi(seconds)) : 30;
}

class OutputsInStepTest : public SorixOnPrivateServer {
  protected:
    OutputsInStepTest() : SorixOnPrivateServer(speakerPairs()) {}

    void SetUp() override {
        SorixOnPrivateServer::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        ASSERT_TRUE(makeSound(
            "noise.wav", "synth " + std::to_string(inStepSeconds() + 30) + " whitenoise vol 0.25"));
    }
};

TEST_P(OutputsInStepTest, AManualDelayHoldsTheOutputsThatFarApartRunAfterRun) {
    storeSettings({{"volumeBoost", 1.0},
                   {"boostActive", true},
                   {"outputDeviceUIDs", {"front", "rear"}},
                   {"outputDelays", {{"rear", 20.0}}}});
    const auto player = play("noise.wav");
    const auto sorix = startSorix();
    ASSERT_TRUE(logShows("pipeline alive")) << log();

    // Sinks that were idle may have planned seconds ahead and take a moment to start reading;
    // the backlog that builds meanwhile is trimmed within the first seconds.
    std::this_thread::sleep_for(std::chrono::seconds(3));
    const bool verbose = std::getenv("SORIX_IN_STEP_SECONDS") != nullptr;
    const int runs = inStepSeconds() / 7;  // a recording of two seconds, then five to wait
    constexpr int expected = kRate * 20 / 1000;
    constexpr int tolerance = kRate / 1000;
    for (int run = 0; run < runs; ++run) {
        const auto [front, rear] = recordBothPairs(2.0);
        ASSERT_GT(front.size(), std::size_t{kRate}) << "too little recorded from the room";
        const auto lags = lagsAlong(front, rear, kRate / 20);
        if (verbose) std::printf("run %d: lags %s\n", run, joined(lags).c_str());
        EXPECT_NEAR(median(lags), expected, tolerance)
            << "run " << run << ", lags " << joined(lags) << "\n"
            << log();
        std::this_thread::sleep_for(std::chrono::seconds(5));
    }
    terminate(*sorix);
}

INSTANTIATE_TEST_SUITE_P(, OutputsInStepTest, everySoundServer(), soundServerName);

}  // namespace
}  // namespace sorix::testing
