#include "OutputCatalogue.h"
#include "OutputSelection.h"
#include "TapEngine.h"

// The engine's side of the output catalogue and the user's selection.
namespace sorix {

std::vector<OutputDevice> TapEngine::physicalOutputDevices(const AudioHardware& hardware) {
    return sorix::physicalOutputDevices(hardware);
}

void TapEngine::refreshAvailableOutputs() { availableOutputs = physicalOutputDevices(hardware_); }

std::vector<std::string> TapEngine::activeOutputUIDs() const {
    return sorix::activeOutputUIDs(selectedOutputUIDs, queries_);
}

std::string TapEngine::outputName(const std::string& uid) const {
    return sorix::outputName(availableOutputs, uid);
}

std::string TapEngine::currentOutputName() const {
    return sorix::currentOutputName(selectedOutputUIDs, queries_);
}

std::string TapEngine::currentOutputSubtitle() const {
    return sorix::currentOutputSubtitle(selectedOutputUIDs, availableOutputs, hardware_, queries_);
}

int TapEngine::activeBluetoothCount() const {
    return sorix::activeBluetoothCount(activeOutputUIDs(), hardware_, queries_);
}

void TapEngine::toggleOutput(const std::string& uid) {
    auto selection = selectedOutputUIDs.get();
    const auto found = std::find(selection.begin(), selection.end(), uid);
    if (found == selection.end()) {
        selection.push_back(uid);
    } else {
        selection.erase(found);
    }
    selectedOutputUIDs = std::move(selection);
    selectionChanged();
}

void TapEngine::clearOutputSelection() {
    selectedOutputUIDs = std::vector<std::string>{};
    selectionChanged();
}

void TapEngine::selectionChanged() {
    persistOutputSelection();
    refreshDeviceVolumes();
    rebuildIfRunning();
}

void TapEngine::persistOutputSelection() {
    sorix::persistOutputSelection(settings_, selectedOutputUIDs);
}

std::vector<std::string> TapEngine::resolveOutputUIDs() {
    refreshAvailableOutputs();
    return sorix::resolveOutputUIDs(availableOutputs, selectedOutputUIDs, queries_, log_);
}

}  // namespace sorix
