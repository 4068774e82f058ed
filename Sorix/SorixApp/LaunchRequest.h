#pragma once

#include "CommandLine.h"
#include "DesktopServices.h"

namespace sorix {

// What a normal launch does with its command line before the engine exists: stores a boost
// chosen with --boost, or says how to switch boosting on when it is off.
void applyLaunchRequest(DesktopServices& services, const RunRequest& request);

}  // namespace sorix
