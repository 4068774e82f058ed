#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "AudioBuffer.h"

// The audio system as the engine sees it: objects with properties, listeners, a process tap, an
// aggregate device and an IO procedure, shaped after the object-property model the engine was
// designed around. PulseAudioHardware implements it on a sound server; tests use a fake.
namespace sorix {

using AudioObjectID = uint32_t;
using OSStatus = int32_t;

constexpr uint32_t fourCharCode(const char (&code)[5]) {
    return (static_cast<uint32_t>(static_cast<unsigned char>(code[0])) << 24) |
           (static_cast<uint32_t>(static_cast<unsigned char>(code[1])) << 16) |
           (static_cast<uint32_t>(static_cast<unsigned char>(code[2])) << 8) |
           static_cast<uint32_t>(static_cast<unsigned char>(code[3]));
}

inline constexpr AudioObjectID kAudioObjectUnknown = 0;
inline constexpr AudioObjectID kAudioObjectSystemObject = 1;

// Statuses. 0 is success; failures are four-character codes read as signed numbers.
inline constexpr OSStatus kAudioHardwareNoError = 0;
inline constexpr OSStatus kAudioHardwareNotRunningError =
    static_cast<OSStatus>(fourCharCode("stop"));
inline constexpr OSStatus kAudioHardwareUnspecifiedError =
    static_cast<OSStatus>(fourCharCode("what"));
inline constexpr OSStatus kAudioHardwareUnknownPropertyError =
    static_cast<OSStatus>(fourCharCode("who?"));
inline constexpr OSStatus kAudioHardwareBadPropertySizeError =
    static_cast<OSStatus>(fourCharCode("!siz"));
inline constexpr OSStatus kAudioHardwareIllegalOperationError =
    static_cast<OSStatus>(fourCharCode("nope"));
inline constexpr OSStatus kAudioHardwareBadObjectError =
    static_cast<OSStatus>(fourCharCode("!obj"));
inline constexpr OSStatus kAudioHardwareBadDeviceError =
    static_cast<OSStatus>(fourCharCode("!dev"));
inline constexpr OSStatus kAudioHardwareUnsupportedOperationError =
    static_cast<OSStatus>(fourCharCode("unop"));

struct AudioObjectPropertyAddress {
    uint32_t mSelector = 0;
    uint32_t mScope = 0;
    uint32_t mElement = 0;
    friend bool operator==(const AudioObjectPropertyAddress&,
                           const AudioObjectPropertyAddress&) = default;
};

inline constexpr uint32_t kAudioObjectPropertyScopeGlobal = fourCharCode("glob");
inline constexpr uint32_t kAudioObjectPropertyScopeOutput = fourCharCode("outp");
inline constexpr uint32_t kAudioObjectPropertyElementMain = 0;

// The selectors the system reads or sets.
namespace Selector {
inline constexpr uint32_t devices = fourCharCode("dev#");                // system: device ids
inline constexpr uint32_t defaultOutputDevice = fourCharCode("dOut");    // system: device id
inline constexpr uint32_t deviceUID = fourCharCode("uid ");              // device: string
inline constexpr uint32_t translateUIDToDevice = fourCharCode("uidd");   // system, UID qualifier
inline constexpr uint32_t name = fourCharCode("lnam");                   // any object: string
inline constexpr uint32_t streams = fourCharCode("stm#");                // device: stream ids
inline constexpr uint32_t transportType = fourCharCode("tran");          // device: code
inline constexpr uint32_t virtualMainVolume = fourCharCode("vmvc");      // device: 0..1 float
inline constexpr uint32_t latency = fourCharCode("ltnc");                // device: frames
inline constexpr uint32_t safetyOffset = fourCharCode("saft");           // device: frames
inline constexpr uint32_t nominalSampleRate = fourCharCode("nsrt");      // device: double
inline constexpr uint32_t isAlive = fourCharCode("livn");                // device: 0 or 1
inline constexpr uint32_t processObjects = fourCharCode("prs#");         // system: process ids
inline constexpr uint32_t isRunningOutput = fourCharCode("piro");        // process: 0 or 1
inline constexpr uint32_t processPID = fourCharCode("ppid");             // process: int32 pid
inline constexpr uint32_t translatePIDToProcess = fourCharCode("id2p");  // system, pid qualifier
inline constexpr uint32_t tapFormat = fourCharCode("tfmt");              // tap: stream format
}  // namespace Selector

// Transport types of devices.
namespace Transport {
inline constexpr uint32_t builtIn = fourCharCode("bltn");
inline constexpr uint32_t usb = fourCharCode("usb ");
inline constexpr uint32_t bluetooth = fourCharCode("blue");
inline constexpr uint32_t bluetoothLE = fourCharCode("blea");
inline constexpr uint32_t hdmi = fourCharCode("hdmi");
inline constexpr uint32_t displayPort = fourCharCode("dprt");
inline constexpr uint32_t airPlay = fourCharCode("airp");
inline constexpr uint32_t virtualDevice = fourCharCode("virt");
inline constexpr uint32_t aggregate = fourCharCode("grup");
}  // namespace Transport

constexpr AudioObjectPropertyAddress globalAddress(uint32_t selector) {
    return {selector, kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyElementMain};
}
constexpr AudioObjectPropertyAddress outputAddress(uint32_t selector) {
    return {selector, kAudioObjectPropertyScopeOutput, kAudioObjectPropertyElementMain};
}

// Format flags of 32-bit float samples, interleaved and packed.
inline constexpr uint32_t kLinearPCMFloatPacked = (1u << 0) | (1u << 3);

struct AudioStreamBasicDescription {
    double mSampleRate = 0;
    uint32_t mFormatID = 0;
    uint32_t mFormatFlags = 0;
    uint32_t mBytesPerPacket = 0;
    uint32_t mFramesPerPacket = 0;
    uint32_t mBytesPerFrame = 0;
    uint32_t mChannelsPerFrame = 0;
    uint32_t mBitsPerChannel = 0;
    uint32_t mReserved = 0;
    friend bool operator==(const AudioStreamBasicDescription&,
                           const AudioStreamBasicDescription&) = default;
};

// A property's value. Object lists are ids; strings are UTF-8.
using PropertyValue = std::variant<uint32_t, int32_t, float, double, std::string,
                                   std::vector<AudioObjectID>, AudioStreamBasicDescription>;
// What some reads need besides the address: a UID to translate, or a process id.
using PropertyQualifier = std::variant<std::monostate, std::string, int32_t>;

// The size in bytes a value has in the object-property model (a string counts as a reference).
uint32_t propertyDataSize(const PropertyValue& value);

// What a process tap captures: every process but the excluded ones, as one stereo mix. `name`
// is what the system shows for it; `uuid` is how an aggregate device refers to it.
struct TapDescription {
    enum class MuteBehavior : int { unmuted = 0, mutedWhenTapped = 2 };
    std::string name{};
    std::vector<AudioObjectID> excludedProcesses{};
    MuteBehavior muteBehavior = MuteBehavior::mutedWhenTapped;
    std::string uuid{};
};

// A private device around the chosen outputs (the first is the clock) and the tap, each named
// by its UID (a tap by its uuid). `name` is what the system shows for it and its streams.
struct AggregateDeviceDescription {
    std::string name{};
    std::vector<std::string> subDevices{};
    std::string tap{};
};

// Called on the audio system's IO thread once per cycle with the tap's audio and one buffer per
// output stream. Real-time code: no allocation, lock, log or system call.
using AudioDeviceIOBlock =
    std::function<void(const AudioBufferList& input, AudioBufferList& output)>;
using AudioDeviceIOProcID = uint64_t;  // 0 = none

// A listener is registered and removed as the same object; it is called on the main queue with
// the addresses that changed.
using PropertyListenerBlock = std::function<void(const std::vector<AudioObjectPropertyAddress>&)>;
using PropertyListener = std::shared_ptr<const PropertyListenerBlock>;

class AudioHardware {
  public:
    virtual ~AudioHardware() = default;

