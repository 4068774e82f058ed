#include "StreamSet.h"

namespace sorix::pulse {

namespace {

using LoopLock = PulseConnection::Lock;
using TableLock = std::lock_guard<std::mutex>;

}  // namespace

StreamSet::StreamSet(PulseConnection& connection, ObjectNumbers& numbers, AliveChanged aliveChanged,
                     Report report)
    : connection_(connection),
      numbers_(numbers),
      aliveChanged_(std::move(aliveChanged)),
      report_(std::move(report)) {}

StreamSet::Device* StreamSet::find(AudioObjectID device) {
    const auto found = devices_.find(device);
    return found == devices_.end() ? nullptr : &found->second;
}

OSStatus StreamSet::create(Plan plan, AudioObjectID& device) {
    device = kAudioObjectUnknown;
    const AudioObjectID object = numbers_.next();
    LoopLock loop(connection_);
    if (connection_.context() == nullptr) return kAudioHardwareNotRunningError;
    auto streams = std::make_unique<AggregateStreams>(
        std::move(plan), connection_, [this, object] { aliveChanged_(object); }, report_);
    if (!streams->connect()) return kAudioHardwareUnspecifiedError;
    // The server answers in order, so once it has answered a request sent after the streams,
    // it has answered each stream too: the device is alive (or has failed) when this returns,
    // and a rebuild does not wait a polling interval for it while the tap's audio goes unheard.
    using Reply = Described<pa_server_info>;
    pa_context* context = connection_.context();
    const Operation answered = connection_.requests().send(
        context, Reply([](const pa_server_info&) {}, [](bool) {}),
        [&](Reply& reply) { return pa_context_get_server_info(context, Reply::reply, &reply); });
    connection_.wait(answered);
    TableLock table(mutex_);
    devices_[object] = Device{std::move(streams), 0};
    device = object;
    return kAudioHardwareNoError;
}

OSStatus StreamSet::destroy(AudioObjectID device) {
    LoopLock loop(connection_);
    Device gone;
    {
        TableLock table(mutex_);
        const auto found = devices_.find(device);
        if (found == devices_.end()) return kAudioHardwareBadObjectError;
        gone = std::move(found->second);
        devices_.erase(found);
    }
    gone.streams.reset();  // its streams go while the loop lock is held
    return kAudioHardwareNoError;
}

void StreamSet::destroyAll() {
    LoopLock loop(connection_);
    std::map<AudioObjectID, Device> gone;
    {
        TableLock table(mutex_);
        gone.swap(devices_);
    }
    gone.clear();
}

OSStatus StreamSet::createIOProc(AudioObjectID device, AudioDeviceIOBlock block,
                                 AudioDeviceIOProcID& procID) {
    procID = 0;
    LoopLock loop(connection_);
    TableLock table(mutex_);
    Device* found = find(device);
    if (found == nullptr) return kAudioHardwareBadDeviceError;
    if (!block || found->procID != 0) return kAudioHardwareIllegalOperationError;
    found->streams->setBlock(std::move(block));
    found->procID = procID = numbers_.next();
    return kAudioHardwareNoError;
}

OSStatus StreamSet::destroyIOProc(AudioObjectID device, AudioDeviceIOProcID procID) {
    LoopLock loop(connection_);
    TableLock table(mutex_);
    Device* found = find(device);
    if (found == nullptr) return kAudioHardwareBadDeviceError;
    if (procID == 0 || found->procID != procID) return kAudioHardwareIllegalOperationError;
    found->streams->setBlock(nullptr);
    found->procID = 0;
    return kAudioHardwareNoError;
}

OSStatus StreamSet::startRecording(AudioObjectID device, AudioDeviceIOProcID procID,
                                   std::string& tapSink) {
    LoopLock loop(connection_);
    AggregateStreams* streams = nullptr;
    {
        TableLock table(mutex_);
        Device* found = find(device);
        if (found == nullptr) return kAudioHardwareBadDeviceError;
        if (procID == 0 || found->procID != procID) return kAudioHardwareIllegalOperationError;
        streams = found->streams.get();
    }
    if (!streams->alive()) return kAudioHardwareNotRunningError;
    // Waits for the server without the table lock, so reads go on meanwhile.
    streams->startRecording();
    tapSink = streams->tapSink();
    return kAudioHardwareNoError;
}

void StreamSet::startPlayback(AudioObjectID device) {
    LoopLock loop(connection_);
    TableLock table(mutex_);
    if (Device* found = find(device)) found->streams->startPlayback();
}

OSStatus StreamSet::stop(AudioObjectID device) {
    LoopLock loop(connection_);
    TableLock table(mutex_);
    Device* found = find(device);
    if (found == nullptr) return kAudioHardwareBadDeviceError;
    found->streams->stop();
    return kAudioHardwareNoError;
}

OSStatus StreamSet::read(AudioObjectID object, const AudioObjectPropertyAddress& address,
                         PropertyValue& value) const {
    TableLock table(mutex_);
    const auto found = devices_.find(object);
    if (found == devices_.end()) return kAudioHardwareBadObjectError;
    const AggregateStreams& streams = *found->second.streams;
    if (address.mSelector == Selector::isAlive) {
        value = uint32_t{streams.alive() ? 1u : 0u};
        return kAudioHardwareNoError;
    }
    if (address.mSelector == Selector::name) {
        value = streams.name();
        return kAudioHardwareNoError;
    }
    return kAudioHardwareUnknownPropertyError;
}

}  // namespace sorix::pulse
