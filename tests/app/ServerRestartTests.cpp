// The engine on the real sound server and Qt's event loop, in this process: a server that goes
// away is retried until the engine gives up, and once it is back the engine starts by itself.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <iostream>
#include <memory>

#include "AudioCapturePermission.h"
#include "PrivateSoundServer.h"
#include "PulseAudioHardware.h"
#include "PulseClients.h"
#include "QtMainQueue.h"
#include "SoundServerParams.h"
#include "TapEngine.h"

namespace sorix::testing {
namespace {

using Case = TapEngine::State::Case;

template <typename Done>
bool spinUntil(double timeoutSeconds, Done done) {
    QElapsedTimer elapsed;
    elapsed.start();
    while (!done()) {
        if (elapsed.elapsed() > timeoutSeconds * 1000) return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    }
    return true;
}

class EngineOnSoundServerTest : public ::testing::TestWithParam<SoundServerKind> {
  protected:
    void TearDown() override {
        if (HasFailure()) std::cout << server.logs();
    }

  private:
    const std::unique_ptr<PrivateSoundServer> ownServer_ =
        PrivateSoundServer::create(GetParam(), PrivateSoundServer::imitatedDevices());

  protected:
    PrivateSoundServer& server = *ownServer_;
};

TEST_P(EngineOnSoundServerTest, GivesUpOnAVanishedServerAndStartsAgainByItselfWhenItReturns) {
    const std::string missing = server.missingPrograms();
    if (!missing.empty()) GTEST_SKIP() << "needs " << missing;
    ASSERT_TRUE(server.start());
    int argc = 1;
    char name[] = "sorix_app_pulse_tests";
    char* argv[] = {name, nullptr};
    QCoreApplication application(argc, argv);

    QtMainQueue queue;
    PulseAudioHardware hardware(queue);
    ASSERT_TRUE(hardware.isConnected());
    MemorySettingsStore settings;
    AudioCapturePermission permission(queue);
    const auto log = std::make_shared<RecordingLogSink>();
    const auto engine = TapEngine::create({.hardware = hardware,
                                           .mainQueue = queue,
                                           .settings = settings,
                                           .permission = permission,
                                           .logSink = log});
    const auto messages = [&] {
        std::string text;
        for (const std::string& line : log->messages())
            text += line + "\n";
        return text;
    };
    const auto alive = [&] { return messages().find("pipeline alive") != std::string::npos; };

    engine->start();
    ASSERT_EQ(engine->state()->kind(), Case::active) << messages();
    ASSERT_TRUE(spinUntil(10, alive)) << messages();

    server.kill();
    // Six attempts, one, one, four, four and four seconds apart.
    ASSERT_TRUE(spinUntil(30, [&] { return engine->state()->kind() == Case::failed; }))
        << messages();
    for (const char* retry : {"— retry 2/6 in ", "— retry 6/6 in ", "after 6 attempts"})
        EXPECT_NE(messages().find(retry), std::string::npos) << retry << "\n" << messages();

    // Back with the server, by itself: its switch is still on.
    ASSERT_TRUE(server.start());
    log->lines.clear();
    EXPECT_TRUE(spinUntil(10, [&] { return engine->state()->kind() == Case::active; }))
        << messages();
    EXPECT_TRUE(spinUntil(10, alive)) << messages();
    EXPECT_EQ(tapSinks().size(), 1u);

    engine->shutDown();
    // The tap goes once the main queue has finished the task that shut the engine down.
    EXPECT_TRUE(spinUntil(5, [] { return tapSinks().empty(); }));
}

INSTANTIATE_TEST_SUITE_P(, EngineOnSoundServerTest, everySoundServer(), soundServerName);

}  // namespace
}  // namespace sorix::testing
