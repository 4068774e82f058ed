#pragma once

#include <optional>
#include <ostream>
#include <string>

#include "RenderCommandLine.h"

namespace sorix::render {

// Runs the render path over the input file and writes every output. Returns an error message,
// or nothing on success. On failure no output file is left behind: each is written to a
// temporary beside it and renamed only when all are complete.
std::optional<std::string> renderFiles(const RenderOptions& options);

// Prints "frequency level" lines of the equaliser's response.
void printCurve(const CurveOptions& options, std::ostream& out);

}  // namespace sorix::render
