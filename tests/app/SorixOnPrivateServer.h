#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "PrivateSoundServer.h"
#include "PulseClients.h"
#include "SoundServerParams.h"

namespace sorix::testing {

// The real `sorix` on a private sound server of the test's own, the one the test's parameter
// names: its settings file, its log, and a clean stop.
class SorixOnPrivateServer : public ::testing::TestWithParam<SoundServerKind> {
  protected:
    static constexpr double kStartTimeout = 15;  // a build plus the two-second liveness check

    explicit SorixOnPrivateServer(std::string devices = PrivateSoundServer::imitatedDevices())
        : ownServer_(PrivateSoundServer::create(GetParam(), std::move(devices))),
          server(*ownServer_) {}

    void SetUp() override {
        const std::string missing = server.missingPrograms({"paplay", "parec", "sox"});
        if (!missing.empty()) GTEST_SKIP() << "needs " << missing;
        ASSERT_TRUE(server.start());
    }
    void TearDown() override {
        if (HasFailure()) std::cout << server.logs();
    }

    void storeSettings(const nlohmann::json& settings) const {
        std::ofstream(server.folder() / "settings.json") << settings.dump();
    }
    nlohmann::json storedSettings() const {
        std::ifstream file(server.folder() / "settings.json");
        return nlohmann::json::parse(file, nullptr, false);
    }

    // A 48 kHz 16-bit stereo file in the test's folder, made by sox's `effects` from nothing.
    bool makeSound(const std::string& file, const std::string& effects) const {
        return server.run("sox -q -n -r 48000 -c 2 -b 16 " + (server.folder() / file).string() +
                          " " + effects) == 0;
    }

    std::unique_ptr<ChildProcess> startSorix(const std::vector<std::string>& environment = {}) {
        // Headless unless the test gives a display, even inside a desktop session.
        std::vector<std::string> variables = environment;
        const auto given = [&](const std::string& name) {
            return std::any_of(environment.begin(), environment.end(),
                               [&](const std::string& entry) { return entry.rfind(name, 0) == 0; });
        };
        for (const std::string& fallback :
             {"SORIX_SETTINGS_FILE=" + (server.folder() / "settings.json").string(),
              std::string("DISPLAY="), std::string("WAYLAND_DISPLAY=")}) {
            if (!given(fallback.substr(0, fallback.find('=') + 1))) variables.push_back(fallback);
        }
        auto sorix = std::make_unique<ChildProcess>(std::vector<std::string>{SORIX_PATH}, logFile(),
                                                    variables);
        EXPECT_TRUE(sorix->started());
        return sorix;
    }

    // Plays a file from the test's folder until the returned process goes.
    std::unique_ptr<ChildProcess> play(const std::string& file) {
        auto player = std::make_unique<ChildProcess>(
            std::vector<std::string>{"paplay", (server.folder() / file).string()},
            server.folder() / "player.log");
        EXPECT_TRUE(eventually(5, [&] { return !sinkOfPlayer(player->pid()).empty(); }))
            << "the player never appeared";
        return player;
    }

    // Waits until the log holds `line` at least `times` times.
    bool logShows(const std::string& line, int times = 1, double timeout = kStartTimeout) const {
        return eventually(timeout, [&] { return count(line) >= times; });
    }
    int count(const std::string& line) const {
        const std::string text = log();
        int found = 0;
        for (auto at = text.find(line); at != std::string::npos; at = text.find(line, at + 1))
            ++found;
        return found;
    }
    std::string log() const {
        std::ostringstream text;
        text << std::ifstream(logFile()).rdbuf();
        return text.str();
    }
    std::filesystem::path logFile() const { return server.folder() / "sorix.log"; }

    // Stops Sorix as a service manager would and checks that it quit cleanly.
    void terminate(ChildProcess& sorix) const {
        sorix.signal(SIGTERM);
        EXPECT_EQ(sorix.waitForExit(10), 0) << log();
        EXPECT_GE(count("state -> inactive"), 1);
    }

  private:
    std::unique_ptr<PrivateSoundServer> ownServer_;

  protected:
    PrivateSoundServer& server;
};

}  // namespace sorix::testing
