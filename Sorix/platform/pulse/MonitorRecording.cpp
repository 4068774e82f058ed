#include "MonitorRecording.h"

#include <algorithm>

namespace sorix::pulse {

pa_stream* connectMonitorRecording(pa_context* context, const std::string& name,
                                   const std::string& sinkName, uint32_t rate, uint32_t channels,
                                   double fragmentSeconds) {
    const pa_sample_spec spec{PA_SAMPLE_FLOAT32LE, rate, static_cast<uint8_t>(channels)};
    pa_proplist* properties = pa_proplist_new();
    pa_proplist_sets(properties, PA_PROP_MEDIA_NAME, name.c_str());
    pa_stream* stream =
        pa_stream_new_with_proplist(context, name.c_str(), &spec, nullptr, properties);
    pa_proplist_free(properties);
    if (stream == nullptr) return nullptr;
    pa_buffer_attr attributes{};
    attributes.maxlength = static_cast<uint32_t>(-1);
    const auto frames = std::max<uint32_t>(static_cast<uint32_t>(fragmentSeconds * rate), 1);
    attributes.fragsize = frames * channels * static_cast<uint32_t>(sizeof(float));
    // Asked with the latency adjusted, the fragment is the latency the monitor's sink is held to.
    const auto flags = static_cast<pa_stream_flags_t>(PA_STREAM_ADJUST_LATENCY |
                                                      PA_STREAM_DONT_MOVE | PA_STREAM_START_CORKED);
    const std::string monitor = sinkName + ".monitor";
    if (pa_stream_connect_record(stream, monitor.c_str(), &attributes, flags) < 0) {
        pa_stream_unref(stream);
        return nullptr;
    }
    return stream;
}

}  // namespace sorix::pulse
