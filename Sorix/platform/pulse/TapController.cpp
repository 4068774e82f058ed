// Making and removing taps, taking a retired one back, and clearing the taps of dead owners.
#include "TapController.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "PipelineTiming.h"
#include "TapSinkProperties.h"

namespace sorix::pulse {

namespace {

constexpr auto kModuleTimeout = std::chrono::seconds(3);

using Lock = PulseConnection::Lock;

}  // namespace

TapController::TapController(PulseConnection& connection, ServerMirror& mirror,
                             ObjectNumbers& numbers, MainQueue& mainQueue, TakeoverJournal& journal,
                             DefaultTakeover::Deliver deliver, Report report)
    : connection_(connection),
      mirror_(mirror),
      numbers_(numbers),
      mainQueue_(mainQueue),
      journal_(journal),
      report_(report),
      defaults_(connection, mirror, journal, std::move(deliver), std::move(report)) {}

// --- Modules ---

std::optional<uint32_t> TapController::loadModule(const std::string& name,
                                                  const std::string& arguments) {
    Lock lock(connection_);
    pa_context* context = connection_.context();
    std::optional<uint32_t> module;
    const Operation loading = connection_.requests().send(
        context, Loaded([&](std::optional<uint32_t> index, const Outcome& outcome) {
            module = index;
            if (outcome.failed()) report_("could not load " + name + ": " + outcome.problem());
        }),
        [&](Loaded& loaded) {
            return pa_context_load_module(context, name.c_str(), arguments.c_str(), Loaded::reply,
                                          &loaded);
        });
    connection_.wait(loading);
    return module;
}

void TapController::unloadModule(uint32_t module, bool wait) {
    pa_context* context = connection_.context();
    if (context == nullptr) return;
    const Operation unloading = connection_.requests().send(
        context, Done([report = report_, module](const Outcome& outcome) {
            if (outcome.failed())
                report("could not unload module " + std::to_string(module) + ": " +
                       outcome.problem());
        }),
        [&](Done& done) { return pa_context_unload_module(context, module, Done::reply, &done); });
    if (wait) connection_.wait(unloading);
}

void TapController::suspendSink(const std::string& sinkName, bool suspended) {
    pa_context* context = connection_.context();
    if (context == nullptr) return;
    const Operation suspending = connection_.requests().send(
        context, Done([report = report_, sinkName, suspended](const Outcome& outcome) {
            if (outcome.failed())
                report(std::string("could not ") + (suspended ? "suspend " : "resume ") + sinkName +
                       ": " + outcome.problem());
        }),
        [&](Done& done) {
            return pa_context_suspend_sink_by_name(context, sinkName.c_str(), suspended ? 1 : 0,
                                                   Done::reply, &done);
        });
    connection_.wait(suspending);
}

void TapController::holdClock(Tap& tap) {
    // A null sink on PulseAudio renders two seconds ahead the moment it loads, with no listener
    // to ask for less. Suspended, it forgets that lead, and it resumes with its clock at now and
    // the anchor's short blocks. PipeWire's null sinks follow its graph's cycles and need none of
    // this; there a suspend would break the links of the streams on the tap, so only an empty
    // tap is ever suspended, and only here.
    suspendSink(tap.sinkName, true);
    const double fragment = PipelineTiming::forServer(false).recordFragmentSeconds;
    if (!tap.clock.connect(connection_.context(), tap.sinkName, tap.rate, tap.channels, fragment))
        report_("could not hold the tap's clock: the server refused a stream");
    suspendSink(tap.sinkName, false);
}

// --- Taps of dead owners ---

void TapController::removeStaleTaps() {
    Lock lock(connection_);
    removeStaleTapsLocked();
}

void TapController::serverMirrored() {
    // Taps left by a Sorix that was killed still hold other programs' streams.
    removeStaleTapsLocked();
}

void TapController::removeStaleTapsLocked() {
    // The server moves the streams of an unloaded sink to the default sink.
    for (const Sink& sink : mirror_.sinks()) {
        if (sink.tapOwner && !processRuns(*sink.tapOwner) && sink.ownerModule != kNoIndex)
            unloadModule(sink.ownerModule, false);
    }
}

void TapController::waitForStaleTapsGone(double timeoutSeconds) const {
    const auto deadline = std::chrono::steady_clock::now() +
                          std::chrono::milliseconds(static_cast<int>(timeoutSeconds * 1000));
    const auto staleLeft = [this] {
        const std::vector<Sink> sinks = mirror_.sinks();
        return std::any_of(sinks.begin(), sinks.end(), [](const Sink& sink) {
            return sink.tapOwner && !processRuns(*sink.tapOwner);
        });
    };
    while (staleLeft() && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
}

// --- Making a tap ---

std::string TapController::freeTapSinkName() const {
    // Another Sorix that still runs keeps its tap; this one then takes a name of its own.
    if (!mirror_.sinkNamed(kTapSinkName)) return kTapSinkName;
    return std::string(kTapSinkName) + "_" + std::to_string(identity_.pid);
}

std::optional<Sink> TapController::waitForTapSink(uint32_t module) const {
    // The sink reaches the mirror through the subscription, a moment after the module loads. It
    // is known by its module: a tap of the same name may still be on its way out.
    const auto deadline = std::chrono::steady_clock::now() + kModuleTimeout;
    for (;;) {
        std::optional<Sink> found;
        for (const Sink& sink : mirror_.sinks()) {
            if (sink.ownerModule == module && sink.tapOwner) found = sink;
        }
        if (found || std::chrono::steady_clock::now() >= deadline) return found;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

OSStatus TapController::create(const TapDescription& description, AudioObjectID& tapID) {
    tapID = kAudioObjectUnknown;
    if (!mirror_.connected()) return kAudioHardwareNotRunningError;
    Tap tap;
    if (const auto output = mirror_.defaultSink(); output && output->sampleRate > 0)
        tap.rate = static_cast<uint32_t>(output->sampleRate);
    {
        Lock lock(connection_);
        if (const auto retired = takeBackRetired(description, tap.rate)) {
            tapID = *retired;
            return kAudioHardwareNoError;
        }
    }
    releaseRetired();
    removeStaleTaps();
    waitForStaleTapsGone(std::chrono::duration<double>(kModuleTimeout).count());
    tap.sinkName = freeTapSinkName();
    tap.uuid = description.uuid;
    tap.keepAudible = description.muteBehavior == TapDescription::MuteBehavior::unmuted;
    tap.excludedProcesses = description.excludedProcesses;
    std::string owner = std::string(kTapOwnerProperty) + "=" + std::to_string(identity_.pid);
    if (identity_.startTime)
        owner +=
            std::string(" ") + kTapOwnerStartProperty + "=" + std::to_string(*identity_.startTime);
    const std::string arguments =
        "sink_name=" + tap.sinkName + " rate=" + std::to_string(tap.rate) +
        " channels=2 format=float32le sink_properties=\"device.description='" + description.name +
        "' device.class=abstract " + owner + "\"";
    const auto module = loadModule("module-null-sink", arguments);
    if (!module) return kAudioHardwareUnspecifiedError;
    tap.module = *module;
    {
        Lock lock(connection_);
        journal_.tapLoaded(tap.module);
    }

    const auto sink = waitForTapSink(tap.module);
    Lock lock(connection_);
    if (!sink) {
        unloadModule(tap.module, true);
        journal_.tapUnloaded(tap.module);
        return kAudioHardwareUnspecifiedError;
    }
    tap.sinkIndex = sink->index;
    tap.sinkName = sink->name;
    if (!mirror_.onPipeWire()) holdClock(tap);
    tap.object = numbers_.next();
    tapID = tap.object;
    taps_[tap.object] = std::move(tap);
    return kAudioHardwareNoError;
}

std::optional<TapController::Source> TapController::sourceWithUUID(const std::string& uuid) const {
    Lock lock(connection_);
    std::optional<Source> source;
    for (const auto& [object, tap] : taps_) {
        if (tap.uuid == uuid) source = Source{tap.sinkName, tap.rate, tap.channels};
    }
    return source;
}

std::optional<AudioStreamBasicDescription> TapController::format(AudioObjectID object) const {
    Lock lock(connection_);
    const auto tap = taps_.find(object);
    if (tap == taps_.end()) return std::nullopt;
    AudioStreamBasicDescription format;
    format.mSampleRate = tap->second.rate;
    format.mFormatID = fourCharCode("lpcm");
    format.mFormatFlags = kLinearPCMFloatPacked;
    format.mChannelsPerFrame = tap->second.channels;
    format.mBitsPerChannel = 32;
    format.mBytesPerFrame = format.mBytesPerPacket = 4 * tap->second.channels;
    format.mFramesPerPacket = 1;
    return format;
}

// --- Removing a tap ---

OSStatus TapController::destroy(AudioObjectID object) {
    Tap tap;
    {
        Lock lock(connection_);
        const auto found = taps_.find(object);
        if (found == taps_.end()) return kAudioHardwareBadObjectError;
        tap = std::move(found->second);
        taps_.erase(found);
    }
    releaseRetired();
    {
        Lock lock(connection_);
        retired_ = std::move(tap);
    }
    mainQueue_.async([this, alive = std::weak_ptr<char>(lifetime_)] {
        if (alive.lock()) releaseRetired();
    });
    return kAudioHardwareNoError;
}

std::optional<AudioObjectID> TapController::takeBackRetired(const TapDescription& description,
                                                            uint32_t rate) {
    if (!retired_) return std::nullopt;
    Tap& tap = *retired_;
    const bool sinkThere = mirror_.sink(tap.sinkIndex).has_value();
    const bool keepAudible = description.muteBehavior == TapDescription::MuteBehavior::unmuted;
    if (!sinkThere || tap.rate != rate || tap.keepAudible != keepAudible ||
        tap.excludedProcesses != description.excludedProcesses)
        return std::nullopt;
    tap.object = numbers_.next();
    tap.uuid = description.uuid;
    const AudioObjectID object = tap.object;
    taps_[object] = std::move(tap);
    retired_.reset();
    return object;
}

void TapController::releaseRetired() {
    std::optional<Tap> tap;
    {
        Lock lock(connection_);
        tap.swap(retired_);
    }
    if (tap) release(*tap);
}

void TapController::release(Tap& tap) {
    Lock lock(connection_);
    tap.clock.release();
    if (tap.module == kNoIndex || connection_.context() == nullptr) return;
    // The user's default first, then each stream home, then the tap: the server handles our
    // requests in order, so a stream that came to the tap as the default output falls back to
    // the user's default when the tap goes.
    defaults_.giveBack(tap.sinkName);
    for (const auto& [input, origin] : tap.moved) {
        journal_.streamForgotten(input);
        const auto current = mirror_.sinkInput(input);
        if (!current || current->sink != tap.sinkIndex || origin.empty()) continue;
        moveSinkInputHome(input, origin);
    }
    for (const auto& [sink, copy] : tap.audibleCopies) {
        if (copy != kNoIndex) unloadModule(copy, false);
    }
    unloadModule(tap.module, true);
    journal_.tapUnloaded(tap.module);
}

void TapController::releaseAll() {
    std::vector<AudioObjectID> taps;
    {
        Lock lock(connection_);
        for (const auto& [object, tap] : taps_)
            taps.push_back(object);
    }
    for (AudioObjectID object : taps)
        destroy(object);
    releaseRetired();
}

void TapController::connectionLost() {
    // A server that comes back has none of our modules; never unload its by old numbers.
    defaults_.connectionLost();
    journal_.serverLost();
    if (retired_) retired_->clock.release();
    retired_.reset();
    refusedMoves_.clear();
    for (auto& [object, tap] : taps_) {
        tap.clock.release();
        tap.module = kNoIndex;
        tap.sinkIndex = kNoIndex;
        tap.moved.clear();
        tap.audibleCopies.clear();
    }
}

}  // namespace sorix::pulse
