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
    const auto whole = [&](std::size_t k) {
        return blocks[k].amplitude >= quiet && blocks[k].residual <= maxResidual;
    };
    // The line through blocks `first` and `first + 1`, at block `at`.
    const auto line = [&](std::size_t first, std::size_t at) {
        const double slope = blocks[first + 1].lead - blocks[first].lead;
        return blocks[first].lead +
               slope * (static_cast<double>(at) - static_cast<double>(first));
    };

    std::vector<Discontinuity> found;
    // A block where the lead leaves its line may be one with a jump inside it, or where the rate
    // changed, or just after either; the lines drawn from whole blocks a little way either side
    // tell which. Lines that cross between them are one lead whose slope changed; lines that do
    // not are a lead that moved.
    constexpr std::size_t kBefore = 4;
    // A block with a jump inside it leaves the line by part of the jump, and the next one shows
    // the rest against a line through it: a closer look begins at a fraction of the tolerance.
    const double suspicious = toleranceFrames / 4;
    std::size_t i = kBefore;
    while (i < blocks.size()) {
        const double expected = line(i - 2, i);
        if (whole(i) && std::abs(blocks[i].lead - expected) <= suspicious) {
            ++i;
            continue;
        }
        const std::size_t start = i;
        while (i < blocks.size() && !whole(i))
            ++i;
        const bool broken = i > start;
        if (!broken) ++i;  // the block itself may hold the jump
        if (i + 1 >= blocks.size()) {
            if (broken) found.push_back({blocks[start].firstFrame, 0});
            break;
        }
        const std::size_t left = start - kBefore + 1;  // its line through left and left + 1
        const double atLeft = line(i, left + 1) - blocks[left + 1].lead;
        const double atRight = blocks[i].lead - line(left, i);
        const bool crossed = (atLeft > 0) != (atRight > 0) ||
                             std::min(std::abs(atLeft), std::abs(atRight)) <= toleranceFrames;
        if (broken || !crossed) {
            found.push_back({blocks[start].firstFrame, (atLeft + atRight) / 2});
            // Two blocks past it, so that the line the next check draws is whole again.
            i += 2;
        }
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
