#pragma once

#include <pulse/pulseaudio.h>

#include <cstdint>
#include <string>

namespace sorix::pulse {

// A recording of a sink's monitor in 32-bit floats, connected corked, that asks the sink for
// blocks of `fragmentSeconds` and may never be moved elsewhere. Loop lock held. The stream, which
// the caller owns, or null when libpulse refuses it.
pa_stream* connectMonitorRecording(pa_context* context, const std::string& name,
                                   const std::string& sinkName, uint32_t rate, uint32_t channels,
                                   double fragmentSeconds);

}  // namespace sorix::pulse
