// What is measured in the recordings of the test signal: the clicks on the right channel and the
// continuous tone on the left.
#pragma once

#include <cstddef>
#include <vector>

#include "MonitorTimeline.h"

namespace sorix::bench {

// A click's edge is where it rises through half of its 0.5; a click must follow the last one
// by at least this much.
constexpr float kClickThreshold = 0.25f;
constexpr double kClickRefractorySeconds = 0.1;
// A click passes TO no earlier than this before, and no later than this after, it passed FROM.
constexpr double kEarliestMatchSeconds = -0.005;
constexpr double kLatestMatchSeconds = 0.480;
// A gap is this many frames (2 ms) or more below the floor, in a tone of 0.25.
constexpr float kSilenceFloor = 0.01f;
constexpr std::size_t kGapFrames = 96;

// The rising edges of the clicks, in frames, with the fraction the straight line between two
// frames puts them at.
std::vector<double> clickEdges(const Recording& recording);

struct ClickDelay {
    double sentSeconds;   // when the click passed FROM
    double delaySeconds;  // how much later it passed TO
    bool lost;            // it did not, in the window
};

// Matches each click sent (seconds, one clock) with the first click passed in its window, each
// passed click at most once. Stops at the first click whose window reaches past `passedEnd`, the
// end of the recording of TO.
std::vector<ClickDelay> matchClicks(const std::vector<double>& sent,
                                    const std::vector<double>& passed, double passedEnd);

struct Gap {
    std::size_t firstFrame;
    std::size_t frames;
};

// The runs of near silence in the tone, from `fromFrame` on.
std::vector<Gap> silentGaps(const Recording& recording, std::size_t fromFrame);

}  // namespace sorix::bench
