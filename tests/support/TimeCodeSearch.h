#pragma once

#include <complex>
#include <cstdint>
#include <span>
#include <vector>

// The correlation searches behind TimeCodeAnalyser.
namespace sorix::testing::timecode {

// A view of mono samples, with running sums of their squares so that the energy of any stretch
// costs two look-ups. Frames outside the samples read as silence.
class Track {
  public:
    explicit Track(std::span<const float> samples);
    std::span<const float> samples() const { return samples_; }
    std::int64_t size() const { return static_cast<std::int64_t>(samples_.size()); }
    double at(std::int64_t frame) const {
        return frame >= 0 && frame < size() ? samples_[static_cast<std::size_t>(frame)] : 0.0;
    }
    double energy(std::int64_t begin, std::int64_t end) const;
    // Over the whole stretch, the part outside the samples included as silence.
    double rms(std::int64_t begin, std::int64_t end) const;

  private:
    std::span<const float> samples_;
    std::vector<double> sums_;
};

// A source position for a stretch of the recording, as source frame minus recording frame.
struct Match {
    std::int64_t lag = 0;
    double score = -1.0;
};

// The normalised cross-correlation of recording[begin, begin + length) with the source from
// begin + lag, the source's silence beyond its ends included; -1 where too little of the
// stretch lies on the source to trust, or either side is digital silence.
double correlation(const Track& recording, const Track& source, std::int64_t begin,
                   std::int64_t length, std::int64_t lag);
// The best lag within `radius` of `centre`.
Match bestNear(const Track& recording, const Track& source, std::int64_t begin, std::int64_t length,
               std::int64_t centre, std::int64_t radius);
// The gain that scales source onto recording best in the least-squares sense.
double gainAt(const Track& recording, const Track& source, std::int64_t begin, std::int64_t length,
              std::int64_t lag);

// A search through the whole source at once. Correlating at full rate would cost a transform of
// the whole source per search; a low-passed copy at an eighth of the rate finds the place to a
// few frames at an eighth of the cost, and a short search at full rate then finds the frame.
class WholeSourceSearch {
  public:
    WholeSourceSearch(const Track& source, std::int64_t longestQuery);
    WholeSourceSearch(const WholeSourceSearch&) = delete;
    WholeSourceSearch& operator=(const WholeSourceSearch&) = delete;
    // The best match anywhere of recording[begin, begin + length), which must not be longer
    // than the longest query.
    Match find(const Track& recording, const Track& source, std::int64_t begin,
               std::int64_t length) const;

  private:
    std::vector<float> decimated_;
    Track decimatedTrack_;
    std::vector<std::complex<double>> spectrum_;
};

}  // namespace sorix::testing::timecode
