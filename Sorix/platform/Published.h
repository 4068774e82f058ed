#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <utility>

namespace sorix {

// A value the panel watches. Every assignment notifies the observers with the new value, even
// when it equals the old one, so a view never misses a write. Main thread only: the owner writes
// on the main thread and observers run inside the write. Watching is not writing, so anyone who
// can read the value may observe it.
template <typename T>
class Published {
  public:
    using Observer = std::function<void(const T&)>;
    using Token = std::size_t;

    Published() = default;
    explicit Published(T initial) : value_(std::move(initial)) {}
    Published(const Published&) = delete;
    Published& operator=(const Published&) = delete;

    const T& get() const { return value_; }
    operator const T&() const { return value_; }  // NOLINT(google-explicit-constructor)
    const T* operator->() const { return &value_; }

    Published& operator=(T value) {
        value_ = std::move(value);
        // A copy, so that an observer may remove itself (or another) while being told.
        const auto observers = observers_;
        for (const auto& [token, observer] : observers)
            observer(value_);
        return *this;
    }

    Token observe(Observer observer) const {
        observers_.emplace(++lastToken_, std::move(observer));
        return lastToken_;
    }
    void removeObserver(Token token) const { observers_.erase(token); }

  private:
    T value_{};
    mutable std::map<Token, Observer> observers_;
    mutable Token lastToken_ = 0;
};

}  // namespace sorix
