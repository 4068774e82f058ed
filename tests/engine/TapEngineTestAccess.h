#pragma once

#include <cstddef>
#include <vector>

#include "TapEngine.h"

namespace sorix {

// The engine's bookkeeping that its published state does not show, for the tests that check it.
class TapEngineTestAccess {
  public:
    static int startAttempts(const TapEngine& engine) { return engine.startAttempts_; }
    static AudioObjectID outputDeviceID(const TapEngine& engine) { return engine.outputDeviceID_; }
    static std::size_t outputDeviceListenerCount(const TapEngine& engine) {
        return engine.outputDeviceListeners_.size();
    }
    static std::vector<AudioObjectID> ownProcessObjects(const TapEngine& engine) {
        return engine.queries_.ownProcessObjects();
    }
};

}  // namespace sorix
