#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "FakeAudioHardware.h"
#include "ManualMainQueue.h"
#include "OutputRouting.h"
#include "SettingsStore.h"

namespace sorix::testing {

// The output side on the fake audio system and a virtual clock, without an engine: a speaker is
// the default output, and `buildPipeline` lays the outputs out as a pipeline build does.
class OutputsFixture : public ::testing::Test {
  protected:
    using Call = FakeAudioHardware::Call;

    OutputsFixture() {
        speakers = hardware.addDevice({.uid = "speakers", .name = "Speakers"});
        hardware.setDefaultOutput(speakers);
        queue.runPending();
    }

    // A routing over the settings as they are now; a second call starts afresh, as a new
    // engine would.
    OutputRouting& makeRouting() {
        routing.reset();
        routing = std::make_unique<OutputRouting>(
            OutputServices{hardware, queue, settings, log, queries, *renderPath},
            [this] { ++selectionChanges; });
        return *routing;
    }

    // What a pipeline build does with the outputs, at the given tap rate.
    std::vector<ResolvedOutput> buildPipeline(double rate = 48000) {
        const auto outputs = routing->resolveOutputs();
        routing->assignBuffers(outputs);
        renderPath->prepare({.sampleRate = rate});
        routing->delays().writeNewPipeline();
        return outputs;
    }

    float gain(std::size_t slot) const { return renderPath->buffers().outputGains[slot]; }
    uint32_t delay(std::size_t slot) const { return renderPath->buffers().outputDelays[slot]; }
    float hardwareVolumeOf(AudioObjectID device) const {
        float volume = 0;
        getProperty(hardware, device, outputAddress(Selector::virtualMainVolume), volume);
        return volume;
    }
    bool logged(const std::string& line) const {
        const auto all = sink->messages();
        return std::find(all.begin(), all.end(), line) != all.end();
    }

    ManualMainQueue queue;
    FakeAudioHardware hardware{queue};
    MemorySettingsStore settings;
    std::shared_ptr<RecordingLogSink> sink = std::make_shared<RecordingLogSink>();
    Logger log{"TapEngine", sink};
    AudioObjectQueries queries{hardware, log, [] { return 0.0; }, [](double) {}};
    std::unique_ptr<RenderPath> renderPath = std::make_unique<RenderPath>();
    std::unique_ptr<OutputRouting> routing;
    int selectionChanges = 0;
    AudioObjectID speakers = 0;
};

}  // namespace sorix::testing
