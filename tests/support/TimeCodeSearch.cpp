#include "TimeCodeSearch.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numbers>

#include "Fft.h"

namespace sorix::testing::timecode {

namespace {

constexpr std::int64_t kDecimation = 8;
// Passes below about 1.9 kHz at 48 kHz and is closed before the decimated rate's Nyquist
// frequency, so the copies of source and query agree whatever their phase on the coarse grid.
constexpr double kCutoff = 0.04;
constexpr std::int64_t kTaps = 16 * kDecimation + 1;
// The least overlap of recording and source that a correlation is taken over. Less can be
// enough: the recording's energy outside the overlap counts against the score, so only a
// recording silent around it scores high there, as at the source's ends.
constexpr std::int64_t kLeastOverlap = 128;

const std::vector<double>& lowPass() {
    static const std::vector<double> taps = [] {
        std::vector<double> h(kTaps);
        double sum = 0;
        const double centre = (kTaps - 1) / 2.0;
        for (std::int64_t k = 0; k < kTaps; ++k) {
            const double t = static_cast<double>(k) - centre;
            const double sinc =
                t == 0 ? 2 * kCutoff
                       : std::sin(2 * std::numbers::pi * kCutoff * t) / (std::numbers::pi * t);
            const double hann = 0.5 - 0.5 * std::cos(2 * std::numbers::pi * k / (kTaps - 1));
            h[k] = sinc * hann;
            sum += h[k];
        }
        for (double& tap : h)
            tap /= sum;
        return h;
    }();
    return taps;
}

// The low-passed signal at `frame`, for the coarse grid.
double lowPassedAt(const Track& track, std::int64_t frame) {
    const auto& h = lowPass();
    const std::int64_t first = frame - (kTaps - 1) / 2;
    double sum = 0;
    if (first >= 0 && first + kTaps <= track.size()) {
        const float* x = track.samples().data() + first;
        for (std::int64_t k = 0; k < kTaps; ++k)
            sum += h[k] * x[k];
    } else {
        for (std::int64_t k = 0; k < kTaps; ++k)
            sum += h[k] * track.at(first + k);
    }
    return sum;
}

std::vector<float> decimate(const Track& track, std::int64_t begin, std::int64_t count) {
    std::vector<float> out(static_cast<std::size_t>(count));
    for (std::int64_t j = 0; j < count; ++j)
        out[j] = static_cast<float>(lowPassedAt(track, begin + j * kDecimation));
    return out;
}

}  // namespace

Track::Track(std::span<const float> samples) : samples_(samples) {
    sums_.reserve(samples.size() + 1);
    double sum = 0;
    sums_.push_back(sum);
    for (const float sample : samples)
        sums_.push_back(sum += static_cast<double>(sample) * sample);
}

double Track::energy(std::int64_t begin, std::int64_t end) const {
    begin = std::clamp<std::int64_t>(begin, 0, size());
    end = std::clamp<std::int64_t>(end, begin, size());
    return sums_[end] - sums_[begin];
}

double Track::rms(std::int64_t begin, std::int64_t end) const {
    return end > begin ? std::sqrt(energy(begin, end) / static_cast<double>(end - begin)) : 0.0;
}

double correlation(const Track& recording, const Track& source, std::int64_t begin,
                   std::int64_t length, std::int64_t lag) {
    const std::int64_t from = std::max(begin, -lag);
    const std::int64_t to = std::min(begin + length, source.size() - lag);
    if (to - from < std::min(length, kLeastOverlap)) return -1.0;
    const double recordingEnergy = recording.energy(begin, begin + length);
    const double sourceEnergy = source.energy(from + lag, to + lag);
    if (recordingEnergy <= 0 || sourceEnergy <= 0) return -1.0;
    double sum = 0;
    for (std::int64_t n = from; n < to; ++n)
        sum += recording.at(n) * source.at(n + lag);
    return sum / std::sqrt(recordingEnergy * sourceEnergy);
}

Match bestNear(const Track& recording, const Track& source, std::int64_t begin, std::int64_t length,
               std::int64_t centre, std::int64_t radius) {
    Match best;
    for (std::int64_t lag = centre - radius; lag <= centre + radius; ++lag) {
        const double score = correlation(recording, source, begin, length, lag);
        if (score > best.score) best = {lag, score};
    }
    return best;
}

double gainAt(const Track& recording, const Track& source, std::int64_t begin, std::int64_t length,
              std::int64_t lag) {
    double cross = 0;
    for (std::int64_t n = begin; n < begin + length; ++n)
        cross += recording.at(n) * source.at(n + lag);
    const double sourceEnergy = source.energy(begin + lag, begin + lag + length);
    return sourceEnergy > 0 ? cross / sourceEnergy : 0.0;
}

WholeSourceSearch::WholeSourceSearch(const Track& source, std::int64_t longestQuery)
    : decimated_(decimate(source, 0, (source.size() + kDecimation - 1) / kDecimation)),
      decimatedTrack_(decimated_) {
    // Room for every lag at which a query overlaps the source, without wrapping around.
    const auto size =
        std::bit_ceil(decimated_.size() + static_cast<std::size_t>(longestQuery / kDecimation) + 1);
    spectrum_.assign(size, {});
    std::copy(decimated_.begin(), decimated_.end(), spectrum_.begin());
    fft(spectrum_);
}

Match WholeSourceSearch::find(const Track& recording, const Track& source, std::int64_t begin,
                              std::int64_t length) const {
    const std::int64_t count = length / kDecimation;
    const std::vector<float> query = decimate(recording, begin, count);
    const Track queryTrack(query);
    const double queryEnergy = queryTrack.energy(0, count);
    if (count == 0 || queryEnergy <= 0) return {};

    const auto size = static_cast<std::int64_t>(spectrum_.size());
    // Megabytes, zeroed and mapped anew on every search otherwise.
    thread_local std::vector<std::complex<double>> product;
    product.assign(spectrum_.size(), {});
    std::copy(query.begin(), query.end(), product.begin());
    fft(product);
    for (std::size_t k = 0; k < product.size(); ++k)
        product[k] = spectrum_[k] * std::conj(product[k]);
    fft(product, true);

    // Coarse lags at which enough of the query lies on the source.
    const std::int64_t least = std::min(count, kLeastOverlap / kDecimation);
    Match coarse;
    for (std::int64_t lag = least - count; lag <= decimatedTrack_.size() - least; ++lag) {
        const double sourceEnergy = decimatedTrack_.energy(lag, lag + count);
        if (sourceEnergy <= 0) continue;
        const double cross = product[static_cast<std::size_t>((lag + size) % size)].real() / size;
        const double score = cross / std::sqrt(queryEnergy * sourceEnergy);
        if (score > coarse.score) coarse = {lag, score};
    }
    if (coarse.score <= 0) return {};
    return bestNear(recording, source, begin, length, coarse.lag * kDecimation - begin,
                    2 * kDecimation);
}

}  // namespace sorix::testing::timecode
