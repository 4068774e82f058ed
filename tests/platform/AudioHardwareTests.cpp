#include <gtest/gtest.h>

#include "FakeAudioHardware.h"
#include "ManualMainQueue.h"
#include "SinkLatency.h"

namespace sorix {
namespace {

using Call = FakeAudioHardware::Call;

TEST(AudioHardwareTest, CodesSizesAndTypedReads) {
    EXPECT_EQ(fourCharCode("uid "), 0x75696420u);
    EXPECT_EQ(fourCharCodeString(Transport::usb), "usb ");
    EXPECT_EQ(kAudioHardwareUnknownPropertyError, 2003332927);
    EXPECT_EQ(propertyDataSize(std::vector<AudioObjectID>{1, 2, 3}), 12u);
    EXPECT_EQ(propertyDataSize(std::string("a long device name")), 8u);
    EXPECT_EQ(propertyDataSize(AudioStreamBasicDescription{}), 40u);

    ManualMainQueue queue;
    FakeAudioHardware hardware(queue);
    const AudioObjectID device = hardware.addDevice({.uid = "usb-dac", .sampleRate = 44100});
    double rate = 0;
    EXPECT_EQ(getProperty(hardware, device, globalAddress(Selector::nominalSampleRate), rate), 0);
    EXPECT_EQ(rate, 44100);
    // Asking for another type than the property holds fails like a short read.
    uint32_t wrong = 0;
    EXPECT_EQ(getProperty(hardware, device, globalAddress(Selector::nominalSampleRate), wrong),
              kAudioHardwareBadPropertySizeError);
}

TEST(AudioHardwareTest, SinkLatencyAddsThePortOffsetAndNeverGoesNegative) {
    EXPECT_EQ(sinkLatencyFrames(25'000, 0, 48000), 1200u);
    // A Bluetooth headset's port announcing 150 ms of its own.
    EXPECT_EQ(sinkLatencyFrames(25'000, 150'000, 48000), 8400u);
    EXPECT_EQ(sinkLatencyFrames(25'000, -40'000, 48000), 0u);
    EXPECT_EQ(sinkLatencyFrames(10'000, 0, 44100), 441u);
}

TEST(FakeAudioHardwareTest, TranslatesUIDsAndProcessIDsAsTheSystemDoes) {
    ManualMainQueue queue;
    FakeAudioHardware hardware(queue, 777);
    const AudioObjectID speakers = hardware.addDevice({.uid = "speakers"});
    uint32_t found = 99;
    EXPECT_EQ(
        getProperty(hardware, kAudioObjectSystemObject,
                    globalAddress(Selector::translateUIDToDevice), found, std::string("speakers")),
        0);
    EXPECT_EQ(found, speakers);
    // An unknown UID is a successful read of no object.
    EXPECT_EQ(
        getProperty(hardware, kAudioObjectSystemObject,
                    globalAddress(Selector::translateUIDToDevice), found, std::string("gone")),
        0);
    EXPECT_EQ(found, kAudioObjectUnknown);

    uint32_t own = 0;
    EXPECT_EQ(getProperty(hardware, kAudioObjectSystemObject,
                          globalAddress(Selector::translatePIDToProcess), own,
                          hardware.currentProcessID()),
              0);
    std::vector<AudioObjectID> processes;
    getProperty(hardware, kAudioObjectSystemObject, globalAddress(Selector::processObjects),
                processes);
    EXPECT_EQ(processes, std::vector<AudioObjectID>{own});
}

TEST(FakeAudioHardwareTest, FailuresHitTheirCallAndSelectorForAsLongAsAsked) {
    ManualMainQueue queue;
    FakeAudioHardware hardware(queue);
    const AudioObjectID device = hardware.addDevice({.uid = "speakers"});
    hardware.injectFailure(Call::get, Selector::deviceUID, kAudioHardwareBadDeviceError, 2);
    std::string uid;
    double rate = 0;
    EXPECT_EQ(getProperty(hardware, device, globalAddress(Selector::nominalSampleRate), rate), 0);
    EXPECT_EQ(getProperty(hardware, device, globalAddress(Selector::deviceUID), uid),
              kAudioHardwareBadDeviceError);
    EXPECT_EQ(getProperty(hardware, device, globalAddress(Selector::deviceUID), uid),
              kAudioHardwareBadDeviceError);
    EXPECT_EQ(getProperty(hardware, device, globalAddress(Selector::deviceUID), uid), 0);

    hardware.injectFailure(Call::createTap, FakeAudioHardware::anySelector, -50);
    AudioObjectID tap = 5;
    EXPECT_EQ(hardware.createProcessTap({}, tap), -50);
    EXPECT_EQ(tap, kAudioObjectUnknown);
    hardware.clearFailures();
    EXPECT_EQ(hardware.createProcessTap({}, tap), 0);
    EXPECT_NE(tap, kAudioObjectUnknown);
}

TEST(FakeAudioHardwareTest, ListenersArriveOnTheMainQueueAndLeaveByTheirRegistration) {
    ManualMainQueue queue;
    FakeAudioHardware hardware(queue);
    const AudioObjectID device = hardware.addDevice({.uid = "speakers", .volume = 0.5f});
    int heard = 0;
    const auto listener = std::make_shared<const PropertyListenerBlock>(
        [&](const std::vector<AudioObjectPropertyAddress>&) { ++heard; });
    const auto volume = outputAddress(Selector::virtualMainVolume);
    ASSERT_EQ(hardware.addPropertyListener(device, volume, listener), 0);

    EXPECT_EQ(hardware.setPropertyData(device, volume, PropertyValue{0.25f}), 0);
    EXPECT_EQ(heard, 0);
    queue.runPending();
    EXPECT_EQ(heard, 1);

    const auto stranger = std::make_shared<const PropertyListenerBlock>(*listener);
    EXPECT_NE(hardware.removePropertyListener(device, volume, stranger), 0);
    EXPECT_EQ(hardware.removePropertyListener(device, volume, listener), 0);
    hardware.changeProperty(device, volume, 0.75f, true);
    queue.runPending();
    EXPECT_EQ(heard, 1);
}

TEST(FakeAudioHardwareTest, IOCyclesRunOnlyWhileTheProcedureIsStarted) {
    ManualMainQueue queue;
    FakeAudioHardware hardware(queue);
    AudioObjectID aggregate = 0;
    ASSERT_EQ(hardware.createAggregateDevice({.name = "Sorix Boost Device"}, aggregate), 0);
    int cycles = 0;
    AudioDeviceIOProcID proc = 0;
    ASSERT_EQ(hardware.createIOProcID(
                  aggregate,
                  [&](const AudioTimeStamp&, const AudioBufferList&, const AudioTimeStamp&,
                      AudioBufferList&, const AudioTimeStamp&) { ++cycles; },
                  proc),
              0);
    AudioBufferList input, output;
    EXPECT_FALSE(hardware.runIOCycle(input, output));
    ASSERT_EQ(hardware.startDevice(aggregate, proc), 0);
    EXPECT_TRUE(hardware.runIOCycle(input, output));
    hardware.stopDevice(aggregate, proc);
    EXPECT_FALSE(hardware.runIOCycle(input, output));
    EXPECT_EQ(cycles, 1);
}

}  // namespace
}  // namespace sorix
