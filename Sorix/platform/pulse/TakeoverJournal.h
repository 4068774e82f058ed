#pragma once

#include <cstdint>
#include <string>

namespace sorix::pulse {

// What this program changed on the server that must be undone if it dies without undoing it
// itself: the taps it loaded, the streams it moved onto them with the sinks they came from, and
// the default output it took over. A guardian process keeps the same list and undoes it.
// Written with the mirror connection's loop lock held.
class TakeoverJournal {
  public:
    virtual ~TakeoverJournal() = default;
    virtual void tapLoaded(uint32_t module) = 0;
    virtual void tapUnloaded(uint32_t module) = 0;
    virtual void streamMoved(uint32_t input, const std::string& home) = 0;
    virtual void streamForgotten(uint32_t input) = 0;
    virtual void defaultTaken(const std::string& userSink) = 0;
    virtual void defaultGivenBack() = 0;
    // The connection is gone, and with it every module and stream index the list held.
    virtual void serverLost() = 0;
};

// For a program that runs without a guardian.
class NoJournal final : public TakeoverJournal {
  public:
    void tapLoaded(uint32_t) override {}
    void tapUnloaded(uint32_t) override {}
    void streamMoved(uint32_t, const std::string&) override {}
    void streamForgotten(uint32_t) override {}
    void defaultTaken(const std::string&) override {}
    void defaultGivenBack() override {}
    void serverLost() override {}
};

}  // namespace sorix::pulse
