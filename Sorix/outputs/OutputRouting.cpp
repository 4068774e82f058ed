#include "OutputRouting.h"

#include <algorithm>

#include "OutputCatalogue.h"
#include "OutputSelection.h"

namespace sorix {

OutputRouting::OutputRouting(const OutputServices& services, std::function<void()> selectionChanged)
    : services_(services),
      onSelectionChanged_(std::move(selectionChanged)),
      volumes_(services, ranges_, [this] { return activeOutputUIDs(); }),
      delays_(services, ranges_, [this](const std::string& uid) { return outputName(uid); }) {
    selected_ = loadOutputSelection(services_.settings);
    available_ = physicalOutputDevices(services_.hardware);
}

void OutputRouting::refreshAvailableOutputs() {
    available_ = physicalOutputDevices(services_.hardware);
}

std::vector<std::string> OutputRouting::activeOutputUIDs() const {
    return sorix::activeOutputUIDs(selected_, services_.queries);
}

std::string OutputRouting::outputName(const std::string& uid) const {
    return sorix::outputName(available_, uid);
}

std::string OutputRouting::currentOutputName() const {
    return sorix::currentOutputName(selected_, services_.queries);
}

std::string OutputRouting::currentOutputSubtitle() const {
    return sorix::currentOutputSubtitle(selected_, available_, services_.hardware,
                                        services_.queries);
}

int OutputRouting::activeBluetoothCount() const {
    return sorix::activeBluetoothCount(activeOutputUIDs(), services_.hardware, services_.queries);
}

void OutputRouting::toggleOutput(const std::string& uid) {
    auto selection = selected_.get();
    const auto found = std::find(selection.begin(), selection.end(), uid);
    if (found == selection.end()) {
        selection.push_back(uid);
    } else {
        selection.erase(found);
    }
    selected_ = std::move(selection);
    selectionChanged();
}

void OutputRouting::clearOutputSelection() {
    selected_ = std::vector<std::string>{};
    selectionChanged();
}

void OutputRouting::selectionChanged() {
    persistOutputSelection(services_.settings, selected_);
    volumes_.refreshDeviceVolumes();
    if (onSelectionChanged_) onSelectionChanged_();
}

std::vector<ResolvedOutput> OutputRouting::resolveOutputs() {
    refreshAvailableOutputs();
    std::vector<ResolvedOutput> outputs;
    for (std::string& uid :
         resolveOutputUIDs(available_, selected_, services_.queries, services_.log)) {
        const auto device = services_.queries.deviceID(uid);
        outputs.push_back({std::move(uid), device});
    }
    return outputs;
}

void OutputRouting::assignBuffers(const std::vector<ResolvedOutput>& outputs) {
    auto& gains = services_.renderPath.buffers().outputGains;
    BufferRanges ranges;
    uint32_t next = 0;
    for (const ResolvedOutput& output : outputs) {
        uint32_t streams = 1;
        uint32_t size = 0;
        if (output.device &&
            services_.hardware.getPropertyDataSize(*output.device, outputAddress(Selector::streams),
                                                   {}, size) == kAudioHardwareNoError &&
            size / 4 > 0)
            streams = size / 4;
        const BufferRange range{next, next + streams};
        ranges[output.uid] = range;
        fillSlots(gains, range, volumes_.pipelineGain(output.uid, output.device));
        next = range.end;
    }
    fillSlots(gains, BufferRange{next, static_cast<uint32_t>(gains.size())}, 1.0f);
    ranges_ = std::move(ranges);
}

}  // namespace sorix
