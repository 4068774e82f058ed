#pragma once

#include <complex>
#include <vector>

namespace sorix::testing {

// An in-place radix-2 transform, enough for correlating test recordings with their source; the
// size must be a power of two. The inverse is not scaled by 1/size.
void fft(std::vector<std::complex<double>>& data, bool inverse = false);

}  // namespace sorix::testing
