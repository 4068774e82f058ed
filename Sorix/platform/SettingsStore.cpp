#include "SettingsStore.h"

#include <cmath>

namespace sorix {

std::optional<bool> SettingsStore::boolean(std::string_view key) const {
    const auto value = object(key);
    if (!value || !value->is_boolean()) return std::nullopt;
    return value->get<bool>();
}

std::optional<double> SettingsStore::finiteNumber(const Value& value) {
    if (!value.is_number()) return std::nullopt;
    const auto number = value.get<double>();
    if (!std::isfinite(number)) return std::nullopt;
    return number;
}

std::optional<double> SettingsStore::number(std::string_view key) const {
    const auto value = object(key);
    if (!value) return std::nullopt;
    return finiteNumber(*value);
}

std::optional<std::string> SettingsStore::string(std::string_view key) const {
    const auto value = object(key);
    if (!value || !value->is_string()) return std::nullopt;
    return value->get<std::string>();
}

std::optional<std::vector<std::string>> SettingsStore::stringArray(std::string_view key) const {
    const auto value = object(key);
    if (!value || !value->is_array()) return std::nullopt;
    std::vector<std::string> strings;
    for (const Value& element : *value) {
        if (!element.is_string()) return std::nullopt;
        strings.push_back(element.get<std::string>());
    }
    return strings;
}

std::optional<std::map<std::string, SettingsStore::Value>> SettingsStore::dictionary(
    std::string_view key) const {
    const auto value = object(key);
    if (!value || !value->is_object()) return std::nullopt;
    std::map<std::string, Value> entries;
    for (const auto& [name, entry] : value->items())
        entries.emplace(name, entry);
    return entries;
}

std::optional<SettingsStore::Value> MemorySettingsStore::object(std::string_view key) const {
    const auto found = values_.find(key);
    if (found == values_.end()) return std::nullopt;
    return *found;
}

void MemorySettingsStore::setObject(std::string_view key, Value value) {
    values_[std::string(key)] = std::move(value);
}

void MemorySettingsStore::removeObject(std::string_view key) { values_.erase(std::string(key)); }

std::map<std::string, double> SettingsStore::numberDictionary(std::string_view key) const {
    std::map<std::string, double> numbers;
    const auto entries = dictionary(key);
    if (!entries) return numbers;
    for (const auto& [name, value] : *entries) {
        if (const auto number = finiteNumber(value)) numbers.emplace(name, *number);
    }
    return numbers;
}

}  // namespace sorix
