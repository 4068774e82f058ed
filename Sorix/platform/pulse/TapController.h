#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "AudioHardware.h"
#include "DefaultTakeover.h"
#include "MainQueue.h"
#include "ProcessLiveness.h"
#include "PulseConnection.h"
#include "ServerMirror.h"
#include "TakeoverJournal.h"
#include "TapClockAnchor.h"

namespace sorix::pulse {

// The process tap: a null sink that every other program's streams are moved onto (which is what
// keeps them from also playing directly), and moved back from to where they played when it goes.
// While it captures it stands in as the server's default output, so that new streams start on it.
// It also removes the taps that a Sorix which died left behind, with other programs' streams on
// them, and tells the journal what a guardian would have to undo. It acts on the mirror's events
// after each update, never inside one: it reads the mirror and sends its own requests. Its state is
// kept under the connection's loop lock; the main thread's calls take it, the mirror's events come
// with it held.
class TapController {
  public:
    // Where the failures of requests that nobody waits for are told, from any thread.
    using Report = std::function<void(const std::string& problem)>;
    // What an aggregate device records of a tap.
    struct Source {
        std::string sinkName;
        uint32_t rate = 48000;
        uint32_t channels = 2;
    };

    TapController(PulseConnection& connection, ServerMirror& mirror, ObjectNumbers& numbers,
                  MainQueue& mainQueue, TakeoverJournal& journal, DefaultTakeover::Deliver deliver,
                  Report report);
    TapController(const TapController&) = delete;
    TapController& operator=(const TapController&) = delete;

    // --- Main thread ---
    OSStatus create(const TapDescription& description, AudioObjectID& tap);
    // A destroyed tap waits for the end of the main thread's current task before it goes: a
    // rebuild destroys the tap and makes a new one at once, and takes the old one back, so that
    // no stream is moved out and in again.
    OSStatus destroy(AudioObjectID tap);
    std::optional<Source> sourceWithUUID(const std::string& uuid) const;
    std::optional<AudioStreamBasicDescription> format(AudioObjectID tap) const;
    // Streams are moved onto the tap of that sink only once its recording runs, so that none of
    // their audio plays unrecorded.
    void startCapture(const std::string& sinkName);
    // Unloads taps whose owner process is gone, so their streams return to real sinks.
    void removeStaleTaps();
    // Every tap goes now, the retired one too, each stream home first.
    void releaseAll();

    // --- The mirror's events (server thread, loop lock held) ---
    void sinkInputStored(uint32_t index);
    void sinkInputRemoved(uint32_t index);
    void sinkRemoved();
    void serverInfoStored();
    void serverMirrored();
    void connectionLost();

  private:
    struct Tap {
        AudioObjectID object = 0;
        std::string uuid;
        std::string sinkName;
        uint32_t module = kNoIndex;
        uint32_t sinkIndex = kNoIndex;
        uint32_t rate = 48000;
        uint32_t channels = 2;
        bool keepAudible = false;
        bool capturing = false;
        TapClockAnchor clock;  // PulseAudio only
        std::vector<AudioObjectID> excludedProcesses;
        std::map<uint32_t, std::string> moved;          // sink input -> the sink it came from
        std::map<std::string, uint32_t> audibleCopies;  // original sink -> loopback module
    };

    // Main thread, without the loop lock: the module's index once the server has loaded it.
    std::optional<uint32_t> loadModule(const std::string& name, const std::string& arguments);
    // Loop lock held; waiting only off the server thread.
    void unloadModule(uint32_t module, bool wait);
    // Loop lock held, off the server thread; returns once the server has done it.
    void suspendSink(const std::string& sinkName, bool suspended);
    // Loop lock held, off the server thread: the new tap's clock starts at now and its blocks
    // stay short from then on.
    void holdClock(Tap& tap);
    void removeStaleTapsLocked();
    // Main thread: until no tap of a gone owner is left in the mirror, or the timeout passes.
    void waitForStaleTapsGone(double timeoutSeconds) const;
    // Main thread: the tap's sink as the mirror shows it once the module is loaded.
    std::optional<Sink> waitForTapSink(uint32_t module) const;
    std::string freeTapSinkName() const;
    std::optional<AudioObjectID> takeBackRetired(const TapDescription& description, uint32_t rate);
    void releaseRetired();
    void release(Tap& tap);  // streams home, then the sink goes

    // Loop lock held (TapCapture.cpp).
    void capture(const SinkInput& input);
    void keepAudibleOn(Tap& tap, const std::string& sinkName);
    void moveSinkInput(uint32_t input, uint32_t sink);
    void moveSinkInputHome(uint32_t input, const std::string& sink);

    PulseConnection& connection_;
    ServerMirror& mirror_;
    ObjectNumbers& numbers_;
    MainQueue& mainQueue_;
    TakeoverJournal& journal_;
    Report report_;
    DefaultTakeover defaults_;
    const ProcessIdentity identity_ = currentProcessIdentity();
    std::map<AudioObjectID, Tap> taps_;
    std::optional<Tap> retired_;
    // Sink inputs a move onto a tap failed for, told once each.
    std::set<uint32_t> refusedMoves_;
    // Tasks posted to the main queue hold it weakly: they may run after this object is gone.
    std::shared_ptr<char> lifetime_ = std::make_shared<char>();
};

}  // namespace sorix::pulse
