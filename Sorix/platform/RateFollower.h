#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace sorix {

// Makes one output's stream follow its sink's clock. The tap runs on one clock and every sink on
// its own, a few hundred parts per million apart, so an output's queue grows or shrinks steadily.
// Rather than skip audio or insert silence when it has moved too far, the output is played a
// little faster or slower than the tap (by `deviation()`, which the pipeline's interpolator
// follows) so that its sink takes exactly what the tap delivers and the queue stays at its
// target. The pitch moves by at most `maxDeviation`, far below what an ear can hear.
//
// What it steers by is the queue as it would be if the tap delivered its audio continuously
// (what is queued when the sink asks for more, plus what the tap has gathered since its last
// piece): read at the sink's requests alone, the queue moves in whole blocks and pieces, and a
// drift would show only when the two slip past each other, a whole block at once after half a
// minute of nothing. The readings of each slice are averaged and the median of the slices since
// the last step taken, which leaves one late piece out. A proportional and an integral term
// follow: the integral learns the sink's drift, so the queue settles at its target rather than
// beside it, and it stops learning while the rate is at its bound, so that a backlog the trimmer
// is about to skip is not learnt as drift.
//
// For a server that resamples the stream itself, `streamRate()` gives the same in whole hertz,
// the fraction left over carried to the next step so that the rate averages out to the one asked
// for. Sorix does not let the servers resample: their filters ring above the limiter's ceiling.
//
// Everything is plain arithmetic on fixed storage: the calls run on the IO path.
class RateFollower {
  public:
    struct Settings {
        double rate = 48000;           // the nominal rate, frames per second
        double targetSeconds = 0.032;  // the queue to hold, as if delivered continuously
        double sliceSeconds = 0.1;     // each slice gives its average
        double stepSeconds = 0.5;      // how often the rate is steered
        double maxDeviation = 0.0005;  // of the nominal rate, either way
        double proportional = 0.2;     // deviation per second of queue error
        double integral = 0.01;        // deviation per second of queue error, per second
        // Of a lead, how much the target moves at each comparison, and the least lead that
        // moves it.
        double alignShare = 0.025;
        double alignDeadbandSeconds = 0.0002;
        // Whether the queue of the first step after the start or a restart is the target
        // instead: where another part decides the queue (skipping a backlog, refilling one that
        // ran low), the follower only keeps it there against the drift.
        bool holdsWhereItStarts = false;
    };

    explicit RateFollower(Settings settings);

    // The output's sink asked for more; its queue, as if delivered continuously, in seconds.
    void report(double queuedSeconds);
    // `frames` more went through the pipeline; a slice or a step may end here.
    void advance(std::size_t frames);
    // The queue jumped by a skip or a gap: what was measured before no longer holds. What was
    // learnt of the sink's drift does.
    void restart();

    // The output's sink plays `seconds` behind the outputs' average (ahead, if negative): the
    // queue it is to hold comes down by a share of that, and the rate plays the difference out,
    // with no skip to hear. Asked at every comparison of the outputs, the shares add up while the
    // queue moves, at a pace the queue can follow without overshooting. Measured against the
    // average, the outputs' corrections add up to nothing, so together they hold the queues where
    // they stood. Nothing until the follower holds a target, and nothing for a lead within the
    // deadband, which is as exact as positions are.
    void alignBy(double seconds);

    // The rate the stream should play at, in whole hertz.
    uint32_t streamRate() const { return streamRate_; }
    // The deviation from the nominal rate last asked for, before rounding (+ reads faster).
    double deviation() const { return deviation_; }

  private:
    static constexpr std::size_t kMaxSlices = 32;

    void closeSlice();
    void step();
    double measuredQueue();

    Settings settings_;
    std::size_t sliceFrames_;
    std::size_t slicesPerStep_;
    std::size_t framesInSlice_ = 0;
    double sliceSum_ = 0;
    std::size_t sliceReadings_ = 0;
    std::array<double, kMaxSlices> slices_{};
    std::size_t sliceCount_ = 0;
    double target_;
    bool targetTaken_ = false;  // a step measured the queue (and took it, if held) since a restart
    double learnt_ = 0;         // the integral term: the sink's drift as learnt so far
    double deviation_ = 0;      // the last deviation asked for
    double carried_ = 0;        // hertz asked for and not yet given
    uint32_t streamRate_;
};

}  // namespace sorix
