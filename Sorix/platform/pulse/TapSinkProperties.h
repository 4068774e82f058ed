#pragma once

// How a tap's sink is marked on the server, for this Sorix and the next one.
namespace sorix::pulse {

// The sink properties that mark a tap and name the process that made it: its pid and its start
// time, so that a reused pid is not taken for the owner.
inline constexpr const char* kTapOwnerProperty = "sorix.tap.owner_pid";
inline constexpr const char* kTapOwnerStartProperty = "sorix.tap.owner_start";
// The tap's sink name stays the same from start to start: a session manager that remembers where
// each stream played then keeps one entry for it rather than one more at every start.
inline constexpr const char* kTapSinkName = "sorix_tap";

}  // namespace sorix::pulse
