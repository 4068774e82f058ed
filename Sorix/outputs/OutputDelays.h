#pragma once

#include <functional>
#include <map>
#include <string>

#include "OutputServices.h"
#include "Published.h"

namespace sorix {

// Holding outputs back so that speakers with different latencies sound together: an automatic
// hold worked out from the latencies the devices report, plus the user's own delay per output.
// Both reach the render path as frames in the delay table, at the render path's sample rate.
class OutputDelays {
  public:
    using NameOf = std::function<std::string(const std::string& uid)>;

    // Reads the stored manual delays. `ranges` are the current pipeline's, owned by the caller;
    // `nameOf` names an output for the log.
    OutputDelays(const OutputServices& services, const BufferRanges& ranges, NameOf nameOf);

    // The user's delay per output, in milliseconds.
    const Published<std::map<std::string, double>>& deviceDelaysMs() const {
        return deviceDelaysMs_;
    }
    // The automatic hold per output of the current pipeline, in frames.
    const std::map<std::string, uint32_t>& autoDelayFrames() const { return autoDelayFrames_; }

    // Stores the delay (held to 0..1500 ms) and applies it at once to a playing output.
    void setOutputDelay(const std::string& uid, double milliseconds);
    // Works the automatic holds out again from the reported latencies; with fewer than two
    // outputs there is nothing to line up.
    void recomputeReportedSync();
    // A new pipeline's tables: each output's manual delay. The automatic holds are kept for the
    // next recompute, which adds them back.
    void writeNewPipeline();

    // A manual delay as it is applied: within 0..1500 ms, NaN as none.
    static double validDelayMs(double milliseconds);
    // What a device reports it takes from a frame's arrival to its sound: its latency, its
    // safety offset and its stream's latency, in seconds at its nominal rate.
    static double reportedLatencySeconds(const AudioHardware& hardware, AudioObjectID device);

  private:
    uint32_t manualFrames(const std::string& uid) const;

    OutputServices services_;
    const BufferRanges& ranges_;
    NameOf nameOf_;
    Published<std::map<std::string, double>> deviceDelaysMs_;
    std::map<std::string, uint32_t> autoDelayFrames_;
};

}  // namespace sorix
