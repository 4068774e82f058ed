#pragma once

#include <array>
#include <string_view>

// The one table of persistent settings: every key the system reads or writes, and the value a
// reader uses when the key is absent or holds another type.
namespace sorix::SettingsKeys {

// Boost factor, 1.0 = 100 %, kept in 1.0..8.0 (at most 2.0 in Safe Mode).
inline constexpr std::string_view volumeBoost = "volumeBoost";
inline constexpr double volumeBoostDefault = 1.0;
// The master switch: the engine should run.
inline constexpr std::string_view boostActive = "boostActive";
inline constexpr bool boostActiveDefault = false;
// Hearing protection: boost capped at 2.0.
inline constexpr std::string_view safeMode = "safeMode";
inline constexpr bool safeModeDefault = true;
// Raw value of the selected equaliser preset; an unknown one reads as "flat".
inline constexpr std::string_view eqPreset = "eqPreset";
inline constexpr std::string_view eqPresetDefault = "flat";
// The custom preset's six band gains in dB, "%.1f" each, joined by ",".
inline constexpr std::string_view customEQGains = "customEQGains";
inline constexpr std::string_view customEQGainsDefault = "0,0,0,0,0,0";
// Pinned outputs, in order (array of device UIDs); absent means the system default output.
inline constexpr std::string_view outputDeviceUIDs = "outputDeviceUIDs";
// Legacy single pinned output, read only when outputDeviceUIDs is absent.
inline constexpr std::string_view outputDeviceUID = "outputDeviceUID";
// Device UID -> software gain 0..1; empty by default.
inline constexpr std::string_view outputVolumes = "outputVolumes";
// Per-output volumes move together.
inline constexpr std::string_view volumesLinked = "volumesLinked";
inline constexpr bool volumesLinkedDefault = true;
// Device UID -> manual delay in milliseconds; empty by default.
inline constexpr std::string_view outputDelays = "outputDelays";
// Diagnostic: tapped programs stay audible on their own outputs. Never written by Sorix.
inline constexpr std::string_view debugUnmuted = "debugUnmuted";
inline constexpr bool debugUnmutedDefault = false;

inline constexpr std::array<std::string_view, 11> all = {
    volumeBoost,     boostActive,   safeMode,      eqPreset,     customEQGains, outputDeviceUIDs,
    outputDeviceUID, outputVolumes, volumesLinked, outputDelays, debugUnmuted};

}  // namespace sorix::SettingsKeys
