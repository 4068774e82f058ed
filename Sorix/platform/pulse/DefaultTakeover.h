#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "PulseConnection.h"
#include "ServerMirror.h"
#include "TakeoverJournal.h"

namespace sorix::pulse {

// The tap as the server's default output while it captures: a stream that starts then plays on
// the tap from its first sample, where a stream moved there after it started would have played a
// few milliseconds unboosted on its own sink. The output the user chose stays the default in
// everything Sorix shows (the mirror reads it as the default); when the user picks another one in
// the desktop's settings, that one is remembered and the tap stands in again; when the tap goes,
// the user's choice is the server's default again.
//
// All of it with the loop lock held: the tap controller takes and gives back on the main thread,
// the mirror's events arrive on the server thread.
class DefaultTakeover {
  public:
    using Report = std::function<void(const std::string& problem)>;
    // Where what the mirror shows differently goes: to the listeners.
    using Deliver = std::function<void(const std::vector<Change>& changes)>;
    using Clock = std::function<std::chrono::steady_clock::time_point()>;

    DefaultTakeover(PulseConnection& connection, ServerMirror& mirror, TakeoverJournal& journal,
                    Deliver deliver, Report report, Clock clock = std::chrono::steady_clock::now);

    // The tap of that sink stands in as the default from now on.
    void take(const std::string& tapSink);
    // That tap goes: the user's output is the server's default again.
    void giveBack(const std::string& tapSink);

    // The mirror's events.
    void serverInfoStored();
    void sinkRemoved();
    void connectionLost();

    // The user's output while a tap stands in; empty otherwise.
    const std::string& userSink() const { return userSink_; }

  private:
    void hold(const std::string& userSink);
    void setServerDefault(const std::string& sink);

    PulseConnection& connection_;
    ServerMirror& mirror_;
    TakeoverJournal& journal_;
    Deliver deliver_;
    Report report_;
    Clock clock_;
    std::string tapSink_;   // empty while no tap stands in
    std::string userSink_;  // kept across a lost connection: the server may come back
    std::chrono::steady_clock::time_point lastRequest_{};
};

}  // namespace sorix::pulse
