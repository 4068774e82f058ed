#pragma once

#include <cstddef>
#include <vector>

namespace sorix {

// Where each output's sink reads, compared at one moment. A server's own account of a stream's
// read position moves in whole blocks of its sink (PipeWire's in graph cycles of ten milliseconds
// or more, each sink on its own), so two sinks read at slightly different moments seem a whole
// block apart and a correction by it would move the outputs apart instead. What does not move in
// blocks: the moment a sink asks for more is the moment it took its block, and the queue then is
// exact, so the frame it reads then is known. Taken forward to a common moment at the nominal rate,
// each request gives the sink's reading at that moment, late by however long the request took to
// arrive; the earliest-arriving request of a window, the one giving the furthest reading, is the
// one to trust.
//
// Everything is allocated at construction: the calls run on the IO path.
class PlayPositions {
  public:
    PlayPositions(std::size_t outputs, double rate);

    // Output `output`'s sink asked for more at `seconds` (of a steady clock), having taken up to
    // frame `frame` of the tap's audio.
    void report(std::size_t output, double frame, double seconds);
    // The queues jumped: what was reported no longer holds.
    void restart();
    // Every output has reported since the last take or restart.
    bool complete() const;
    // How far ahead of the outputs' average each output's sink reads at one common moment, in
    // frames, one entry per output in `frames` (they add up to nothing); starts the next window.
    void take(double* frames);

  private:
    double rate_;
    std::vector<double> furthest_;  // per output: the frame read at the clock's zero
};

}  // namespace sorix
