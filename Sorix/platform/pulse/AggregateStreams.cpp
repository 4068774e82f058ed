// Setting an aggregate device's streams up, starting, stopping and tearing them down.
#include "AggregateStreams.h"

#include <algorithm>

#include "MonitorRecording.h"

namespace sorix::pulse {

namespace {

uint32_t bytesFor(double seconds, uint32_t rate, uint32_t channels) {
    const auto frames = static_cast<uint32_t>(seconds * rate);
    return std::max<uint32_t>(frames, 1) * channels * static_cast<uint32_t>(sizeof(float));
}

void releaseStream(pa_stream*& stream) {
    if (stream == nullptr) return;
    pa_stream_set_state_callback(stream, nullptr, nullptr);
    pa_stream_set_read_callback(stream, nullptr, nullptr);
    pa_stream_set_write_callback(stream, nullptr, nullptr);
    pa_stream_disconnect(stream);
    pa_stream_unref(stream);
    stream = nullptr;
}

// Owns a property list for one scope.
struct StreamProperties {
    explicit StreamProperties(const std::string& name) : list(pa_proplist_new()) {
        pa_proplist_sets(list, PA_PROP_MEDIA_NAME, name.c_str());
    }
    ~StreamProperties() { pa_proplist_free(list); }
    StreamProperties(const StreamProperties&) = delete;
    StreamProperties& operator=(const StreamProperties&) = delete;
    pa_proplist* list;
};

}  // namespace

AggregateStreams::AggregateStreams(Plan plan, PulseConnection& connection,
                                   AliveChanged aliveChanged, Report report)
    : plan_(std::move(plan)),
      connection_(connection),
      aliveChanged_(std::move(aliveChanged)),
      report_(std::move(report)),
      outputBuffers_(plan_.outputs.size()),
      writeAreas_(plan_.outputs.size()),
      // The trimmer reads each queue as if the tap delivered continuously, which is where it
      // stands when a piece has just arrived: a piece above where it bottoms out.
      trimmer_(plan_.outputs.size(),
               LatencyTrimmer::Settings{.rate = static_cast<double>(plan_.rate),
                                        .targetSeconds = plan_.timing.lowestQueueSeconds +
                                                         plan_.timing.recordFragmentSeconds,
                                        .floorSeconds = plan_.timing.refillBelowSeconds +
                                                        plan_.timing.recordFragmentSeconds}),
      rendered_(plan_.outputs.size(), std::vector<float>(kMaxChunkSamples, 0.0f)),
      interpolators_(plan_.outputs.size()),
      positions_(plan_.outputs.size(), static_cast<double>(plan_.rate)),
      positionFrames_(plan_.outputs.size()) {
    // The trimmer decides where each queue stands; the follower keeps it there against the drift
    // of the output's sink.
    const RateFollower::Settings following{.rate = static_cast<double>(plan_.rate),
                                           .holdsWhereItStarts = true};
    for (std::size_t i = 0; i < plan_.outputs.size(); ++i) {
        outputSlots_.push_back({this, i});
        interpolators_[i].reset(plan_.outputChannels[i]);
        followers_.emplace_back(following);
    }
}

AggregateStreams::~AggregateStreams() {
    running_.store(false, std::memory_order_relaxed);
    release();
}

void AggregateStreams::release() {
    releaseStream(record_);
    for (pa_stream*& stream : playback_)
        releaseStream(stream);
}

bool AggregateStreams::connect() {
    pa_context* context = connection_.context();
    if (context == nullptr) return false;
    const StreamProperties properties(plan_.name);
    record_ = connectMonitorRecording(context, plan_.name, plan_.tapSink, plan_.rate,
                                      plan_.inputChannels, plan_.timing.recordFragmentSeconds);
    if (record_ == nullptr) return false;
    // Nothing is dispatched while the loop lock is held: no state change is missed.
    pa_stream_set_state_callback(record_, &AggregateStreams::onStreamState, this);
    pa_stream_set_read_callback(record_, &AggregateStreams::onRecorded, this);

    for (std::size_t i = 0; i < plan_.outputs.size(); ++i) {
        const uint32_t channels = plan_.outputChannels[i];
        const pa_sample_spec spec{PA_SAMPLE_FLOAT32LE, plan_.rate, static_cast<uint8_t>(channels)};
        pa_channel_map map;
        pa_channel_map_init_auto(&map, channels, PA_CHANNEL_MAP_DEFAULT);
        pa_stream* stream =
            pa_stream_new_with_proplist(context, plan_.name.c_str(), &spec, &map, properties.list);
        if (stream == nullptr) return false;
        playback_.push_back(stream);
        pa_stream_set_state_callback(stream, &AggregateStreams::onStreamState, this);
        // The queue is read when the sink has just taken its block, so that what is read is what
        // the sink has left to play: read at any other moment it would hold audio already taken.
        pa_stream_set_write_callback(stream, &AggregateStreams::onRequested, &outputSlots_[i]);
        pa_buffer_attr attributes{};
        attributes.maxlength = static_cast<uint32_t>(-1);
        // With early requests a sink's own latency follows the request size, not the target
        // length: that is only the yardstick of the queue (see queuedSeconds).
        attributes.tlength = bytesFor(plan_.timing.queueYardstickSeconds, plan_.rate, channels);
        attributes.minreq = bytesFor(plan_.timing.playbackRequestSeconds, plan_.rate, channels);
        // Without prebuffering an output keeps playing on its sink's clock when a chunk comes
        // late: it plays silence, the late audio is lost rather than played late, and the
        // outputs stay where they were in step with each other. startPlayback fills them first.
        attributes.prebuf = 0;
        // Early requests keep each sink's own buffer at one request, whatever the target length.
        const auto flags = static_cast<pa_stream_flags_t>(
            PA_STREAM_EARLY_REQUESTS | PA_STREAM_DONT_MOVE | PA_STREAM_START_CORKED);
        if (pa_stream_connect_playback(stream, plan_.outputs[i].c_str(), &attributes, flags,
                                       nullptr, nullptr) < 0)
            return false;
    }
    return true;
}

// --- Stream states ---

void AggregateStreams::onStreamState(pa_stream*, void* self) {
    static_cast<AggregateStreams*>(self)->streamStateChanged();
}

void AggregateStreams::streamStateChanged() {
    std::size_t ready = 0;
    bool failed = false;
    const auto count = [&](pa_stream* stream) {
        if (stream == nullptr) return;
        const pa_stream_state_t state = pa_stream_get_state(stream);
        ready += state == PA_STREAM_READY ? 1 : 0;
        failed = failed || state == PA_STREAM_FAILED || state == PA_STREAM_TERMINATED;
    };
    count(record_);
    for (pa_stream* stream : playback_)
        count(stream);
    const bool alive = !failed && ready == playback_.size() + 1;
    if (alive_.exchange(alive, std::memory_order_relaxed) != alive) aliveChanged_();
}

// --- Start and stop ---

void AggregateStreams::setBlock(AudioDeviceIOBlock block) {
    if (!block) running_.store(false, std::memory_order_relaxed);
    block_ = std::move(block);
}

Done AggregateStreams::reporting(const char* what) const {
    return Done([report = report_, what, name = plan_.name](const Outcome& outcome) {
        if (outcome.failed()) report(name + ": could not " + what + ": " + outcome.problem());
    });
}

void AggregateStreams::cork(pa_stream* stream, bool corked, bool wait) {
    if (stream == nullptr || pa_stream_get_state(stream) != PA_STREAM_READY) return;
    const Operation corking = connection_.requests().send(
        pa_stream_get_context(stream), reporting(corked ? "pause a stream" : "start a stream"),
        [&](Done& done) { return pa_stream_cork(stream, corked ? 1 : 0, Done::reply, &done); });
    if (wait) connection_.wait(corking);
}

void AggregateStreams::flush(pa_stream* stream) {
    connection_.requests().send(
        pa_stream_get_context(stream), reporting("empty an output's queue"),
        [&](Done& done) { return pa_stream_flush(stream, Done::reply, &done); });
}

void AggregateStreams::startRecording() {
    // Our recording runs before any stream is moved onto the tap, so that what the streams play
    // there from the first moment is recorded rather than played into the tap's monitor unheard.
    // The moves go over another connection, so the server must have started the recording
    // before they are sent.
    cork(record_, false, true);
}

void AggregateStreams::startPlayback() {
    // Every output starts from the same queue of silence, uncorked together, so they start in
    // step and each has the trimmer's target before the first chunk arrives.
    for (std::size_t i = 0; i < playback_.size(); ++i) {
        pa_stream* stream = playback_[i];
        if (pa_stream_get_state(stream) != PA_STREAM_READY) continue;
        flush(stream);
        const std::size_t bytes = std::min<std::size_t>(
            silence_.size() * sizeof(float),
            bytesFor(plan_.timing.lowestQueueSeconds, plan_.rate, plan_.outputChannels[i]));
        pa_stream_write(stream, silence_.data(), bytes, nullptr, 0, PA_SEEK_RELATIVE);
    }
    running_.store(true, std::memory_order_relaxed);
    for (pa_stream* stream : playback_)
        cork(stream, false, false);
}

void AggregateStreams::stop() {
    running_.store(false, std::memory_order_relaxed);
    for (pa_stream* stream : playback_)
        cork(stream, true, false);
    cork(record_, true, false);
}

}  // namespace sorix::pulse
