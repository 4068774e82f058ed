#include "FakeAudioHardware.h"

#include <algorithm>

namespace sorix {

namespace {

constexpr uint32_t kGlobal = kAudioObjectPropertyScopeGlobal;
constexpr uint32_t kOutput = kAudioObjectPropertyScopeOutput;

}  // namespace

FakeAudioHardware::FakeAudioHardware(MainQueue& mainQueue, int32_t processID)
    : mainQueue_(mainQueue), processID_(processID) {
    objects_[kAudioObjectSystemObject][{Selector::defaultOutputDevice, kGlobal}] = {uint32_t{0}};
    refreshSystemLists();
    addProcess(processID_, false);
}

AudioObjectID FakeAudioHardware::newObject() { return nextID_++; }

void FakeAudioHardware::refreshSystemLists() {
    auto& system = objects_[kAudioObjectSystemObject];
    system[{Selector::devices, kGlobal}] = {devices_};
    std::vector<AudioObjectID> processes;
    for (const auto& [pid, object] : processes_)
        processes.push_back(object);
    system[{Selector::processObjects, kGlobal}] = {processes};
}

AudioObjectID FakeAudioHardware::addDevice(const DeviceSpec& spec) {
    const AudioObjectID device = newObject();
    auto& properties = objects_[device];
    properties[{Selector::deviceUID, kGlobal}] = {spec.uid};
    properties[{Selector::name, kGlobal}] = {spec.name};
    if (spec.transport) properties[{Selector::transportType, kGlobal}] = {*spec.transport};
    std::vector<AudioObjectID> streams;
    for (uint32_t s = 0; s < spec.outputStreams; ++s)
        streams.push_back(newObject());
    properties[{Selector::streams, kOutput}] = {streams};
    if (spec.volume) properties[{Selector::virtualMainVolume, kOutput}] = {*spec.volume, true};
    properties[{Selector::latency, kOutput}] = {spec.latencyFrames};
    properties[{Selector::safetyOffset, kOutput}] = {uint32_t{0}};
    properties[{Selector::nominalSampleRate, kGlobal}] = {spec.sampleRate};
    properties[{Selector::isAlive, kGlobal}] = {uint32_t{1}};
    devices_.push_back(device);
    refreshSystemLists();
    fireListeners(kAudioObjectSystemObject, globalAddress(Selector::devices));
    return device;
}

void FakeAudioHardware::removeDevice(AudioObjectID device) {
    devices_.erase(std::remove(devices_.begin(), devices_.end(), device), devices_.end());
    objects_.erase(device);
    refreshSystemLists();
    fireListeners(device, globalAddress(Selector::isAlive));
    fireListeners(kAudioObjectSystemObject, globalAddress(Selector::devices));
}

void FakeAudioHardware::setDefaultOutput(AudioObjectID device) {
    changeProperty(kAudioObjectSystemObject, globalAddress(Selector::defaultOutputDevice), device);
}

AudioObjectID FakeAudioHardware::addProcess(int32_t pid, bool runningOutput) {
    const AudioObjectID process = newObject();
    objects_[process][{Selector::isRunningOutput, kGlobal}] = {uint32_t{runningOutput ? 1u : 0u}};
    objects_[process][{Selector::processPID, kGlobal}] = {pid};
    processes_[pid] = process;
    refreshSystemLists();
    return process;
}

void FakeAudioHardware::changeProperty(AudioObjectID object,
                                       const AudioObjectPropertyAddress& address,
                                       PropertyValue value, bool settable) {
    objects_[object][{address.mSelector, address.mScope}] = {std::move(value), settable};
    fireListeners(object, address);
}

void FakeAudioHardware::removeProperty(AudioObjectID object,
                                       const AudioObjectPropertyAddress& address) {
    objects_[object].erase({address.mSelector, address.mScope});
}

void FakeAudioHardware::fireListeners(AudioObjectID object,
                                      const AudioObjectPropertyAddress& address) {
    for (const Listener& listener : listeners_) {
        if (listener.object != object || !(listener.address == address)) continue;
        mainQueue_.async([block = listener.block, address] { (*block)({address}); });
    }
}

void FakeAudioHardware::injectFailure(Call call, uint32_t selector, OSStatus status, int times) {
    failures_.push_back({call, selector, status, times});
}

void FakeAudioHardware::clearFailures() { failures_.clear(); }

OSStatus FakeAudioHardware::failure(Call call, uint32_t selector) const {
    ++calls_[call];
    for (auto it = failures_.begin(); it != failures_.end(); ++it) {
        if (it->call != call || (it->selector != anySelector && it->selector != selector)) continue;
        const OSStatus status = it->status;
        if (it->remaining > 0 && --it->remaining == 0) failures_.erase(it);
        return status;
    }
    return kAudioHardwareNoError;
}

int FakeAudioHardware::callCount(Call call) const {
    const auto found = calls_.find(call);
    return found == calls_.end() ? 0 : found->second;
}

std::size_t FakeAudioHardware::listenerCount() const { return listeners_.size(); }

std::size_t FakeAudioHardware::listenerCount(AudioObjectID object,
                                             const AudioObjectPropertyAddress& address) const {
    return static_cast<std::size_t>(
        std::count_if(listeners_.begin(), listeners_.end(), [&](const Listener& listener) {
            return listener.object == object && listener.address == address;
        }));
}

const FakeAudioHardware::Property* FakeAudioHardware::find(
    AudioObjectID object, const AudioObjectPropertyAddress& address) const {
    const auto objectFound = objects_.find(object);
    if (objectFound == objects_.end()) return nullptr;
    const auto found = objectFound->second.find({address.mSelector, address.mScope});
    return found == objectFound->second.end() ? nullptr : &found->second;
}

OSStatus FakeAudioHardware::getPropertyData(AudioObjectID object,
                                            const AudioObjectPropertyAddress& address,
                                            const PropertyQualifier& qualifier,
                                            PropertyValue& value) const {
    if (const OSStatus status = failure(Call::get, address.mSelector)) return status;
    return read(object, address, qualifier, value);
}

OSStatus FakeAudioHardware::read(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                 const PropertyQualifier& qualifier, PropertyValue& value) const {
    if (object == kAudioObjectSystemObject && address.mSelector == Selector::translateUIDToDevice) {
        const auto* uid = std::get_if<std::string>(&qualifier);
        if (uid == nullptr) return kAudioHardwareBadPropertySizeError;
        value = uint32_t{0};
        for (AudioObjectID device : devices_) {
            const Property* property = find(device, globalAddress(Selector::deviceUID));
            if (property != nullptr && std::get<std::string>(property->value) == *uid)
                value = device;
        }
        return kAudioHardwareNoError;
    }
    if (object == kAudioObjectSystemObject &&
        address.mSelector == Selector::translatePIDToProcess) {
        const auto* pid = std::get_if<int32_t>(&qualifier);
        if (pid == nullptr) return kAudioHardwareBadPropertySizeError;
        const auto found = processes_.find(*pid);
        value = found == processes_.end() ? uint32_t{0} : found->second;
        return kAudioHardwareNoError;
    }
    if (objects_.find(object) == objects_.end()) return kAudioHardwareBadObjectError;
    const Property* property = find(object, address);
    if (property == nullptr) return kAudioHardwareUnknownPropertyError;
    value = property->value;
    return kAudioHardwareNoError;
}

OSStatus FakeAudioHardware::isPropertySettable(AudioObjectID object,
                                               const AudioObjectPropertyAddress& address,
                                               bool& settable) const {
    const Property* property = find(object, address);
    if (property == nullptr) return kAudioHardwareUnknownPropertyError;
    settable = property->settable;
    return kAudioHardwareNoError;
}

OSStatus FakeAudioHardware::setPropertyData(AudioObjectID object,
                                            const AudioObjectPropertyAddress& address,
                                            const PropertyValue& value) {
    const Property* property = find(object, address);
    if (property == nullptr) return kAudioHardwareUnknownPropertyError;
    if (!property->settable) return kAudioHardwareIllegalOperationError;
    if (property->value.index() != value.index()) return kAudioHardwareBadPropertySizeError;
    changeProperty(object, address, value, true);
    return kAudioHardwareNoError;
}

OSStatus FakeAudioHardware::addPropertyListener(AudioObjectID object,
                                                const AudioObjectPropertyAddress& address,
                                                const PropertyListener& listener) {
    listeners_.push_back({object, address, listener});
    return kAudioHardwareNoError;
}

OSStatus FakeAudioHardware::removePropertyListener(AudioObjectID object,
                                                   const AudioObjectPropertyAddress& address,
                                                   const PropertyListener& listener) {
    const auto found = std::find_if(listeners_.begin(), listeners_.end(), [&](const Listener& l) {
        return l.object == object && l.address == address && l.block == listener;
    });
    if (found == listeners_.end()) return kAudioHardwareIllegalOperationError;
    listeners_.erase(found);
    return kAudioHardwareNoError;
}

OSStatus FakeAudioHardware::createProcessTap(const TapDescription& description,
                                             AudioObjectID& tap) {
    tap = kAudioObjectUnknown;
    if (const OSStatus status = failure(Call::createTap, anySelector)) return status;
    tap_ = description;
    tapID_ = tap = newObject();
    AudioStreamBasicDescription format;
    format.mSampleRate = tapSampleRate_;
    format.mChannelsPerFrame = 2;
    format.mBitsPerChannel = 32;
    format.mBytesPerFrame = format.mBytesPerPacket = 8;
    format.mFramesPerPacket = 1;
    format.mFormatID = fourCharCode("lpcm");
    objects_[tap][{Selector::tapFormat, kGlobal}] = {format};
    return kAudioHardwareNoError;
}

OSStatus FakeAudioHardware::destroyProcessTap(AudioObjectID tap) {
    if (const OSStatus status = failure(Call::destroyTap, anySelector)) return status;
    if (tap != tapID_ || tap == 0) return kAudioHardwareBadObjectError;
    objects_.erase(tap);
    tap_.reset();
    tapID_ = 0;
    return kAudioHardwareNoError;
}

OSStatus FakeAudioHardware::createAggregateDevice(const AggregateDeviceDescription& description,
                                                  AudioObjectID& device) {
    device = kAudioObjectUnknown;
    if (const OSStatus status = failure(Call::createAggregate, anySelector)) return status;
    aggregate_ = description;
    aggregateID_ = device = newObject();
    objects_[device][{Selector::isAlive, kGlobal}] = {uint32_t{1}};
    objects_[device][{Selector::name, kGlobal}] = {description.name};
    return kAudioHardwareNoError;
}

OSStatus FakeAudioHardware::destroyAggregateDevice(AudioObjectID device) {
    if (device != aggregateID_ || device == 0) return kAudioHardwareBadObjectError;
    objects_.erase(device);
    aggregate_.reset();
    aggregateID_ = 0;
    return kAudioHardwareNoError;
}

OSStatus FakeAudioHardware::createIOProcID(AudioObjectID device, AudioDeviceIOBlock block,
                                           AudioDeviceIOProcID& procID) {
    procID = 0;
    if (const OSStatus status = failure(Call::createIOProc, anySelector)) return status;
    if (device != aggregateID_ || device == 0) return kAudioHardwareBadDeviceError;
    ioBlock_ = std::move(block);
    ioProcID_ = procID = newObject();
    return kAudioHardwareNoError;
}

OSStatus FakeAudioHardware::destroyIOProcID(AudioObjectID, AudioDeviceIOProcID procID) {
    if (procID != ioProcID_ || procID == 0) return kAudioHardwareIllegalOperationError;
    ioBlock_ = nullptr;
    ioProcID_ = 0;
    running_ = false;
    return kAudioHardwareNoError;
}

OSStatus FakeAudioHardware::startDevice(AudioObjectID device, AudioDeviceIOProcID procID) {
    if (const OSStatus status = failure(Call::start, anySelector)) return status;
    if (device != aggregateID_ || procID != ioProcID_ || procID == 0) {
        return kAudioHardwareBadDeviceError;
    }
    running_ = true;
    return kAudioHardwareNoError;
}

OSStatus FakeAudioHardware::stopDevice(AudioObjectID, AudioDeviceIOProcID) {
    running_ = false;
    return kAudioHardwareNoError;
}

bool FakeAudioHardware::runIOCycle(const AudioBufferList& input, AudioBufferList& output) {
    if (!running_ || !ioBlock_) return false;
    ioBlock_(input, output);
    return true;
}

}  // namespace sorix
