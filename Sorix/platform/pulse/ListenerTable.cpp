#include "ListenerTable.h"

#include <algorithm>
#include <utility>

namespace sorix::pulse {

OSStatus ListenerTable::add(AudioObjectID object, const AudioObjectPropertyAddress& address,
                            const PropertyListener& listener) {
    if (!listener) return kAudioHardwareIllegalOperationError;
    std::lock_guard lock(mutex_);
    registrations_.push_back({object, address, listener});
    return kAudioHardwareNoError;
}

OSStatus ListenerTable::remove(AudioObjectID object, const AudioObjectPropertyAddress& address,
                               const PropertyListener& listener) {
    std::lock_guard lock(mutex_);
    const auto found =
        std::find_if(registrations_.begin(), registrations_.end(), [&](const auto& entry) {
            return entry.object == object && entry.address == address && entry.listener == listener;
        });
    if (found == registrations_.end()) return kAudioHardwareIllegalOperationError;
    registrations_.erase(found);
    return kAudioHardwareNoError;
}

void ListenerTable::deliver(const std::vector<Change>& changes) const {
    if (changes.empty()) return;
    std::vector<std::pair<PropertyListener, AudioObjectPropertyAddress>> due;
    {
        std::lock_guard lock(mutex_);
        for (const Change& change : changes) {
            for (const Registration& registration : registrations_) {
                if (registration.object == change.object &&
                    registration.address.mSelector == change.selector)
                    due.emplace_back(registration.listener, registration.address);
            }
        }
    }
    for (auto& [listener, address] : due)
        mainQueue_.async([listener, address] { (*listener)({address}); });
}

}  // namespace sorix::pulse
