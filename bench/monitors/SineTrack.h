// Following a continuous sine through a recording, to the fraction of a frame: which frame of the
// source each stretch plays, so that a skip, a gap or a repeat shows as a jump, and a clock that
// runs apart from the source's as a slope.
#pragma once

#include <cstddef>
#include <vector>

#include "MonitorTimeline.h"

namespace sorix::bench {

struct SineBlock {
    std::size_t firstFrame;  // in the recording
    // How far the source runs ahead of the recording here, in frames: the sine's phase, unwrapped
    // from block to block. Known up to one period of the sine for the first block.
    double lead;
    double amplitude;
    double residual;  // the RMS of what the fitted sine leaves, relative to its amplitude
};

// About a period of the benches' 47 Hz sine: long enough for a steady phase, short enough that a
// change of rate bends the lead by little within a block.
constexpr std::size_t kSineBlockFrames = 1024;

// Fits a sine of `frequency` Hz to each block of `blockFrames` frames of `channel`, from
// `fromFrame` on.
std::vector<SineBlock> trackSine(const Recording& recording, int channel, double frequency,
                                 std::size_t fromFrame, std::size_t blockFrames = kSineBlockFrames);

struct Discontinuity {
    std::size_t frame;  // the block where it happened
    double frames;      // how far the sound jumped: + skipped ahead, - held back (a gap)
};

// Every run of blocks whose amplitude falls below half the run's median or whose fit leaves more
// than `maxResidual`, and every block where the lead moves by more than `toleranceFrames` from
// the line it followed before to the line it follows after. A change of rate (a pipeline
// following its sink's clock moves it by up to a thousandth) bends the line
// without moving it, and is none.
std::vector<Discontinuity> discontinuities(const std::vector<SineBlock>& blocks,
                                           double toleranceFrames = 0.5,
                                           double maxResidual = 0.01);

// How far `to` plays the source behind `from` (frames; + behind), block by block of `from`, known
// up to one period of the sine: `to`'s frame m passed its sink when `from`'s frame m + `shift`
// passed its own. Both tracks are of one frequency, `to`'s from its first frame.
std::vector<double> offsetsBehind(const std::vector<SineBlock>& from,
                                  const std::vector<SineBlock>& to, double shift, double frequency,
                                  std::size_t blockFrames = kSineBlockFrames);

// How much faster the source ran than the recording, in parts per million: the slope of the lead
// over the run, by least squares.
double driftPpm(const std::vector<SineBlock>& blocks);

}  // namespace sorix::bench
