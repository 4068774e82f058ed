#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace sorix {

// Plays interleaved audio a hair faster or slower than it was made, so that an output can follow
// its sink's clock without ever skipping audio or inserting silence. Each output frame is a
// Catmull-Rom cubic through the four input frames around its position. Like any interpolator
// that is faithful to the signal, the cubic rises between two samples above both where the
// signal does; after a limiter that would break its ceiling (a band-limited filter overshoots the
// same way). So each output sample is held within the largest magnitude the input reached in its
// block and the three frames before it: the limiter's ceiling still holds, and only an
// inter-sample peak that rises above every sample of its block is cut. At the rates it is meant
// for (within a tenth of a percent of the nominal one) the position moves through a frame over
// hundreds of frames and the cubic's own error is far below the audible.
//
// The output runs two frames behind the input (the cubic needs the frames on both sides). Plain
// arithmetic on fixed storage: it runs on the IO path.
class RateInterpolator {
  public:
    static constexpr uint32_t kMaxChannels = 32;  // as many as a sound server carries

    // Forgets the audio so far; the next block starts from silence.
    void reset(uint32_t channels);

    // Input frames per output frame: 1 plays at the nominal rate, above 1 consumes the input
    // faster (fewer output frames), below 1 slower. Held within [0.5, 2].
    void setStep(double step);
    double step() const { return step_; }

    // How many output frames the next `inputFrames` input frames give at most.
    std::size_t maxOutputFrames(std::size_t inputFrames) const;

    // Consumes all `inputFrames` frames of `input` and writes what they give to `output`, which
    // holds at least maxOutputFrames(inputFrames) frames; returns how many it wrote.
    std::size_t process(const float* input, std::size_t inputFrames, float* output);

  private:
    static constexpr std::size_t kHistory = 3;

    uint32_t channels_ = 2;
    double step_ = 1.0;
    // Where the next output frame falls, counted from the first history frame.
    double position_ = 1.0;
    std::array<float, kHistory * kMaxChannels> history_{};
};

}  // namespace sorix
