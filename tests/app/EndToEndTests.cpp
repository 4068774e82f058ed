// The real `sorix` on a private sound server, PulseAudio and then PipeWire, with real players and
// recorders: what a user hears, and what is left behind when Sorix stops, is killed or loses its
// devices or its server.
#include <chrono>
#include <cmath>
#include <thread>

#include "SorixOnPrivateServer.h"

namespace sorix::testing {
namespace {

constexpr double kTone = 0.25;  // the player's peak level
// Levels within 10 %: resampling, s16 sinks and a loaded machine all nibble at them.
constexpr double kTolerance = 0.10;

bool isZombie(pid_t pid) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string line;
    std::getline(stat, line);
    return line.find(") Z ") != std::string::npos;
}

class SorixEndToEndTest : public SorixOnPrivateServer {
  protected:
    void SetUp() override {
        SorixOnPrivateServer::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        ASSERT_TRUE(makeSound("tone.wav", "synth 60 sine 1000 vol " + std::to_string(kTone)));
    }

    std::unique_ptr<ChildProcess> playTone() { return play("tone.wav"); }

    // The sink plays the tone boosted by `factor`, peak and RMS each within the tolerance.
    void expectTone(const std::string& sink, double factor) const {
        const auto levels = measureSink(sink);
        ASSERT_TRUE(levels) << "nothing recorded from " << sink;
        const double peak = kTone * factor;
        EXPECT_NEAR(levels->peak, peak, peak * kTolerance) << sink << "\n" << log();
        EXPECT_NEAR(levels->rms, peak / std::sqrt(2.0), peak / std::sqrt(2.0) * kTolerance)
            << sink << "\n"
            << log();
    }
};

TEST_P(SorixEndToEndTest, BoostsEverythingOnceAndGivesTheStreamBackWhenTerminated) {
    storeSettings({{"volumeBoost", 2.0}, {"boostActive", true}, {"safeMode", false}});
    const auto player = playTone();
    ASSERT_EQ(sinkOfPlayer(player->pid()), "speakers");
    const auto sorix = startSorix();
    ASSERT_TRUE(logShows("pipeline alive")) << log();
    EXPECT_EQ(std::vector<std::string>{sinkOfPlayer(player->pid())}, tapSinks());
    // Twice as loud, and only that: the tone playing on unprocessed as well would read x3.
    expectTone("speakers", 2.0);

    terminate(*sorix);
    EXPECT_TRUE(eventually(5, [&] { return sinkOfPlayer(player->pid()) == "speakers"; }));
    EXPECT_TRUE(tapSinks().empty());
    expectTone("speakers", 1.0);
}

TEST_P(SorixEndToEndTest, EightfoldBoostStaysUnderTheLimitersCeiling) {
    storeSettings({{"volumeBoost", 8.0}, {"boostActive", true}, {"safeMode", false}});
    const auto player = playTone();
    const auto sorix = startSorix();
    ASSERT_TRUE(logShows("pipeline alive")) << log();
    const auto levels = measureSink("speakers");
    ASSERT_TRUE(levels);
    EXPECT_LE(levels->peak, 0.97 + 1e-3) << log();
    EXPECT_GT(levels->peak, 0.85) << "the tone was not boosted far into the knee";
    terminate(*sorix);
}

TEST_P(SorixEndToEndTest, SwitchedOffItIdlesAndLeavesEveryonesAudioAlone) {
    storeSettings({{"volumeBoost", 4.0}, {"boostActive", false}});
    const auto player = playTone();
    const auto sorix = startSorix();
    ASSERT_TRUE(logShows("running without")) << log();
    expectTone("speakers", 1.0);
    EXPECT_TRUE(tapSinks().empty());
    EXPECT_EQ(count("state -> starting"), 0) << log();
    EXPECT_TRUE(sorix->running());
    terminate(*sorix);
}

TEST_P(SorixEndToEndTest, NewStreamsStartOnTheTapWhileTheUsersDefaultStaysTheirs) {
    storeSettings({{"volumeBoost", 2.0}, {"boostActive", true}, {"safeMode", false}});
    const auto sorix = startSorix();
    ASSERT_TRUE(logShows("pipeline alive")) << log();
    ASSERT_EQ(tapSinks().size(), 1u);
    const std::string tap = tapSinks().front();
    // The tap stands in as the server's default, so a new stream plays on it from its start.
    ASSERT_TRUE(eventually(5, [&] { return defaultSink() == tap; })) << defaultSink();
    const auto player = playTone();
    EXPECT_EQ(sinkOfPlayer(player->pid()), tap);
    expectTone("speakers", 2.0);

    // The user picks another output in the desktop's settings: Sorix plays there, and the tap
    // stands in for that one now.
    ASSERT_EQ(server.run("pactl set-default-sink usb_dac"), 0);
    ASSERT_TRUE(logShows("pipeline alive", 2)) << "no rebuild onto the new default\n" << log();
    EXPECT_TRUE(eventually(5, [&] { return defaultSink() == tap; })) << defaultSink();
    expectTone("usb_dac", 2.0);

    // At stop the user's choice is the server's default again, and the stream goes there.
    terminate(*sorix);
    EXPECT_TRUE(eventually(5, [&] { return defaultSink() == "usb_dac"; })) << defaultSink();
    EXPECT_TRUE(eventually(5, [&] { return sinkOfPlayer(player->pid()) == "usb_dac"; }));
    EXPECT_TRUE(tapSinks().empty());
}

TEST_P(SorixEndToEndTest, AKilledSorixsGuardianGivesTheStreamsAndTheDefaultBackWithinASecond) {
    storeSettings({{"volumeBoost", 2.0}, {"boostActive", true}, {"safeMode", false}});
    ASSERT_EQ(server.run("pactl set-default-sink usb_dac"), 0);
    const auto onDefault = playTone();
    auto onSpeakers = std::make_unique<ChildProcess>(
        std::vector<std::string>{"paplay", "--device=speakers",
                                 (server.folder() / "tone.wav").string()},
        server.folder() / "player.log");
    ASSERT_TRUE(eventually(5, [&] { return sinkOfPlayer(onSpeakers->pid()) == "speakers"; }));
    auto sorix = startSorix();
    ASSERT_TRUE(logShows("pipeline alive")) << log();
    const std::string tap = tapSinks().at(0);
    ASSERT_TRUE(eventually(5, [&] {
        return defaultSink() == tap && sinkOfPlayer(onDefault->pid()) == tap &&
               sinkOfPlayer(onSpeakers->pid()) == tap;
    }));

    sorix->signal(SIGKILL);
    const auto restored = [&] {
        return tapSinks().empty() && defaultSink() == "usb_dac" &&
               sinkOfPlayer(onDefault->pid()) == "usb_dac" &&
               sinkOfPlayer(onSpeakers->pid()) == "speakers";
    };
    EXPECT_TRUE(eventually(1.0, restored, std::chrono::milliseconds(10)))
        << "default " << defaultSink() << ", streams on " << sinkOfPlayer(onDefault->pid())
        << " and " << sinkOfPlayer(onSpeakers->pid()) << "\n"
        << log();
    expectTone("speakers", 1.0);
}

// Killed outright together with its guardian, and not yet reaped by its parent: a zombie still
// holds its pid, and must not be taken for a running owner.
TEST_P(SorixEndToEndTest, ATapLeftByAKilledSorixIsClearedByTheNextStartEvenWhileItIsAZombie) {
    storeSettings({{"volumeBoost", 2.0}, {"boostActive", true}, {"safeMode", false}});
    const auto player = playTone();
    auto killed = startSorix();
    ASSERT_TRUE(logShows("pipeline alive")) << log();
    const auto staleTaps = tapSinks();
    ASSERT_EQ(staleTaps.size(), 1u);
    ASSERT_EQ(server.run("pkill -KILL -P " + std::to_string(killed->pid()) + " -x sorix-guardian"),
              0);
    killed->signal(SIGKILL);
    ASSERT_TRUE(eventually(5, [&] { return isZombie(killed->pid()); }));
    EXPECT_EQ(tapSinks(), staleTaps) << "nothing could have cleaned up after a SIGKILL";

    const auto sorix = startSorix();
    ASSERT_TRUE(logShows("pipeline alive", 2)) << log();
    const auto taps = tapSinks();
    ASSERT_EQ(taps.size(), 1u);
    // One name from start to start, so that the session manager keeps one entry for it.
    EXPECT_EQ(taps, staleTaps);
    EXPECT_EQ(sinkProperty(taps.front(), "sorix.tap.owner_pid"), std::to_string(sorix->pid()))
        << "the stale tap is still there";
    EXPECT_EQ(sinkOfPlayer(player->pid()), taps.front());
    expectTone("speakers", 2.0);
    killed->waitForExit(10);

    terminate(*sorix);
    EXPECT_TRUE(tapSinks().empty());
}

TEST_P(SorixEndToEndTest, FollowsAPulledOutputToTheNextOne) {
    storeSettings({{"volumeBoost", 2.0}, {"boostActive", true}, {"safeMode", false}});
    const auto player = playTone();
    const auto sorix = startSorix();
    ASSERT_TRUE(logShows("pipeline alive")) << log();
    ASSERT_EQ(tapSinks().size(), 1u);
    const auto tapModule = moduleOfSink(tapSinks().front());
    // A rebuild plays on other outputs but keeps the tap, so no stream is moved out and in again.
    const auto tapKept = [&] {
        return tapSinks().size() == 1 && moduleOfSink(tapSinks().front()) == tapModule;
    };

    // Unplugged: Sorix picks the next output and plays there.
    const auto module = moduleOfSink("speakers");
    ASSERT_TRUE(module);
    ASSERT_EQ(server.run("pactl unload-module " + std::to_string(*module)), 0);
    ASSERT_TRUE(logShows("pipeline alive", 2)) << "no rebuild after the pull\n" << log();
    EXPECT_TRUE(tapKept()) << log();
    std::string playing;
    for (const char* sink : {"usb_dac", "headset", "monitor", "plain"}) {
        const auto levels = measureSink(sink);
        if (levels && levels->peak > 0.1) playing += sink;
    }
    ASSERT_FALSE(playing.empty()) << "nothing plays after the pull\n" << log();
    expectTone(playing, 2.0);

    // And that one is the user's default once Sorix stops.
    terminate(*sorix);
    EXPECT_TRUE(eventually(5, [&] { return defaultSink() == playing; })) << defaultSink();
}

TEST_P(SorixEndToEndTest, AServerAwayForHalfAMinuteIsPickedUpAgainWhenItReturns) {
    storeSettings({{"volumeBoost", 2.0}, {"boostActive", true}, {"safeMode", false}});
    auto player = playTone();
    const auto sorix = startSorix();
    ASSERT_TRUE(logShows("pipeline alive")) << log();

    server.kill();
    const auto away = std::chrono::steady_clock::now();
    // Six attempts over fourteen seconds, then the failed state.
    ASSERT_TRUE(logShows("state -> failed", 1, 25)) << log();
    std::this_thread::sleep_until(away + std::chrono::seconds(30));
    ASSERT_TRUE(server.start());
    player = playTone();
    ASSERT_TRUE(logShows("pipeline alive", 2)) << "the returned server was not picked up\n"
                                               << log();
    expectTone("speakers", 2.0);
    terminate(*sorix);
    EXPECT_TRUE(tapSinks().empty());
}

TEST_P(SorixEndToEndTest, WithoutAnyServerSorixWaitsAndRetriesAndStillQuitsCleanly) {
    storeSettings({{"boostActive", true}});
    const auto sorix = startSorix({"PULSE_SERVER=unix:" + (server.folder() / "none").string()});
    EXPECT_TRUE(logShows("— retry 2/6 in ")) << log();
    EXPECT_TRUE(sorix->running());
    terminate(*sorix);
}

INSTANTIATE_TEST_SUITE_P(, SorixEndToEndTest, everySoundServer(), soundServerName);

}  // namespace
}  // namespace sorix::testing
