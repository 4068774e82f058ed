#include "TimeCode.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <sstream>

namespace sorix::testing {

namespace {

// splitmix64: small, and its sequence is fixed by the seed alone, unlike the standard
// library's distributions, whose algorithms differ between implementations.
class Noise {
  public:
    explicit Noise(std::uint64_t seed) : state_(seed) {}
    double next() {
        std::uint64_t z = (state_ += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        z ^= z >> 31;
        return static_cast<double>(z >> 11) * 0x1.0p-52 - 1.0;
    }

  private:
    std::uint64_t state_;
};

// A second-order section from the audio EQ cookbook, in double precision.
class Biquad {
  public:
    static Biquad lowPass(double frequency, double q, int rate) {
        return design(frequency, q, rate, false);
    }
    static Biquad highPass(double frequency, double q, int rate) {
        return design(frequency, q, rate, true);
    }
    double process(double x) {
        const double y = b0_ * x + b1_ * x1_ + b2_ * x2_ - a1_ * y1_ - a2_ * y2_;
        x2_ = x1_;
        x1_ = x;
        y2_ = y1_;
        y1_ = y;
        return y;
    }

  private:
    static Biquad design(double frequency, double q, int rate, bool high) {
        const double w = 2 * std::numbers::pi * frequency / rate;
        const double alpha = std::sin(w) / (2 * q);
        const double a0 = 1 + alpha;
        const double cosine = std::cos(w);
        Biquad section;
        section.b1_ = (high ? -(1 + cosine) : 1 - cosine) / a0;
        section.b0_ = section.b2_ = (high ? 1 + cosine : 1 - cosine) / 2 / a0;
        section.a1_ = -2 * cosine / a0;
        section.a2_ = (1 - alpha) / a0;
        return section;
    }
    double b0_ = 1, b1_ = 0, b2_ = 0, a1_ = 0, a2_ = 0;
    double x1_ = 0, x2_ = 0, y1_ = 0, y2_ = 0;
};

void describeRuns(std::ostringstream& out, const TimeCodeReport& report, const char* kind,
                  const std::vector<TimeCodeRun>& runs) {
    for (const TimeCodeRun& run : runs)
        out << kind << " at recording frame " << run.recordingStart << ": " << run.frames
            << " frames (" << report.milliseconds(run.frames) << " ms)\n";
}

void describeJumps(std::ostringstream& out, const TimeCodeReport& report, const char* kind,
                   const std::vector<TimeCodeJump>& jumps) {
    for (const TimeCodeJump& jump : jumps)
        out << kind << " at recording frame " << jump.recordingPosition << ": source "
            << jump.sourceFrom << " -> " << jump.sourceTo << " (" << jump.frames() << " frames, "
            << report.milliseconds(jump.frames()) << " ms)\n";
}

}  // namespace

std::vector<float> makeTimeCode(double seconds, int rate, std::uint64_t seed, float peak) {
    const auto frames = static_cast<std::size_t>(std::llround(seconds * rate));
    Noise noise(seed);
    // Fourth-order Butterworth low pass, second-order high pass.
    const double top = std::min(8000.0, 0.4 * rate);
    Biquad filters[] = {Biquad::highPass(150, std::numbers::sqrt2 / 2, rate),
                        Biquad::lowPass(top, 0.5412, rate), Biquad::lowPass(top, 1.3066, rate)};
    const auto filtered = [&] {
        double x = noise.next();
        for (Biquad& filter : filters)
            x = filter.process(x);
        return x;
    };
    // The filters settle first, so the signal starts at its steady level.
    for (int i = 0; i < rate / 10; ++i)
        filtered();
    std::vector<double> samples(frames);
    double largest = 0;
    for (double& sample : samples) {
        sample = filtered();
        largest = std::max(largest, std::fabs(sample));
    }
    std::vector<float> signal(frames);
    const double scale = largest > 0 ? peak / largest : 0.0;
    for (std::size_t i = 0; i < frames; ++i)
        signal[i] = static_cast<float>(samples[i] * scale);
    return signal;
}

std::vector<float> interleave(std::span<const float> mono, int channels) {
    std::vector<float> out;
    out.reserve(mono.size() * static_cast<std::size_t>(channels));
    for (const float sample : mono)
        out.insert(out.end(), static_cast<std::size_t>(channels), sample);
    return out;
}

std::vector<float> channelOf(std::span<const float> interleaved, int channels, int channel) {
    std::vector<float> out;
    out.reserve(interleaved.size() / static_cast<std::size_t>(channels));
    for (std::size_t i = static_cast<std::size_t>(channel); i < interleaved.size();
         i += static_cast<std::size_t>(channels))
        out.push_back(interleaved[i]);
    return out;
}

std::int64_t TimeCodeReport::lostFrames() const {
    std::int64_t frames = 0;
    for (const TimeCodeJump& skip : skips)
        frames += skip.frames();
    return frames;
}

std::int64_t TimeCodeReport::gapFrames() const {
    std::int64_t frames = 0;
    for (const TimeCodeRun& gap : gaps)
        frames += gap.frames;
    return frames;
}

std::int64_t TimeCodeReport::unmatchedFrames() const {
    std::int64_t frames = 0;
    for (const TimeCodeRun& run : unmatched)
        frames += run.frames;
    return frames;
}

std::string describe(const TimeCodeReport& report) {
    std::ostringstream out;
    if (!report.heard()) {
        out << "source not heard\n";
    } else {
        out << "heard source frames " << report.firstSourceFrame() << " to "
            << report.lastSourceFrame() << " at recording frames " << report.firstHeardAt()
            << " to " << report.lastHeardAt() << "\n";
    }
    for (const TimeCodeSegment& segment : report.segments)
        out << "segment at recording frame " << segment.recordingStart << ": " << segment.frames
            << " frames of source " << segment.sourceStart << " to " << segment.sourceEnd << "\n";
    describeRuns(out, report, "gap", report.gaps);
    describeJumps(out, report, "skip", report.skips);
    describeJumps(out, report, "repeat", report.repeats);
    describeRuns(out, report, "unmatched", report.unmatched);
    out << "lost " << report.lostFrames() << " frames (" << report.milliseconds(report.lostFrames())
        << " ms)\n";
    return out.str();
}

}  // namespace sorix::testing
