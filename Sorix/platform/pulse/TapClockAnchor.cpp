#include "TapClockAnchor.h"

#include "MonitorRecording.h"

namespace sorix::pulse {

bool TapClockAnchor::connect(pa_context* context, const std::string& sinkName, uint32_t rate,
                             uint32_t channels, double fragmentSeconds) {
    release();
    stream_ = connectMonitorRecording(context, "Sorix tap clock", sinkName, rate, channels,
                                      fragmentSeconds);
    return stream_ != nullptr;
}

void TapClockAnchor::release() {
    if (stream_ == nullptr) return;
    if (PA_STREAM_IS_GOOD(pa_stream_get_state(stream_))) pa_stream_disconnect(stream_);
    pa_stream_unref(stream_);
    stream_ = nullptr;
}

}  // namespace sorix::pulse
