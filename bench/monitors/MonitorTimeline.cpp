#include "MonitorTimeline.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <map>

namespace sorix::bench {

namespace {

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2.0;
}

}  // namespace

bool loadRecording(const std::string& prefix, Recording& recording) {
    std::ifstream audio(prefix + ".f32", std::ios::binary | std::ios::ate);
    std::ifstream reads(prefix + ".reads");
    std::ifstream reports(prefix + ".reports");
    if (!audio || !reads || !reports) return false;
    const auto bytes = static_cast<std::size_t>(audio.tellg());
    recording.samples.resize(bytes / sizeof(float) / kChannels * kChannels);
    audio.seekg(0);
    audio.read(reinterpret_cast<char*>(recording.samples.data()),
               static_cast<std::streamsize>(recording.samples.size() * sizeof(float)));
    Read read;
    while (reads >> read.frames >> read.arrivalNs)
        recording.reads.push_back(read);
    Report report;
    while (reports >> report.serverUs >> report.writtenFrames >> report.sourceUs >> report.sinkUs)
        recording.reports.push_back(report);
    return audio.good() && !recording.reads.empty();
}

namespace {

// Estimates of the start as (when made, estimate), both in ns of one clock.
StartTime earliestPerSecond(const std::vector<std::pair<double, double>>& estimates,
                            double settleSeconds) {
    StartTime start;
    if (estimates.empty()) return start;
    const double settledNs = estimates.front().first + settleSeconds * 1e9;
    std::map<int64_t, double> earliest;
    for (const auto& [at, estimate] : estimates) {
        if (at < settledNs) continue;
        const auto second = static_cast<int64_t>(std::floor((at - settledNs) / 1e9));
        const auto found = earliest.find(second);
        if (found == earliest.end() || estimate < found->second) earliest[second] = estimate;
    }
    // The last second is cut short by the end of the recording.
    if (earliest.size() > 1) earliest.erase(std::prev(earliest.end()));
    std::vector<double> perSecond;
    for (const auto& [second, estimate] : earliest)
        perSecond.push_back(estimate);
    if (perSecond.empty()) return start;
    start.ns = median(perSecond);
    const auto [lowest, highest] = std::minmax_element(perSecond.begin(), perSecond.end());
    start.spreadNs = *highest - *lowest;
    start.estimates = perSecond.size();
    return start;
}

}  // namespace

StartTime startTime(const Recording& recording, Alignment alignment, double settleSeconds) {
    std::vector<std::pair<double, double>> estimates;
    if (alignment == Alignment::arrival) {
        for (const Read& read : recording.reads) {
            const auto arrival = static_cast<double>(read.arrivalNs);
            estimates.emplace_back(arrival,
                                   arrival - static_cast<double>(read.frames) * 1e9 / kRate);
        }
    } else {
        for (const Report& report : recording.reports) {
            const double at = static_cast<double>(report.serverUs) * 1e3;
            const double playedNs = static_cast<double>(report.writtenFrames) * 1e9 / kRate +
                                    static_cast<double>(report.sourceUs - report.sinkUs) * 1e3;
            estimates.emplace_back(at, at - playedNs);
        }
    }
    return earliestPerSecond(estimates, settleSeconds);
}

}  // namespace sorix::bench
