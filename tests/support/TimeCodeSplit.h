#pragma once

#include <cstdint>
#include <utility>

// Where one explanation of a stretch of recording gives way to another: each is a cost per
// frame, the squared error of what it predicts, and the boundary goes where the total is least.
namespace sorix::testing::timecode {

// The frame in [from, to) where `after` takes over from `before` leaving the least error.
template <typename Before, typename After>
std::int64_t split(std::int64_t from, std::int64_t to, Before before, After after) {
    double running = 0;
    double least = 0;
    std::int64_t at = from;
    for (std::int64_t n = from; n < to; ++n) {
        running += before(n) - after(n);
        if (running < least) {
            least = running;
            at = n + 1;
        }
    }
    return at;
}

// The same with a stretch of `middle`, which may be empty, between the two.
template <typename First, typename Middle, typename Last>
std::pair<std::int64_t, std::int64_t> splitInThree(std::int64_t from, std::int64_t to, First first,
                                                   Middle middle, Last last) {
    double firstRunning = 0;
    double firstLeast = 0;
    std::int64_t firstAt = from;
    double middleRunning = 0;
    double least = 0;
    std::pair<std::int64_t, std::int64_t> at{from, from};
    for (std::int64_t n = from; n < to; ++n) {
        const double middleCost = middle(n);
        firstRunning += first(n) - middleCost;
        if (firstRunning < firstLeast) {
            firstLeast = firstRunning;
            firstAt = n + 1;
        }
        middleRunning += middleCost - last(n);
        if (firstLeast + middleRunning < least) {
            least = firstLeast + middleRunning;
            at = {firstAt, n + 1};
        }
    }
    return at;
}

}  // namespace sorix::testing::timecode
