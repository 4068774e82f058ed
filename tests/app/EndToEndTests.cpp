// The real `sorix` on a private sound server, PulseAudio and then PipeWire, with real players and
// recorders: what a user hears, and what is left behind when Sorix stops, is killed or loses its
// devices or its server.
#include <cmath>

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
        ASSERT_EQ(
            server.run("sox -q -n -r 48000 -c 2 -b 16 " + (server.folder() / "tone.wav").string() +
                       " synth 60 sine 1000 vol " + std::to_string(kTone)),
            0);
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
    EXPECT_EQ(tapSinks().size(), 1u);
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

// Killed outright and not yet reaped by its parent: a zombie still holds its pid, and must not
// be taken for a running owner.
TEST_P(SorixEndToEndTest, AKilledSorixsTapIsClearedByTheNextStartEvenWhileItIsAZombie) {
    storeSettings({{"volumeBoost", 2.0}, {"boostActive", true}, {"safeMode", false}});
    const auto player = playTone();
    auto killed = startSorix();
    ASSERT_TRUE(logShows("pipeline alive")) << log();
    const auto staleTaps = tapSinks();
    ASSERT_EQ(staleTaps.size(), 1u);
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
    EXPECT_TRUE(eventually(5, [&] { return sinkOfPlayer(player->pid()) == "speakers"; }));
    EXPECT_TRUE(tapSinks().empty());
}

TEST_P(SorixEndToEndTest, FollowsANewDefaultOutputAndAPulledOne) {
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

    ASSERT_EQ(server.run("pactl set-default-sink usb_dac"), 0);
    ASSERT_TRUE(eventually(5, [&] { return defaultSink() == "usb_dac"; }))
        << "the server kept " << defaultSink() << " as its default";
    ASSERT_TRUE(logShows("pipeline alive", 2)) << "no rebuild onto the new default\n" << log();
    expectTone("usb_dac", 2.0);
    EXPECT_TRUE(tapKept()) << log();
    const auto old = measureSink("speakers");
    ASSERT_TRUE(old);
    EXPECT_LT(old->peak, 0.01) << "the old default still plays";

    // Unplugged: the server picks another default, and Sorix follows it there.
    const auto module = moduleOfSink("usb_dac");
    ASSERT_TRUE(module);
    ASSERT_EQ(server.run("pactl unload-module " + std::to_string(*module)), 0);
    ASSERT_TRUE(logShows("pipeline alive", 3)) << "no rebuild after the pull\n" << log();
    const std::string fallback = defaultSink();
    ASSERT_NE(fallback, "usb_dac");
    EXPECT_TRUE(tapSinks().size() == 1 && fallback != tapSinks().front());
    expectTone(fallback, 2.0);
}

TEST_P(SorixEndToEndTest, ALostServerIsRetriedAndARestartedOneIsPickedUp) {
    storeSettings({{"volumeBoost", 2.0}, {"boostActive", true}, {"safeMode", false}});
    auto player = playTone();
    const auto sorix = startSorix();
    ASSERT_TRUE(logShows("pipeline alive")) << log();

    server.kill();
    EXPECT_TRUE(logShows("— retry 2/6 in ")) << log();
    ASSERT_TRUE(server.start());
    player = playTone();
    ASSERT_TRUE(logShows("pipeline alive", 2)) << "the restarted server was not picked up\n"
                                               << log();
    EXPECT_TRUE(sorix->running());
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
