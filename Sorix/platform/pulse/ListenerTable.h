#pragma once

#include <mutex>
#include <vector>

#include "AudioHardware.h"
#include "MainQueue.h"
#include "ServerObjects.h"

namespace sorix::pulse {

// The property listeners and where they hear of changes: each is registered and removed as the
// same object, and called on the main queue with the address it watches. Who is due is decided
// when a change is delivered, so a listener removed afterwards may still hear of that change.
class ListenerTable {
  public:
    explicit ListenerTable(MainQueue& mainQueue) : mainQueue_(mainQueue) {}

    OSStatus add(AudioObjectID object, const AudioObjectPropertyAddress& address,
                 const PropertyListener& listener);
    OSStatus remove(AudioObjectID object, const AudioObjectPropertyAddress& address,
                    const PropertyListener& listener);
    // Any thread.
    void deliver(const std::vector<Change>& changes) const;

  private:
    struct Registration {
        AudioObjectID object;
        AudioObjectPropertyAddress address;
        PropertyListener listener;
    };

    MainQueue& mainQueue_;
    mutable std::mutex mutex_;
    std::vector<Registration> registrations_;
};

}  // namespace sorix::pulse
