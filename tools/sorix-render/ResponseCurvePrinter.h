#pragma once

#include <ostream>

#include "RenderCommandLine.h"

namespace sorix::render {

// Prints the equaliser's response, one "frequency-Hz level-dB" line per grid point.
void printCurve(const CurveOptions& options, std::ostream& out);

}  // namespace sorix::render
