// The IO cycle: on the streams' thread, for every chunk recorded from the tap, the block renders
// it for every output, and each output's interpolator plays that into its playback stream's
// buffer at the rate its follower steers, so that the output follows its sink's clock. Real-time
// code: no lock, no allocation, no log.
#include <algorithm>
#include <chrono>

#include "AggregateStreams.h"

namespace sorix::pulse {

namespace {

// How much audio a playback stream holds ahead of its sink, from the server's requests: it asks
// for what its sink has taken, so what was written and not yet asked for is still queued. Unlike
// the timing reports, this holds on every server (PipeWire's PulseAudio server reports read
// positions late and in steps of its graph's cycles, which once drained an output while the
// reports still showed a queue), and it costs no request. It is exact at the moment a request
// arrives, when the sink has just taken its block, and only while the queue stays within the
// stream's target length, which is set well above what the pipeline keeps; beyond it, it reads as
// the target length. A queue the sink has read past reads below zero.
double queuedSeconds(pa_stream* stream, std::size_t bytesPerSecond) {
    const pa_buffer_attr* attributes = pa_stream_get_buffer_attr(stream);
    if (attributes == nullptr) return 0;
    const auto writable = static_cast<double>(pa_stream_writable_size(stream));
    return (static_cast<double>(attributes->tlength) - writable) /
           static_cast<double>(bytesPerSecond);
}

}  // namespace

void AggregateStreams::onRecorded(pa_stream*, std::size_t, void* self) {
    static_cast<AggregateStreams*>(self)->pump();
}

void AggregateStreams::onRequested(pa_stream*, std::size_t, void* slot) {
    const auto* output = static_cast<const OutputSlot*>(slot);
    output->aggregate->requested(output->output);
}

void AggregateStreams::pump() {
    const std::size_t frameBytes = plan_.inputChannels * sizeof(float);
    uint32_t widest = plan_.inputChannels;
    for (uint32_t channels : plan_.outputChannels)
        widest = std::max(widest, channels);
    const std::size_t chunkFrames = kMaxChunkSamples / widest;
    for (;;) {
        const void* data = nullptr;
        std::size_t bytes = 0;
        if (pa_stream_peek(record_, &data, &bytes) < 0 || bytes == 0) return;
        if (running_.load(std::memory_order_relaxed) && block_) {
            const auto* samples = static_cast<const float*>(data);
            std::size_t frames = bytes / frameBytes;
            while (frames > 0) {
                const std::size_t done = render(samples, std::min(frames, chunkFrames));
                if (done == 0) break;  // an output cannot take audio now: the rest is dropped
                if (samples != nullptr) samples += done * plan_.inputChannels;
                frames -= done;
            }
        }
        pa_stream_drop(record_);
    }
}

void AggregateStreams::requested(std::size_t output) {
    if (!running_.load(std::memory_order_relaxed)) return;
    const auto now = std::chrono::steady_clock::now();
    const double queued =
        queuedSeconds(playback_[output], plan_.rate * plan_.outputChannels[output] * sizeof(float));
    // What the tap has gathered since its last piece is on its way: counted in, the queue no
    // longer moves in whole pieces, and a drift shows as it builds.
    const std::chrono::duration<double> gathered = now - lastPiece_;
    const double continuous =
        queued + std::min(gathered.count(), 2 * plan_.timing.recordFragmentSeconds);
    trimmer_.report(output, queued, continuous);
    followers_[output].report(continuous);
    // The queue holds the output's frames, each a step of the tap's.
    const double reading =
        sampleTime_ - queued * static_cast<double>(plan_.rate) * interpolators_[output].step();
    positions_.report(output, reading,
                      std::chrono::duration<double>(now.time_since_epoch()).count());
}

std::size_t AggregateStreams::inputFitting(std::size_t output, std::size_t outputFrames) const {
    const RateInterpolator& interpolator = interpolators_[output];
    auto frames = static_cast<std::size_t>(static_cast<double>(outputFrames) * interpolator.step());
    while (frames > 0 && interpolator.maxOutputFrames(frames) > outputFrames)
        --frames;
    return frames;
}

std::size_t AggregateStreams::render(const float* input, std::size_t frames) {
    lastPiece_ = std::chrono::steady_clock::now();
    // Each output's memory comes from its stream, so what the interpolator makes is written in
    // place; the block renders into the output's own buffer before it.
    for (std::size_t i = 0; i < playback_.size(); ++i) {
        const std::size_t frameBytes = plan_.outputChannels[i] * sizeof(float);
        std::size_t bytes = interpolators_[i].maxOutputFrames(frames) * frameBytes;
        if (pa_stream_begin_write(playback_[i], &writeAreas_[i], &bytes) < 0) {
            for (std::size_t j = 0; j < i; ++j)
                pa_stream_cancel_write(playback_[j]);
            return 0;
        }
        frames = std::min(frames, inputFitting(i, bytes / frameBytes));
    }
    if (frames == 0) {
        for (pa_stream* stream : playback_)
            pa_stream_cancel_write(stream);
        return 0;
    }
    inputBuffer_.mNumberChannels = plan_.inputChannels;
    inputBuffer_.mDataByteSize =
        static_cast<uint32_t>(frames * plan_.inputChannels * sizeof(float));
    // A hole in the recording plays as silence.
    inputBuffer_.mData = const_cast<float*>(input != nullptr ? input : silence_.data());
    for (std::size_t i = 0; i < playback_.size(); ++i) {
        outputBuffers_[i].mNumberChannels = plan_.outputChannels[i];
        outputBuffers_[i].mDataByteSize =
            static_cast<uint32_t>(frames * plan_.outputChannels[i] * sizeof(float));
        outputBuffers_[i].mData = rendered_[i].data();
    }
    const AudioBufferList inputList{1, &inputBuffer_};
    AudioBufferList outputList{static_cast<uint32_t>(outputBuffers_.size()), outputBuffers_.data()};
    block_(inputList, outputList);
    sampleTime_ += static_cast<double>(frames);
    for (std::size_t i = 0; i < playback_.size(); ++i)
        play(i, frames);
    trimmer_.advance(frames);
    comparePositions(frames);
    return frames;
}

void AggregateStreams::play(std::size_t output, std::size_t frames) {
    RateInterpolator& interpolator = interpolators_[output];
    RateFollower& follower = followers_[output];
    const std::size_t frameBytes = plan_.outputChannels[output] * sizeof(float);
    auto* area = static_cast<float*>(writeAreas_[output]);
    const std::size_t made = interpolator.process(rendered_[output].data(), frames, area);
    follower.advance(frames);
    interpolator.setStep(1.0 + follower.deviation());
    const std::size_t skipped = trimmer_.takeSkip(output, made);
    const std::size_t gap = trimmer_.takeGap(output);
    // The queue jumps: what the follower measured before no longer holds.
    if (skipped > 0 || gap > 0) follower.restart();
    if (skipped == made) {
        pa_stream_cancel_write(playback_[output]);
        return;
    }
    // A gap is a seek past the end of the queue; the sink plays the hole as silence.
    pa_stream_write(playback_[output], reinterpret_cast<char*>(area) + skipped * frameBytes,
                    (made - skipped) * frameBytes, nullptr, static_cast<int64_t>(gap * frameBytes),
                    PA_SEEK_RELATIVE);
}

void AggregateStreams::comparePositions(std::size_t frames) {
    // Only once every skip and gap has played out: the readings before show the queues without.
    if (!trimmer_.settled()) {
        positions_.restart();
        framesSincePositions_ = 0;
        return;
    }
    framesSincePositions_ += frames;
    if (framesSincePositions_ < static_cast<std::size_t>(kPositionSeconds * plan_.rate) ||
        !positions_.complete())
        return;
    framesSincePositions_ = 0;
    positions_.take(positionFrames_.data());
    trimmer_.positions(positionFrames_.data());
    if (!trimmer_.settled()) return;  // a skip puts the output in step
    // Closer than a skip, each output's rate brings it to the outputs' average: the one behind
    // plays faster, the one ahead slower. Measured against the one that plays latest instead,
    // every output would only ever move down, and as noise in the positions made one and then the
    // other the latest, all queues would walk down together until they had to be refilled.
    for (std::size_t i = 0; i < followers_.size(); ++i)
        followers_[i].alignBy(-positionFrames_[i] / static_cast<double>(plan_.rate));
}

}  // namespace sorix::pulse
