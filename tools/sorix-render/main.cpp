// sorix-render: Sorix's render path on audio files, for listening tests and support.

#include <iostream>
#include <string>
#include <vector>

#include "RenderCommandLine.h"
#include "RenderJob.h"
#include "ResponseCurvePrinter.h"

namespace {

constexpr int kFailed = 1;
constexpr int kUsageMistake = 2;

int fail(const std::string& message, int status) {
    std::cerr << "sorix-render: " << message << "\n";
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    using namespace sorix::render;
    const Command command = parseCommandLine(std::vector<std::string>(argv + 1, argv + argc));
    if (std::holds_alternative<HelpRequest>(command)) {
        std::cout << usageText;
        return 0;
    }
    if (const auto* error = std::get_if<UsageError>(&command))
        return fail(error->message + " (see --help)", kUsageMistake);
    if (const auto* curve = std::get_if<CurveOptions>(&command)) {
        printCurve(*curve, std::cout);
        std::cout.flush();
        return std::cout ? 0 : fail("cannot write the curve", kFailed);
    }
    if (const auto failure = renderFiles(std::get<RenderOptions>(command)))
        return fail(failure->message, failure->usage ? kUsageMistake : kFailed);
    return 0;
}
