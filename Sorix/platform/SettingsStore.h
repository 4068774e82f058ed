#pragma once

#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sorix {

// The per-user key-value store of every persistent setting. Values are plain JSON: booleans,
// numbers, strings, arrays and objects. Typed reads follow the rule that a key holding a value of
// another type reads as absent, so every reader falls back to its default. Main thread only.
class SettingsStore {
  public:
    using Value = nlohmann::json;

    virtual ~SettingsStore() = default;

    virtual std::optional<Value> object(std::string_view key) const = 0;
    virtual void setObject(std::string_view key, Value value) = 0;
    virtual void removeObject(std::string_view key) = 0;

    // A value as a number the engine can use. A non-finite one reads as absent, like a value of
    // another type, so that an infinity or a NaN never gets past a reader's fallback. The file
    // cannot hold one (the JSON parser refuses 1e999, and infinity and NaN are written as null),
    // but a value set in memory can.
    static std::optional<double> finiteNumber(const Value& value);

    bool has(std::string_view key) const { return object(key).has_value(); }
    std::optional<bool> boolean(std::string_view key) const;
    // Absent unless finite (see finiteNumber).
    std::optional<double> number(std::string_view key) const;
    std::optional<std::string> string(std::string_view key) const;
    // Absent unless every element is a string.
    std::optional<std::vector<std::string>> stringArray(std::string_view key) const;
    // The entries of an object, each as stored; absent for any other type.
    std::optional<std::map<std::string, Value>> dictionary(std::string_view key) const;
    // The finite numbers of an object (see finiteNumber); entries of other kinds are left out,
    // so that each falls back to its default. Empty for any other type.
    std::map<std::string, double> numberDictionary(std::string_view key) const;

    // The defaults store's readers: false and 0.0 when absent or of another type.
    bool boolForKey(std::string_view key) const { return boolean(key).value_or(false); }
    double doubleForKey(std::string_view key) const { return number(key).value_or(0.0); }

    void setBool(std::string_view key, bool value) { setObject(key, value); }
    void setDouble(std::string_view key, double value) { setObject(key, value); }
    void setString(std::string_view key, std::string value) { setObject(key, std::move(value)); }
    void setStringArray(std::string_view key, std::vector<std::string> value) {
        setObject(key, std::move(value));
    }
};

// A store in memory, for tests and for runs that must not touch the user's file.
class MemorySettingsStore : public SettingsStore {
  public:
    std::optional<Value> object(std::string_view key) const override;
    void setObject(std::string_view key, Value value) override;
    void removeObject(std::string_view key) override;

    const Value& contents() const { return values_; }

  private:
    Value values_ = Value::object();
};

}  // namespace sorix
