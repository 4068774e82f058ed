#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace sorix {

// Keeps the outputs of a pipeline at a small delay and in step. Each output's stream plays on its
// sink's clock and whatever arrives late is lost rather than played late, so a stall cannot make
// the delay grow or move the outputs apart. What still can: a burst queued before the first chunk
// played, a sink that starts later than the others, and a sink whose clock runs slower than the
// tap's, which queues more and more. And one that runs faster, which drains its queue until it
// reads past the end of what was written: from then on everything written would land in the past
// and the output would stay silent.
//
// - Before every chunk each output reports how much audio it has queued ahead of its sink. When
//   even the lowest report of every output over a window stays above the target, all outputs
//   skip that common excess: the lowest report is what is left once the jitter of single chunks
//   is gone, so the skip never empties a buffer. When the average report of some output stays
//   below the floor for two windows in a row, all outputs put the same gap of silence before their
//   next chunk to refill it to the target: a sink that drains its queue faster than its rate can
//   follow keeps the average down, while a stall of the tap pulls down only a report or two, in
//   one window or, at the turn of one, in two. An output that has run dry is refilled at once,
//   and from then on the target and the floor stand a little higher: a machine that has been
//   late once will be late again, and a few milliseconds more delay cost less than a click each
//   time it is.
// - Now and then the outputs report together which frame of the tap's audio their sinks are
//   reading. An output reading a frame well before the others' (a sink that started late) plays
//   behind them and skips the difference, by the median of the last three reports, so that one
//   report taken while a sink was halfway through a block cannot move it.
// Positions are taken only once every skip and gap has been played out.
//
// Everything is allocated at construction: the calls per chunk run on the IO path.
class LatencyTrimmer {
  public:
    struct Settings {
        double rate = 48000;           // frames per second
        double targetSeconds = 0.015;  // the lowest queue an output settles at
        double toleranceSeconds = 0.003;
        double floorSeconds = 0.008;  // below it the queue is refilled before it runs dry
        // How much higher the target and the floor stand after each time an output ran dry,
        // and at most.
        double raiseWhenDrySeconds = 0.002;
        double mostRaisedSeconds = 0.006;
        // How far one output may play behind the others before it skips; closer than this, its
        // rate brings it in step (see RateFollower::alignBy), with nothing to hear.
        double stepToleranceSeconds = 0.004;
        double windowSeconds = 1.0;
        // Shorter, so that whatever queued while the pipeline started goes at once.
        double firstWindowSeconds = 0.2;
    };

    LatencyTrimmer(std::size_t outputs, Settings settings);

    // The audio output `output` has queued ahead of its sink now, and the same as if the tap
    // delivered its audio continuously (what is queued plus what the tap has gathered since its
    // last piece), in seconds. The second decides: it does not move with the phase between the
    // tap's pieces and the sink's blocks, which drifts, and would otherwise read as a queue that
    // grew or shrank by a piece. Only the first tells that a sink has read past the end.
    void report(std::size_t output, double queuedSeconds, double continuousSeconds);
    // A queue that the tap fills continuously.
    void report(std::size_t output, double queuedSeconds) {
        report(output, queuedSeconds, queuedSeconds);
    }
    // `frames` more went through the pipeline; at the end of a window the common skip is decided.
    void advance(std::size_t frames);
    // How many of the next `frames` frames output `output` leaves out.
    std::size_t takeSkip(std::size_t output, std::size_t frames);
    // How many frames of silence output `output` puts before the chunk it writes next.
    std::size_t takeGap(std::size_t output);

    // Whether positions read now would be those of the audio as it is written now.
    bool settled() const;
    // The frame of the tap's audio each output's sink is reading, taken together; `frames` holds
    // one entry per output.
    void positions(const double* frames);

  private:
    static constexpr std::size_t kPositionReports = 3;
    static constexpr int kLowWindowsToRefill = 2;
    struct Output {
        double lowest;  // of the continuous reports in the window
        double sum;     // of the same reports
        std::size_t reports;
        std::array<double, kPositionReports> behind;  // frames, the last reports
        std::size_t pendingSkip;
        std::size_t pendingGap;
    };

    void decide();
    // Where the queues settle: the target, raised after outputs ran dry.
    double target() const { return settings_.targetSeconds + raised_; }
    // The lowest report of any output in the window.
    double lowestReport() const;
    // The lowest average report of any output in the window.
    double lowestAverage() const;
    // Every output puts in the same gap, enough to bring a queue of `queuedSeconds` back to the
    // target.
    void refill(double queuedSeconds);
    bool changePending() const;
    void skip(std::size_t output, std::size_t frames);
    void changed();
    void restartWindow();

    Settings settings_;
    std::size_t windowFrames_;
    std::size_t firstWindowFrames_;
    bool decided_ = false;
    std::size_t framesInWindow_ = 0;
    bool dry_ = false;                   // an output read past the end of its queue
    double raised_ = 0;                  // of the target and the floor, after outputs ran dry
    int lowWindows_ = 0;                 // windows in a row whose average was below the floor
    std::size_t framesSinceChange_ = 0;  // a skip or a gap
    std::size_t positionReports_ = 0;    // since the last change
    std::vector<Output> outputs_;
};

}  // namespace sorix
