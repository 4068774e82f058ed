#pragma once

// Two outputs that are the two halves of one four-channel sink, so that one recording of it
// shows both sample for sample, and the lag between them.
#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "PulseClients.h"

namespace sorix::testing {

constexpr int kRate = 48000;

inline std::string speakerPairs() {
    return "load-module module-null-sink sink_name=room channels=4 rate=48000 "
           "channel_map=front-left,front-right,rear-left,rear-right "
           "sink_properties=\"device.description=Room device.class=abstract\"\n"
           "load-module module-remap-sink sink_name=front remix=no master=room channels=2 "
           "master_channel_map=front-left,front-right channel_map=front-left,front-right "
           "sink_properties=\"device.description=Front device.bus=usb device.class=sound\"\n"
           "load-module module-remap-sink sink_name=rear remix=no master=room channels=2 "
           "master_channel_map=rear-left,rear-right channel_map=front-left,front-right "
           "sink_properties=\"device.description=Rear device.bus=usb device.class=sound\"\n"
           "load-module module-null-sink sink_name=speakers rate=48000 "
           "sink_properties=\"device.description=Speakers device.bus=pci device.class=sound\"\n"
           "set-default-sink speakers\n";
}

// How many frames `later` trails `earlier` by, searched within ±`range`: the peak of their
// cross-correlation over a quarter second from `start`.
inline int lagBetween(const std::vector<float>& earlier, const std::vector<float>& later,
                      std::size_t start, int range) {
    const auto length = static_cast<std::size_t>(kRate / 4);
    int best = 0;
    double bestScore = -1;
    for (int lag = -range; lag <= range; ++lag) {
        double score = 0;
        for (std::size_t n = start; n < start + length; ++n)
            score += static_cast<double>(earlier[n]) * later[n + lag];
        if (score > bestScore) {
            bestScore = score;
            best = lag;
        }
    }
    return best;
}

// The lags of consecutive quarter seconds: a recording can start in a stall of the test's own
// clients, which says nothing of the outputs.
inline std::vector<int> lagsAlong(const std::vector<float>& earlier,
                                  const std::vector<float>& later, int range) {
    std::vector<int> lags;
    const auto margin = static_cast<std::size_t>(range);
    for (std::size_t start = margin; start + kRate / 4 + margin <= earlier.size();
         start += kRate / 4)
        lags.push_back(lagBetween(earlier, later, start, range));
    return lags;
}

inline int median(std::vector<int> values) {
    std::nth_element(values.begin(), values.begin() + values.size() / 2, values.end());
    return values[values.size() / 2];
}

// The front and rear left channels as the room's monitor recorded them together.
inline std::pair<std::vector<float>, std::vector<float>> recordBothPairs(double seconds) {
    const auto room = recordSink("room", 4, seconds, "front-left,front-right,rear-left,rear-right");
    if (!room) return {};
    std::vector<float> front, rear;
    for (std::size_t frame = 0; frame + 3 < room->size(); frame += 4) {
        front.push_back((*room)[frame]);
        rear.push_back((*room)[frame + 2]);
    }
    return {front, rear};
}

}  // namespace sorix::testing
