#pragma once

// Tests that run once on each sound server Sorix supports, named after it: a suite's test
// `Case` shows as `Suite.Case/PulseAudio` and `Suite.Case/PipeWire`.
#include <gtest/gtest.h>

#include "PrivateSoundServer.h"

namespace sorix::testing {

inline auto everySoundServer() {
    return ::testing::Values(SoundServerKind::pulseAudio, SoundServerKind::pipeWire);
}

inline std::string soundServerName(const ::testing::TestParamInfo<SoundServerKind>& info) {
    return nameOf(info.param);
}

}  // namespace sorix::testing
