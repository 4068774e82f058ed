#pragma once

#include <cstdint>
#include <span>
#include <vector>

// A known signal for measuring what a sound server did to it.
namespace sorix::testing {

// A test signal every few milliseconds of which can be told from any other stretch of it:
// seeded pseudo-random noise, band-limited to 150 Hz - 8 kHz so that equalising the edges of the
// range changes it little, at a constant level whose peak is `peak`. The default peak leaves room
// for a boost of four through a soft limiter before much of it saturates. The same arguments
// give the same samples on every machine.
std::vector<float> makeTimeCode(double seconds, int rate = 48000, std::uint64_t seed = 1,
                                float peak = 0.25f);

// The mono signal on each of `channels` interleaved channels.
std::vector<float> interleave(std::span<const float> mono, int channels);
// One channel of interleaved frames.
std::vector<float> channelOf(std::span<const float> interleaved, int channels, int channel);

}  // namespace sorix::testing
