#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "OutputDelays.h"
#include "OutputDevice.h"
#include "OutputServices.h"
#include "OutputVolumes.h"
#include "Published.h"

namespace sorix {

// One output a pipeline plays to, with the device its UID named when the build resolved it.
struct ResolvedOutput {
    std::string uid;
    std::optional<AudioObjectID> device;
};

// Everything about the outputs but the pipeline itself: the catalogue of physical outputs, the
// user's ordered choice of them, which output buffers of a pipeline each one fills, and their
// volumes and delays down to the render path's tables. Owned by the engine; it knows the audio
// system and the render path, never the engine, and reports a changed choice through the
// callback it is given. Main thread only.
class OutputRouting {
  public:
    // Reads the stored choice, volumes and delays, and scans the outputs; starts nothing.
    OutputRouting(const OutputServices& services, std::function<void()> selectionChanged);
    OutputRouting(const OutputRouting&) = delete;
    OutputRouting& operator=(const OutputRouting&) = delete;

    // The physical outputs offered to the user.
    const Published<std::vector<OutputDevice>>& availableOutputs() const { return available_; }
    // The pinned outputs, in order; empty follows the system's default output.
    const Published<std::vector<std::string>>& selectedOutputUIDs() const { return selected_; }
    OutputVolumes& volumes() { return volumes_; }
    const OutputVolumes& volumes() const { return volumes_; }
    OutputDelays& delays() { return delays_; }
    const OutputDelays& delays() const { return delays_; }

    // Scans the outputs again and publishes them.
    void refreshAvailableOutputs();
    // The outputs that play now: the pinned ones, else the default output, else none.
    std::vector<std::string> activeOutputUIDs() const;
    // The catalogue's name for an output, or "Device".
    std::string outputName(const std::string& uid) const;
    // The output card's title and the line under it, read live.
    std::string currentOutputName() const;
    std::string currentOutputSubtitle() const;
    // How many playing outputs are Bluetooth devices.
    int activeBluetoothCount() const;
    // Pins or unpins one output; stores the choice, rereads the volumes and reports the change.
    void toggleOutput(const std::string& uid);
    // Back to the system's default output.
    void clearOutputSelection();

    // For a pipeline build: the outputs it plays to, the clock first, from a fresh scan. Pinned
    // outputs that are away are skipped for this build; with none left it is the default
    // output, if that can play. Raises SorixError otherwise.
    std::vector<ResolvedOutput> resolveOutputs();
    // Lays the outputs over the IO procedure's buffers (one per output stream, in order) and
    // writes each one's gain into the render table; delays().writeNewPipeline() writes the
    // delays once the render path has the new pipeline's rate.
    void assignBuffers(const std::vector<ResolvedOutput>& outputs);
    // Which buffers of the current (or last) pipeline each output fills.
    const BufferRanges& deviceBufferRanges() const { return ranges_; }

  private:
    void selectionChanged();

    OutputServices services_;
    std::function<void()> onSelectionChanged_;
    Published<std::vector<OutputDevice>> available_;
    Published<std::vector<std::string>> selected_;
    BufferRanges ranges_;
    OutputVolumes volumes_;
    OutputDelays delays_;
};

}  // namespace sorix
