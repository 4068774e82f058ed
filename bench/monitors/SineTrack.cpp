#include "SineTrack.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace sorix::bench {

namespace {

// Least squares of x = a cos(wn) + b sin(wn) + c over one block, by the normal equations.
struct Fit {
    double a = 0, b = 0, c = 0, residual = 0;
};

Fit fitBlock(const Recording& recording, int channel, double omega, std::size_t first,
             std::size_t frames) {
    std::array<std::array<double, 4>, 3> m{};  // the 3x3 system with its right-hand side
    for (std::size_t n = first; n < first + frames; ++n) {
        const double phase = omega * static_cast<double>(n);
        const std::array<double, 3> basis{std::cos(phase), std::sin(phase), 1.0};
        const double x = recording.at(n, channel);
        for (int i = 0; i < 3; ++i) {
            for (int j = 0; j < 3; ++j)
                m[i][j] += basis[i] * basis[j];
            m[i][3] += basis[i] * x;
        }
    }
    // Gaussian elimination; the system is well conditioned over a block of whole-ish periods.
    for (int i = 0; i < 3; ++i)
        for (int k = i + 1; k < 3; ++k) {
            const double factor = m[k][i] / m[i][i];
            for (int j = i; j < 4; ++j)
                m[k][j] -= factor * m[i][j];
        }
    std::array<double, 3> solution{};
    for (int i = 2; i >= 0; --i) {
        double sum = m[i][3];
        for (int j = i + 1; j < 3; ++j)
            sum -= m[i][j] * solution[j];
        solution[i] = sum / m[i][i];
    }
    Fit fit{solution[0], solution[1], solution[2], 0};
    double squares = 0;
    for (std::size_t n = first; n < first + frames; ++n) {
        const double phase = omega * static_cast<double>(n);
        const double error =
            recording.at(n, channel) - (fit.a * std::cos(phase) + fit.b * std::sin(phase) + fit.c);
        squares += error * error;
    }
    fit.residual = std::sqrt(squares / static_cast<double>(frames));
    return fit;
}

double median(std::vector<double> values) {
    if (values.empty()) return 0;
    auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

}  // namespace

std::vector<SineBlock> trackSine(const Recording& recording, int channel, double frequency,
                                 std::size_t fromFrame, std::size_t blockFrames) {
    const double omega = 2 * std::numbers::pi * frequency / kRate;
    const double period = kRate / frequency;
    std::vector<SineBlock> blocks;
    for (std::size_t first = fromFrame; first + blockFrames <= recording.frames();
         first += blockFrames) {
        const Fit fit = fitBlock(recording, channel, omega, first, blockFrames);
        const double amplitude = std::hypot(fit.a, fit.b);
        // x = A cos(wn + theta): the source's frame n + theta / w plays at frame n.
        double lead = std::atan2(-fit.b, fit.a) / omega;
        if (!blocks.empty()) {
            const double previous = blocks.back().lead;
            lead += period * std::round((previous - lead) / period);
        }
        blocks.push_back({first, lead, amplitude, amplitude > 0 ? fit.residual / amplitude : 1.0});
    }
    return blocks;
}

std::vector<Discontinuity> discontinuities(const std::vector<SineBlock>& blocks,
                                           double toleranceFrames, double maxResidual) {
    std::vector<double> amplitudes;
    for (const SineBlock& block : blocks)
        amplitudes.push_back(block.amplitude);
    const double quiet = median(amplitudes) / 2;

    std::vector<Discontinuity> found;
    std::size_t i = 2;
    while (i < blocks.size()) {
        const auto broken = [&](std::size_t k) {
            const double expected = 2 * blocks[k - 1].lead - blocks[k - 2].lead;
            return std::abs(blocks[k].lead - expected) > toleranceFrames ||
                   blocks[k].amplitude < quiet || blocks[k].residual > maxResidual;
        };
        if (!broken(i)) {
            ++i;
            continue;
        }
        // The run of broken blocks, measured from the straight line before it to the first
        // whole block after it.
        const std::size_t start = i;
        while (i < blocks.size() &&
               (blocks[i].amplitude < quiet || blocks[i].residual > maxResidual))
            ++i;
        // A jump inside a block moves that block's lead part of the way: the next block shows it
        // whole.
        if (i == start) ++i;
        const double slope = blocks[start - 1].lead - blocks[start - 2].lead;
        double jump = 0;
        if (i < blocks.size()) {
            const double expected =
                blocks[start - 1].lead + slope * static_cast<double>(i - start + 1);
            jump = blocks[i].lead - expected;
        }
        found.push_back({blocks[start].firstFrame, jump});
        // Two blocks past it, so that the line the next check draws is whole again.
        i += 2;
    }
    return found;
}

std::vector<double> offsetsBehind(const std::vector<SineBlock>& from,
                                  const std::vector<SineBlock>& to, double shift, double frequency,
                                  std::size_t blockFrames) {
    const double period = kRate / frequency;
    std::vector<double> offsets;
    for (const SineBlock& block : from) {
        // The block of `to` that passed its sink nearest this one. A lead holds for its whole
        // block: the source frame playing at any frame n of it is n + lead.
        const double m = static_cast<double>(block.firstFrame) - shift;
        const double index = std::round(m / static_cast<double>(blockFrames));
        if (index < 0 || index >= static_cast<double>(to.size())) continue;
        const SineBlock& other = to[static_cast<std::size_t>(index)];
        // At `from`'s frame n it plays n + lead; `to`, at its frame n - shift, plays that less its
        // own lead and the shift.
        const double behind = block.lead - other.lead + shift;
        offsets.push_back(behind - period * std::round(behind / period));
    }
    return offsets;
}

double driftPpm(const std::vector<SineBlock>& blocks) {
    if (blocks.size() < 2) return 0;
    double meanX = 0, meanY = 0;
    for (const SineBlock& block : blocks) {
        meanX += static_cast<double>(block.firstFrame);
        meanY += block.lead;
    }
    meanX /= static_cast<double>(blocks.size());
    meanY /= static_cast<double>(blocks.size());
    double xy = 0, xx = 0;
    for (const SineBlock& block : blocks) {
        const double dx = static_cast<double>(block.firstFrame) - meanX;
        xy += dx * (block.lead - meanY);
        xx += dx * dx;
    }
    return xx > 0 ? xy / xx * 1e6 : 0;
}

}  // namespace sorix::bench
