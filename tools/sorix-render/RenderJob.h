#pragma once

#include <optional>
#include <string>

#include "RenderCommandLine.h"

namespace sorix::render {

struct RenderFailure {
    std::string message;
    bool usage = false;  // the options do not suit this input, rather than a file going wrong
};

// Runs the render path over the input file, one IO cycle per block, with the processors set up
// as a pipeline of the input's rate sets them, and writes every output. On failure no output
// file is left behind.
std::optional<RenderFailure> renderFiles(const RenderOptions& options);

}  // namespace sorix::render
