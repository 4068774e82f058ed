#include "TapClockAnchor.h"

#include <algorithm>

namespace sorix::pulse {

bool TapClockAnchor::connect(pa_context* context, const std::string& sinkName, uint32_t rate,
                             uint32_t channels, double fragmentSeconds) {
    release();
    const pa_sample_spec spec{PA_SAMPLE_FLOAT32LE, rate, static_cast<uint8_t>(channels)};
    pa_proplist* properties = pa_proplist_new();
    pa_proplist_sets(properties, PA_PROP_MEDIA_NAME, "Sorix tap clock");
    stream_ = pa_stream_new_with_proplist(context, "Sorix tap clock", &spec, nullptr, properties);
    pa_proplist_free(properties);
    if (stream_ == nullptr) return false;
    pa_buffer_attr attributes{};
    attributes.maxlength = static_cast<uint32_t>(-1);
    const auto frames = std::max<uint32_t>(static_cast<uint32_t>(fragmentSeconds * rate), 1);
    attributes.fragsize = frames * channels * static_cast<uint32_t>(sizeof(float));
    const auto flags = static_cast<pa_stream_flags_t>(PA_STREAM_ADJUST_LATENCY |
                                                      PA_STREAM_DONT_MOVE | PA_STREAM_START_CORKED);
    const std::string monitor = sinkName + ".monitor";
    if (pa_stream_connect_record(stream_, monitor.c_str(), &attributes, flags) < 0) {
        release();
        return false;
    }
    return true;
}

void TapClockAnchor::release() {
    if (stream_ == nullptr) return;
    if (PA_STREAM_IS_GOOD(pa_stream_get_state(stream_))) pa_stream_disconnect(stream_);
    pa_stream_unref(stream_);
    stream_ = nullptr;
}

}  // namespace sorix::pulse
