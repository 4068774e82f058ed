#pragma once

#include <pulse/pulseaudio.h>

#include <string>

namespace sorix::pulse {

// Keeps a PulseAudio null sink's blocks short for as long as it lives. Such a sink renders as
// far ahead as the latency its listeners ask for allows, and when none asks (no recording yet,
// or for the moment between one recording going and the next coming) it renders two seconds at
// once: audio that a stream on it then loses, followed by as long a silence on its monitor while
// its clock catches up. A corked recording on its monitor that asks for short fragments moves no
// audio and costs nothing, yet holds the sink to that latency from before the first stream is
// moved onto it until it goes.
class TapClockAnchor {
  public:
    TapClockAnchor() = default;
    ~TapClockAnchor() = default;  // release() first, with the loop lock held
    TapClockAnchor(TapClockAnchor&& other) noexcept : stream_(other.stream_) {
        other.stream_ = nullptr;
    }
    TapClockAnchor& operator=(TapClockAnchor&& other) noexcept {
        std::swap(stream_, other.stream_);
        return *this;
    }
    TapClockAnchor(const TapClockAnchor&) = delete;
    TapClockAnchor& operator=(const TapClockAnchor&) = delete;

    // Loop lock held. False when libpulse refuses the stream.
    bool connect(pa_context* context, const std::string& sinkName, uint32_t rate, uint32_t channels,
                 double fragmentSeconds);
    // Loop lock held. Forgets a stream whose connection is gone as well.
    void release();

  private:
    pa_stream* stream_ = nullptr;
};

}  // namespace sorix::pulse
