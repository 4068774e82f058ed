#pragma once

#include <cstdint>
#include <map>
#include <utility>

// One kind of the server's objects by index, as its replies and removal events describe them.
namespace sorix::pulse {

// What a request was sent with; its reply brings it back.
struct MirrorTicket {
    uint64_t generation = 0;
    uint64_t removalsBefore = 0;
};

// The server may announce an object gone while a reply that describes it is still on its way,
// and a late reply must not bring the object back. So each reply carries the ticket its request
// went out with, and one sent before the object's latest removal is dropped. A reply to a request
// sent after the removal is taken: servers reuse indices (PipeWire hands out freed ids again), so
// it describes a new object. Removals are remembered only while some request is still out.
template <typename Object>
class KeyedMirror {
  public:
    // A request for objects of this kind goes out. Every ticket is settled once, answered or not.
    MirrorTicket ask() {
        ++outstanding_;
        return {generation_, removals_};
    }
    void settle(const MirrorTicket& ticket) {
        if (ticket.generation != generation_ || outstanding_ == 0) return;
        if (--outstanding_ == 0) removedAt_.clear();
    }

    // Stores `fresh` unless the object was removed after the ticket's request went out; returns
    // whether it did. `carry(previous, fresh)` runs first with the entry it replaces (null for a
    // new one), to keep what the mirror had given the object.
    template <typename Carry>
    bool update(const MirrorTicket& ticket, uint32_t index, Object fresh, Carry&& carry) {
        if (ticket.generation != generation_) return false;
        const auto removed = removedAt_.find(index);
        if (removed != removedAt_.end() && removed->second > ticket.removalsBefore) return false;
        const auto found = objects_.find(index);
        carry(found == objects_.end() ? nullptr : &found->second, fresh);
        objects_.insert_or_assign(index, std::move(fresh));
        return true;
    }
    // Forgets the object; whether there was one.
    bool remove(uint32_t index) {
        ++removals_;
        if (outstanding_ > 0) removedAt_[index] = removals_;
        return objects_.erase(index) > 0;
    }
    // Everything goes, and replies to requests sent before are dropped.
    void clear() {
        ++generation_;
        outstanding_ = 0;
        removedAt_.clear();
        objects_.clear();
    }

    const Object* find(uint32_t index) const {
        const auto found = objects_.find(index);
        return found == objects_.end() ? nullptr : &found->second;
    }
    Object* find(uint32_t index) {
        const auto found = objects_.find(index);
        return found == objects_.end() ? nullptr : &found->second;
    }
    // By index, which is also the order the server made them in.
    const std::map<uint32_t, Object>& all() const { return objects_; }
    std::map<uint32_t, Object>& all() { return objects_; }

  private:
    std::map<uint32_t, Object> objects_;
    std::map<uint32_t, uint64_t> removedAt_;  // index -> the removal's number
    uint64_t removals_ = 0;
    uint64_t generation_ = 0;
    uint64_t outstanding_ = 0;
};

}  // namespace sorix::pulse
