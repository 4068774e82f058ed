#pragma once

#include "CommandLine.h"

namespace sorix {

// Runs Sorix without its panel until it is quit or stopped by SIGINT, SIGTERM or SIGHUP: boosting
// follows the stored settings (after storing what the request asks), and the pipeline is taken
// down before the process ends. Returns the exit status.
int runHeadless(int& argc, char** argv, const RunRequest& request);

}  // namespace sorix
