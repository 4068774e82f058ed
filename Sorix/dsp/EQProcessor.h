#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "RenderSpec.h"
#include "TripleBuffer.h"

namespace sorix {

// The six-band equaliser of the render path: a low shelf, four peaking bands and a high shelf at
// fixed frequencies, in series, followed by a soft clipper that keeps the output within full
// scale. Gains are set on the main thread; the render thread picks up each new coefficient set
// whole at the start of a block.
class EQProcessor {
  public:
    static constexpr int bandCount = 6;
    static constexpr int maxChannels = 8;
    static constexpr float maxGainDB = 12.0f;
    // Gains closer to zero than this count as zero: the band is an identity.
    static constexpr float inactiveGainDB = 0.01f;

    enum class Kind : uint8_t { lowShelf, peak, highShelf };

    struct BandSpec {
        Kind kind;
        float freq;
        float q;
    };

    struct Coeff {
        float b0 = 1.0f, b1 = 0.0f, b2 = 0.0f, a1 = 0.0f, a2 = 0.0f;
        friend bool operator==(const Coeff&, const Coeff&) = default;
    };

    enum class Preset : uint8_t { flat, music, bass, treble, voice, movie, custom };
    static constexpr std::array<Preset, 7> allPresets = {
        Preset::flat,  Preset::music, Preset::bass,  Preset::treble,
        Preset::voice, Preset::movie, Preset::custom};
    static std::string_view rawValue(Preset preset);
    static std::string_view title(Preset preset);
    static std::string_view symbolName(Preset preset);
    static const std::array<float, bandCount>& gains(Preset preset);
    static std::optional<Preset> preset(std::string_view rawValue);

    static const std::array<BandSpec, bandCount> bands;
    static const std::array<std::string_view, bandCount> bandLabels;

    // Flat, designed for 48 kHz.
    EQProcessor();

    // Every change below takes effect whole at the start of the next render block, with the
    // filters restarted from silence. Main thread.

    // Designs the filters for the render's sample rate; one that is not a positive finite rate
    // keeps the previous design rate.
    void prepare(const RenderSpec& spec);
    // Restarts the filters from silence, as for an unrelated program.
    void reset();
    // Uses the first six gains, pads with zeros, clamps each to +-12 dB (NaN is 0 dB).
    void setGains(std::span<const float> gains);
    const std::array<float, bandCount>& gains() const noexcept { return gainsDB_; }
    float sampleRate() const noexcept { return sampleRate_; }
    // Runs these filters as they stand, active, until the next change: for tests and
    // experiments with filters the design never makes (unstable ones, NaN). The gains are left
    // as they are.
    void useCoefficients(const std::array<Coeff, bandCount>& coeffs);

    // The set in effect since the last recompute(), as the main thread sees it.
    bool active() const noexcept { return current_.active; }
    const std::array<Coeff, bandCount>& coeffs() const noexcept { return current_.coeffs; }

    // Render thread only: equalises interleaved frames in place. Leaves the buffer untouched
    // while inactive or for more than eight channels.
    void process(float* buffer, int64_t channels, int64_t frames) noexcept;

    static Coeff coefficient(const BandSpec& band, float gainDB, float sampleRate);
    // The summed magnitude response in dB on a log grid from 20 Hz to 20 kHz.
    static std::vector<float> responseCurveDB(std::span<const float> gains, float sampleRate,
                                              int points);
    // The frequency in Hz of grid point index of a curve of that many points.
    static float responseCurveFrequency(int index, int points);

  private:
    // The filters run as a pipeline over the six bands, two channels at a time: lane pairs hold
    // (band, left) and (band, right), four lanes to a vector, three vectors per channel pair.
    static constexpr int lanesPerVector = 4;
    static constexpr int vectorsPerPair = bandCount * 2 / lanesPerVector;
    static constexpr int channelPairs = maxChannels / 2;

    struct LaneCoefficients {
        alignas(16) float b0[lanesPerVector];
        alignas(16) float b1[lanesPerVector];
        alignas(16) float b2[lanesPerVector];
        alignas(16) float a1[lanesPerVector];
        alignas(16) float a2[lanesPerVector];
    };

    struct CoefficientSet {
        bool active = false;
        std::array<Coeff, bandCount> coeffs{};
        std::array<LaneCoefficients, vectorsPerPair> lanes{};
    };

    // Filter memories of one vector of lanes: previous inputs and outputs.
    struct LaneState {
        alignas(16) float x1[lanesPerVector];
        alignas(16) float x2[lanesPerVector];
        alignas(16) float y1[lanesPerVector];
        alignas(16) float y2[lanesPerVector];
    };

    // Rebuilds the coefficients and the active flag from the gains and the design rate.
    void recompute();
    void publish(bool active, const std::array<Coeff, bandCount>& coeffs);
    void processChannelPair(const CoefficientSet& set, float* buffer, int64_t channels,
                            int64_t first, int64_t second, int64_t frames,
                            std::array<LaneState, vectorsPerPair>& state) noexcept;

    std::array<float, bandCount> gainsDB_{};
    float sampleRate_ = static_cast<float>(RenderSpec{}.sampleRate);
    CoefficientSet current_;
    TripleBuffer<CoefficientSet> exchange_;
    // Render thread only: 4 pairs x 3 vectors x 16 floats, the 192 memories of 8 channels.
    std::array<std::array<LaneState, vectorsPerPair>, channelPairs> state_{};
};

}  // namespace sorix
