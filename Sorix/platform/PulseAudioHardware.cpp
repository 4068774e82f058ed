// The façade: the AudioHardware seam on the parts in pulse/. The mirror connection keeps the
// server's state and runs the tap controller; the streams connection runs the aggregate devices
// and their IO cycles and nothing else.
#include "PulseAudioHardware.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <thread>

#include "Logger.h"
#include "pulse/GuardianLink.h"
#include "pulse/ListenerTable.h"
#include "pulse/MirrorFeed.h"
#include "pulse/PulseConnection.h"
#include "pulse/ServerMirror.h"
#include "pulse/StreamSet.h"
#include "pulse/TapController.h"

namespace sorix {

using pulse::ServerMirror;

struct PulseAudioHardware::Parts final : pulse::MirrorFeed::Events,
                                         pulse::PulseConnection::Observer {
    Parts(MainQueue& queue, std::shared_ptr<LogSink> sink, const std::string& guardianProgram)
        : mainQueue(queue),
          log("PulseAudio", sink ? std::move(sink) : std::make_shared<StreamLogSink>()),
          guardian(
              guardianProgram.empty()
                  ? nullptr
                  : pulse::GuardianLink::start(
                        guardianProgram, [this](const std::string& problem) { report(problem); })),
          taps(
              control, mirror, numbers, mainQueue,
              guardian ? static_cast<pulse::TakeoverJournal&>(*guardian) : noJournal,
              [this](const std::vector<pulse::Change>& changes) { listeners.deliver(changes); },
              [this](const std::string& problem) { report(problem); }),
          streams(
              audio, numbers,
              [this](AudioObjectID device) {
                  listeners.deliver({{device, Selector::isAlive}});
              },
              [this](const std::string& problem) { report(problem); }),
          feed(control, mirror, *this) {}

    // The mirror's events, on the mirror connection's thread.
    void mirrorChanged(const std::vector<pulse::Change>& changes) override {
        listeners.deliver(changes);
    }
    void sinkInputStored(uint32_t index) override { taps.sinkInputStored(index); }
    void sinkInputRemoved(uint32_t index) override { taps.sinkInputRemoved(index); }
    void sinkRemoved(uint32_t) override { taps.sinkRemoved(); }
    void serverInfoStored() override { taps.serverInfoStored(); }
    void serverMirrored() override { taps.serverMirrored(); }
    void serverLost() override { taps.connectionLost(); }

    // The streams connection, on its thread: its client is this program's, and no process.
    void connectionReady(pa_context* context) override {
        listeners.deliver(mirror.setOwnClient(ServerMirror::OwnConnection::streams,
                                              pa_context_get_index(context)));
    }
    void connectionLost() override {
        listeners.deliver(
            mirror.setOwnClient(ServerMirror::OwnConnection::streams, pulse::kNoIndex));
    }

    // Failures nobody waits for are logged on the main queue, where the log is written.
    void report(const std::string& problem) const {
        mainQueue.async([log = log, problem] { log.error("%s", problem); });
    }

    MainQueue& mainQueue;
    const Logger log;
    pulse::ObjectNumbers numbers;
    pulse::ListenerTable listeners{mainQueue};
    ServerMirror mirror{numbers};
    pulse::PulseConnection control{"sorix-pulse"};
    pulse::PulseConnection audio{"sorix-pulse-io"};
    pulse::NoJournal noJournal;
    std::unique_ptr<pulse::GuardianLink> guardian;
    pulse::TapController taps;
    pulse::StreamSet streams;
    pulse::MirrorFeed feed;
};

PulseAudioHardware::PulseAudioHardware(MainQueue& mainQueue, double connectTimeoutSeconds,
                                       std::shared_ptr<LogSink> log,
                                       const std::string& guardianProgram)
    : parts_(std::make_unique<Parts>(mainQueue, std::move(log), guardianProgram)) {
    parts_->control.start(parts_->feed);
    parts_->audio.start(*parts_);
    waitUntilConnected(connectTimeoutSeconds);
}

PulseAudioHardware::~PulseAudioHardware() {
    // Whatever the engine left running goes now, so no stream stays captured by a dead tap.
    parts_->streams.destroyAll();
    parts_->taps.releaseAll();
    parts_->audio.stop();
    parts_->control.stop();
}

bool PulseAudioHardware::isConnected() const {
    return parts_->mirror.connected() && parts_->audio.ready();
}

bool PulseAudioHardware::waitUntilConnected(double timeoutSeconds) const {
    const auto deadline = std::chrono::steady_clock::now() +
                          std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                              std::chrono::duration<double>(timeoutSeconds));
    while (!isConnected()) {
        if (std::chrono::steady_clock::now() >= deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

int32_t PulseAudioHardware::currentProcessID() const { return static_cast<int32_t>(::getpid()); }

// --- Properties and listeners ---

OSStatus PulseAudioHardware::getPropertyData(AudioObjectID object,
                                             const AudioObjectPropertyAddress& address,
                                             const PropertyQualifier& qualifier,
                                             PropertyValue& value) const {
    const OSStatus mirrored =
        parts_->mirror.read(object, address, qualifier, currentProcessID(), value);
    if (mirrored != kAudioHardwareBadObjectError) return mirrored;
    if (const auto format = parts_->taps.format(object)) {
        if (address.mSelector != Selector::tapFormat) return kAudioHardwareUnknownPropertyError;
        value = *format;
        return kAudioHardwareNoError;
    }
    return parts_->streams.read(object, address, value);
}

OSStatus PulseAudioHardware::isPropertySettable(AudioObjectID object,
                                                const AudioObjectPropertyAddress& address,
                                                bool& settable) const {
    PropertyValue value;
    const OSStatus status = getPropertyData(object, address, {}, value);
    if (status != kAudioHardwareNoError) return status;
    settable =
        object != kAudioObjectSystemObject && address.mSelector == Selector::virtualMainVolume;
    return kAudioHardwareNoError;
}

OSStatus PulseAudioHardware::setPropertyData(AudioObjectID object,
                                             const AudioObjectPropertyAddress& address,
                                             const PropertyValue& value) {
    if (address.mSelector != Selector::virtualMainVolume)
        return kAudioHardwareIllegalOperationError;
    const auto* volume = std::get_if<float>(&value);
    if (volume == nullptr) return kAudioHardwareBadPropertySizeError;
    if (!parts_->mirror.connected()) return kAudioHardwareNotRunningError;
    const auto sink = parts_->mirror.sinkByObject(object);
    if (!sink) return kAudioHardwareBadObjectError;

    pa_cvolume channels{};
    channels.channels =
        static_cast<uint8_t>(std::min<std::size_t>(sink->channelVolumes.size(), PA_CHANNELS_MAX));
    std::copy_n(sink->channelVolumes.begin(), channels.channels, channels.values);
    const auto target = static_cast<pa_volume_t>(
        std::lround(std::clamp(*volume, 0.0f, 1.0f) * static_cast<float>(PA_VOLUME_NORM)));
    // Scaling keeps the balance between channels; a silent sink has none to keep.
    if (pa_cvolume_max(&channels) == PA_VOLUME_MUTED) {
        pa_cvolume_set(&channels, channels.channels, target);
    } else {
        pa_cvolume_scale(&channels, target);
    }
    pulse::PulseConnection::Lock lock(parts_->control);
    pa_context* context = parts_->control.context();
    if (context == nullptr) return kAudioHardwareNotRunningError;
    parts_->control.requests().send(
        context,
        pulse::Done([parts = parts_.get(), name = sink->name](const pulse::Outcome& outcome) {
            if (outcome.failed())
                parts->report("could not set the volume of " + name + ": " + outcome.problem());
        }),
        [&](pulse::Done& done) {
            return pa_context_set_sink_volume_by_index(context, sink->index, &channels,
                                                       pulse::Done::reply, &done);
        });
    return kAudioHardwareNoError;
}

OSStatus PulseAudioHardware::addPropertyListener(AudioObjectID object,
                                                 const AudioObjectPropertyAddress& address,
                                                 const PropertyListener& listener) {
    return parts_->listeners.add(object, address, listener);
}

OSStatus PulseAudioHardware::removePropertyListener(AudioObjectID object,
                                                    const AudioObjectPropertyAddress& address,
                                                    const PropertyListener& listener) {
    return parts_->listeners.remove(object, address, listener);
}

// --- The tap, the aggregate device and the IO procedure ---

OSStatus PulseAudioHardware::createProcessTap(const TapDescription& description,
                                              AudioObjectID& tap) {
    return parts_->taps.create(description, tap);
}

OSStatus PulseAudioHardware::destroyProcessTap(AudioObjectID tap) {
    return parts_->taps.destroy(tap);
}

void PulseAudioHardware::removeStaleTaps() { parts_->taps.removeStaleTaps(); }

OSStatus PulseAudioHardware::createAggregateDevice(const AggregateDeviceDescription& description,
                                                   AudioObjectID& device) {
    device = kAudioObjectUnknown;
    if (!isConnected()) return kAudioHardwareNotRunningError;
    if (description.tap.empty() || description.subDevices.empty())
        return kAudioHardwareIllegalOperationError;
    const auto source = parts_->taps.sourceWithUUID(description.tap);
    if (!source) return kAudioHardwareBadObjectError;
    pulse::StreamSet::Plan plan;
    plan.name = description.name;
    plan.tapSink = source->sinkName;
    plan.rate = source->rate;
    plan.inputChannels = source->channels;
    for (const std::string& member : description.subDevices) {
        const auto sink = parts_->mirror.sinkNamed(member);
        if (!sink) return kAudioHardwareBadDeviceError;
        plan.outputs.push_back(member);
        plan.outputChannels.push_back(std::max<uint32_t>(sink->channels, 1));
    }
    plan.timing = PipelineTiming::forServer(parts_->mirror.onPipeWire());
    return parts_->streams.create(std::move(plan), device);
}

OSStatus PulseAudioHardware::destroyAggregateDevice(AudioObjectID device) {
    return parts_->streams.destroy(device);
}

OSStatus PulseAudioHardware::createIOProcID(AudioObjectID device, AudioDeviceIOBlock block,
                                            AudioDeviceIOProcID& procID) {
    return parts_->streams.createIOProc(device, std::move(block), procID);
}

OSStatus PulseAudioHardware::destroyIOProcID(AudioObjectID device, AudioDeviceIOProcID procID) {
    return parts_->streams.destroyIOProc(device, procID);
}

OSStatus PulseAudioHardware::startDevice(AudioObjectID device, AudioDeviceIOProcID procID) {
    std::string tapSink;
    const OSStatus status = parts_->streams.startRecording(device, procID, tapSink);
    if (status != kAudioHardwareNoError) return status;
    parts_->taps.startCapture(tapSink);
    parts_->streams.startPlayback(device);
    return kAudioHardwareNoError;
}

OSStatus PulseAudioHardware::stopDevice(AudioObjectID device, AudioDeviceIOProcID) {
    return parts_->streams.stop(device);
}

}  // namespace sorix
