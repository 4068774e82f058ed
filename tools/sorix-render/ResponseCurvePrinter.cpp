#include "ResponseCurvePrinter.h"

#include <cstdio>
#include <vector>

namespace sorix::render {

void printCurve(const CurveOptions& options, std::ostream& out) {
    const auto gains = equaliserGains(options.equaliser);
    const std::vector<float> curve =
        EQProcessor::responseCurveDB(gains, options.sampleRate, options.points);
    char line[96];
    for (int i = 0; i < options.points; ++i) {
        std::snprintf(line, sizeof line, "%.2f %.4f\n",
                      EQProcessor::responseCurveFrequency(i, options.points),
                      curve[static_cast<std::size_t>(i)]);
        out << line;
    }
}

}  // namespace sorix::render
