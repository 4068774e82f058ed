#pragma once

#include "CommandLine.h"

namespace sorix {

// Runs Sorix on a desktop until it is quit or stopped: the tray icon and the panel, the engine
// following the stored settings (after storing what the request asks). Returns the exit status.
int runDesktop(int& argc, char** argv, const RunRequest& request);

}  // namespace sorix