    virtual OSStatus getPropertyData(AudioObjectID object,
                                     const AudioObjectPropertyAddress& address,
                                     const PropertyQualifier& qualifier,
                                     PropertyValue& value) const = 0;
    // The size of the value a read would give, and whether a read would succeed.
    virtual OSStatus getPropertyDataSize(AudioObjectID object,
                                         const AudioObjectPropertyAddress& address,
                                         const PropertyQualifier& qualifier, uint32_t& size) const;
    virtual bool hasProperty(AudioObjectID object, const AudioObjectPropertyAddress& address) const;
    virtual OSStatus isPropertySettable(AudioObjectID object,
                                        const AudioObjectPropertyAddress& address,
                                        bool& settable) const = 0;
    virtual OSStatus setPropertyData(AudioObjectID object,
                                     const AudioObjectPropertyAddress& address,
                                     const PropertyValue& value) = 0;

    virtual OSStatus addPropertyListener(AudioObjectID object,
                                         const AudioObjectPropertyAddress& address,
                                         const PropertyListener& listener) = 0;
    virtual OSStatus removePropertyListener(AudioObjectID object,
                                            const AudioObjectPropertyAddress& address,
                                            const PropertyListener& listener) = 0;

    virtual OSStatus createProcessTap(const TapDescription& description, AudioObjectID& tap) = 0;
    virtual OSStatus destroyProcessTap(AudioObjectID tap) = 0;
    virtual OSStatus createAggregateDevice(const AggregateDeviceDescription& description,
                                           AudioObjectID& device) = 0;
    virtual OSStatus destroyAggregateDevice(AudioObjectID device) = 0;

    virtual OSStatus createIOProcID(AudioObjectID device, AudioDeviceIOBlock block,
                                    AudioDeviceIOProcID& procID) = 0;
    virtual OSStatus destroyIOProcID(AudioObjectID device, AudioDeviceIOProcID procID) = 0;
    virtual OSStatus startDevice(AudioObjectID device, AudioDeviceIOProcID procID) = 0;
    virtual OSStatus stopDevice(AudioObjectID device, AudioDeviceIOProcID procID) = 0;

    // This program's process id, as the process-object translation expects it.
    virtual int32_t currentProcessID() const = 0;
};

// Typed reads: a value of another type than asked for is a size error, as a short read would be.
template <typename T>
OSStatus getProperty(const AudioHardware& hardware, AudioObjectID object,
                     const AudioObjectPropertyAddress& address, T& result,
                     const PropertyQualifier& qualifier = {}) {
    PropertyValue value;
    const OSStatus status = hardware.getPropertyData(object, address, qualifier, value);
    if (status != kAudioHardwareNoError) return status;
    const T* typed = std::get_if<T>(&value);
    if (typed == nullptr) return kAudioHardwareBadPropertySizeError;
    result = *typed;
    return kAudioHardwareNoError;
}

// "abcd" for a four-character code, for logs and tools.
std::string fourCharCodeString(uint32_t code);

}  // namespace sorix
