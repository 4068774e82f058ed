#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "AudioHardware.h"
#include "MainQueue.h"

namespace sorix {

// A scriptable audio system for tests: objects with any properties, failures injected into the
// reads and the pipeline's construction, listeners fired as properties change (through the main
// queue, as the real one delivers them) and IO cycles driven by the test.
class FakeAudioHardware : public AudioHardware {
  public:
    // The calls that can be made to fail or are counted.
    enum class Call { get, createTap, destroyTap, createAggregate, createIOProc, start };
    static constexpr uint32_t anySelector = 0;

    struct DeviceSpec {
        std::string uid{};
        std::string name = "Device";
        std::optional<uint32_t> transport = Transport::builtIn;
        uint32_t outputStreams = 1;
        std::optional<float> volume = 0.5f;  // none: no volume control
        uint32_t latencyFrames = 0;
        double sampleRate = 48000;
    };

    explicit FakeAudioHardware(MainQueue& mainQueue, int32_t processID = 4242);

    // Scripting the system.
    AudioObjectID addDevice(const DeviceSpec& spec);
    void removeDevice(AudioObjectID device);      // fires its liveness listeners
    void setDefaultOutput(AudioObjectID device);  // fires the default-output listeners
    AudioObjectID addProcess(int32_t pid, bool runningOutput);
    // Sets a property as the system would and fires that property's listeners.
    void changeProperty(AudioObjectID object, const AudioObjectPropertyAddress& address,
                        PropertyValue value, bool settable = false);
    void removeProperty(AudioObjectID object, const AudioObjectPropertyAddress& address);
    // Fails a kind of call, for one selector or any, the next `times` calls (-1: until cleared).
    void injectFailure(Call call, uint32_t selector, OSStatus status, int times = -1);
    // The rate of the taps created from now on.
    void setTapSampleRate(double rate) { tapSampleRate_ = rate; }
    void clearFailures();

    // Observing what the code under test did.
    std::size_t listenerCount() const;
    std::size_t listenerCount(AudioObjectID object,
                              const AudioObjectPropertyAddress& address) const;
    int callCount(Call call) const;
    const std::optional<TapDescription>& tap() const { return tap_; }
    const std::optional<AggregateDeviceDescription>& aggregate() const { return aggregate_; }
    AudioObjectID tapID() const { return tapID_; }
    AudioObjectID aggregateID() const { return aggregateID_; }
    bool isRunning() const { return running_; }
    // One IO cycle through the registered block, as the IO thread would run it.
    bool runIOCycle(const AudioBufferList& input, AudioBufferList& output);

    // AudioHardware.
    OSStatus getPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                             const PropertyQualifier& qualifier,
                             PropertyValue& value) const override;
    OSStatus isPropertySettable(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                bool& settable) const override;
    OSStatus setPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                             const PropertyValue& value) override;
    OSStatus addPropertyListener(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                 const PropertyListener& listener) override;
    OSStatus removePropertyListener(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                    const PropertyListener& listener) override;
    OSStatus createProcessTap(const TapDescription& description, AudioObjectID& tap) override;
    OSStatus destroyProcessTap(AudioObjectID tap) override;
    OSStatus createAggregateDevice(const AggregateDeviceDescription& description,
                                   AudioObjectID& device) override;
    OSStatus destroyAggregateDevice(AudioObjectID device) override;
    OSStatus createIOProcID(AudioObjectID device, AudioDeviceIOBlock block,
                            AudioDeviceIOProcID& procID) override;
    OSStatus destroyIOProcID(AudioObjectID device, AudioDeviceIOProcID procID) override;
    OSStatus startDevice(AudioObjectID device, AudioDeviceIOProcID procID) override;
    OSStatus stopDevice(AudioObjectID device, AudioDeviceIOProcID procID) override;
    int32_t currentProcessID() const override { return processID_; }

  private:
    struct Property {
        PropertyValue value;
        bool settable = false;
    };
    // (selector, scope): the element is always the main one here.
    using PropertyKey = std::pair<uint32_t, uint32_t>;
    struct Listener {
        AudioObjectID object;
        AudioObjectPropertyAddress address;
        PropertyListener block;
    };
    struct Failure {
        Call call;
        uint32_t selector;
        OSStatus status;
        int remaining;
    };

    OSStatus failure(Call call, uint32_t selector) const;
    // Posts the listeners of one address onto the main queue.
    void fireListeners(AudioObjectID object, const AudioObjectPropertyAddress& address);
    OSStatus read(AudioObjectID object, const AudioObjectPropertyAddress& address,
                  const PropertyQualifier& qualifier, PropertyValue& value) const;
    const Property* find(AudioObjectID object, const AudioObjectPropertyAddress& address) const;
    AudioObjectID newObject();
    void refreshSystemLists();

    MainQueue& mainQueue_;
    int32_t processID_;
    AudioObjectID nextID_ = 100;
    std::map<AudioObjectID, std::map<PropertyKey, Property>> objects_;
    std::map<int32_t, AudioObjectID> processes_;
    std::vector<AudioObjectID> devices_{};
    std::vector<Listener> listeners_{};
    mutable std::vector<Failure> failures_;
    mutable std::map<Call, int> calls_;

    std::optional<TapDescription> tap_;
    std::optional<AggregateDeviceDescription> aggregate_;
    AudioObjectID tapID_ = 0;
    AudioObjectID aggregateID_ = 0;
    AudioDeviceIOBlock ioBlock_;
    AudioDeviceIOProcID ioProcID_ = 0;
    bool running_ = false;
    double tapSampleRate_ = 48000;
};

}  // namespace sorix
