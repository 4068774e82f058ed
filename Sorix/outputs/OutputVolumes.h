#pragma once

#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "OutputServices.h"
#include "Published.h"

namespace sorix {

// Per-output volume: the device's own control where it has one, a software gain in the render
// path where it has none, and optionally all playing outputs moving together. Volumes changed
// elsewhere (a desktop's volume keys) are followed and move the linked outputs too.
class OutputVolumes {
  public:
    using ActiveOutputs = std::function<std::vector<std::string>()>;

    // Reads the stored software volumes and the link setting. `ranges` are the current
    // pipeline's, owned by the caller; `activeOutputs` names the outputs that play now.
    OutputVolumes(const OutputServices& services, const BufferRanges& ranges,
                  ActiveOutputs activeOutputs);
    ~OutputVolumes();
    OutputVolumes(const OutputVolumes&) = delete;
    OutputVolumes& operator=(const OutputVolumes&) = delete;

    // The stored software volume of each output without a volume control of its own.
    const Published<std::map<std::string, float>>& outputVolumes() const { return outputVolumes_; }
    // The volume of each playing output as last read or set, hardware or software.
    const Published<std::map<std::string, float>>& deviceVolumes() const { return deviceVolumes_; }
    const Published<bool>& volumesLinked() const { return volumesLinked_; }

    // Sets one output's volume; with `propagateLink` and linking on, the other playing outputs
    // move by the same step (not the same ratio, so one at an end stays there).
    void setOutputVolume(const std::string& uid, float volume, bool propagateLink);
    void setVolumesLinked(bool linked);
    // Reads the playing outputs' volumes (and the default output's, whose volume keys move the
    // linked outputs) and follows their changes from now on.
    void refreshDeviceVolumes();

    // The software gain an output plays at in a new pipeline: 1 where the device has its own
    // volume control, which turns it down itself.
    float pipelineGain(const std::string& uid, std::optional<AudioObjectID> device) const;

    // A volume as it is applied, whoever asks: within 0..1, NaN as full volume.
    static float validVolume(double volume);

  private:
    struct VolumeListener {
        AudioObjectID device;
        PropertyListener listener;
    };

    void applyVolume(const std::string& uid, float volume);
    void moveLinkedOutputs(const std::string& changedUID, float step);
    void handleExternalChange(const std::string& uid, AudioObjectID device);
    void stopWatching();

    OutputServices services_;
    const BufferRanges& ranges_;
    ActiveOutputs activeOutputs_;
    Published<std::map<std::string, float>> outputVolumes_;
    Published<std::map<std::string, float>> deviceVolumes_;
    Published<bool> volumesLinked_{true};
    std::vector<VolumeListener> volumeListeners_;
    // Our own writes come back as change notifications until then (main queue seconds).
    double suppressListenerUntil_ = -std::numeric_limits<double>::infinity();
    // Listener calls and the tasks they post hold this weakly: they may come after we are gone.
    std::shared_ptr<char> lifetime_ = std::make_shared<char>();
};

}  // namespace sorix
