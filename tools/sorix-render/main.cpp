// sorix-render: Sorix's render path on audio files, for listening tests and support.

#include <iostream>
#include <string>
#include <vector>

#include "RenderCommandLine.h"
#include "RenderJob.h"

int main(int argc, char** argv) {
    using namespace sorix::render;
    const Command command = parseCommandLine(std::vector<std::string>(argv + 1, argv + argc));
    if (std::holds_alternative<HelpRequest>(command)) {
        std::cout << usageText;
        return 0;
    }
    if (const auto* error = std::get_if<UsageError>(&command)) {
        std::cerr << "sorix-render: " << error->message << " (see --help)\n";
        return 2;
    }
    if (const auto* curve = std::get_if<CurveOptions>(&command)) {
        printCurve(*curve, std::cout);
        return 0;
    }
    if (const auto failure = renderFiles(std::get<RenderOptions>(command))) {
        std::cerr << "sorix-render: " << *failure << "\n";
        return 1;
    }
    return 0;
}
