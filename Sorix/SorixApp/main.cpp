// The entry of `sorix`: checks the arguments, then runs until quit or stopped.
#include <iostream>

#include "CommandLine.h"
#include "HeadlessRun.h"

int main(int argc, char** argv) {
    const sorix::CommandLineRequest request = sorix::parseCommandLine(argc, argv);
    if (const auto* error = std::get_if<sorix::UsageError>(&request)) {
        std::cerr << error->message << '\n';
        return 2;
    }
    if (std::holds_alternative<sorix::HelpRequest>(request)) {
        std::cout << sorix::kUsage;
        return 0;
    }
    return sorix::runHeadless(argc, argv, std::get<sorix::RunRequest>(request));
}
