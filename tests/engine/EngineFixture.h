#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "FakeAudioHardware.h"
#include "ManualMainQueue.h"
#include "SettingsStore.h"
#include "TapEngine.h"
#include "TapEngineTestAccess.h"

namespace sorix::testing {

// An engine on the fake audio system and a virtual clock, with a speaker as the default output.
class EngineFixture : public ::testing::Test {
  protected:
    using Call = FakeAudioHardware::Call;
    using Case = TapEngine::State::Case;

    EngineFixture() {
        speakers = hardware.addDevice({.uid = "speakers", .name = "Speakers"});
        hardware.setDefaultOutput(speakers);
        queue.runPending();
    }

    TapEngine::Services services() {
        return {.hardware = hardware,
                .mainQueue = queue,
                .settings = settings,
                .permission = permission,
                .logSink = sink,
                .aliveClock = [this] { return aliveClock; },
                .aliveSleep = [this](double seconds) { aliveClock += seconds; }};
    }
    std::shared_ptr<TapEngine> makeEngine() { return TapEngine::create(services()); }

    // An engine that has started and built its pipeline.
    std::shared_ptr<TapEngine> startedEngine() {
        auto engine = makeEngine();
        engine->start();
        queue.runPending();
        EXPECT_EQ(engine->state()->kind(), Case::active);
        return engine;
    }

    // One IO cycle of 64 stereo frames of silence or of a constant level, so that the pipeline
    // counts as alive.
    void renderCycle(float level = 0.0f) {
        std::vector<float> in(128, level);
        lastOutput.assign(128, 0.0f);
        AudioBuffer inBuffer{2, 512, in.data()}, outBuffer{2, 512, lastOutput.data()};
        AudioBufferList input{1, &inBuffer}, output{1, &outBuffer};
        hardware.runIOCycle(input, output);
    }

    std::vector<std::string> messages() const { return sink->messages(); }
    bool logged(const std::string& line) const {
        const auto all = messages();
        return std::find(all.begin(), all.end(), line) != all.end();
    }
    int countLogged(const std::string& prefix) const {
        const auto all = messages();
        return static_cast<int>(std::count_if(
            all.begin(), all.end(), [&](const std::string& m) { return m.rfind(prefix, 0) == 0; }));
    }
    int builds() const { return hardware.callCount(Call::createAggregate); }

    ManualMainQueue queue;
    FakeAudioHardware hardware{queue};
    MemorySettingsStore settings;
    AudioCapturePermission permission{queue, [] { return AudioCapturePermission::Service{}; },
                                      [] {}};
    std::shared_ptr<RecordingLogSink> sink = std::make_shared<RecordingLogSink>();
    double aliveClock = 0;
    AudioObjectID speakers = 0;
    std::vector<float> lastOutput;
};

}  // namespace sorix::testing
