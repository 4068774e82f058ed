#include "Fft.h"

#include <cmath>
#include <map>
#include <mutex>
#include <numbers>
#include <utility>

namespace sorix::testing {

namespace {

// The forward transform's twiddles for every stage of a transform of `size`, each stage's in
// the order it uses them: the stage of span 2h takes h of them from offset h - 1. Made once per
// size; the sines and cosines cost more than the transform.
const std::vector<std::complex<double>>& twiddles(std::size_t size) {
    static std::mutex mutex;
    static std::map<std::size_t, std::vector<std::complex<double>>> made;
    const std::lock_guard lock(mutex);
    auto& table = made[size];
    if (table.empty()) {
        table.resize(size - 1);
        for (std::size_t half = 1; half < size; half <<= 1) {
            for (std::size_t k = 0; k < half; ++k)
                table[half - 1 + k] = std::polar(
                    1.0, -std::numbers::pi * static_cast<double>(k) / static_cast<double>(half));
        }
    }
    return table;
}

}  // namespace

void fft(std::vector<std::complex<double>>& data, bool inverse) {
    const std::size_t size = data.size();
    if (size < 2) return;
    for (std::size_t i = 1, j = 0; i < size; ++i) {
        std::size_t bit = size >> 1;
        for (; (j & bit) != 0; bit >>= 1)
            j ^= bit;
        j ^= bit;
        if (i < j) std::swap(data[i], data[j]);
    }
    const auto& table = twiddles(size);
    const double sign = inverse ? -1.0 : 1.0;
    for (std::size_t half = 1; half < size; half <<= 1) {
        const std::complex<double>* stage = table.data() + half - 1;
        for (std::size_t start = 0; start < size; start += 2 * half) {
            std::complex<double>* even = data.data() + start;
            std::complex<double>* odd = even + half;
            for (std::size_t k = 0; k < half; ++k) {
                const double wr = stage[k].real();
                const double wi = sign * stage[k].imag();
                // Written out: the library's complex product checks for infinities each time.
                const double pr = wr * odd[k].real() - wi * odd[k].imag();
                const double pi = wr * odd[k].imag() + wi * odd[k].real();
                const std::complex<double> e = even[k];
                even[k] = {e.real() + pr, e.imag() + pi};
                odd[k] = {e.real() - pr, e.imag() - pi};
            }
        }
    }
}

}  // namespace sorix::testing
