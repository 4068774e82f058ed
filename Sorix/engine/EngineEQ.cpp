#include "EQControls.h"
#include "TapEngine.h"

namespace sorix {

void TapEngine::setEQPreset(EQProcessor::Preset preset) { sorix::setEQPreset(eq(), log_, preset); }

void TapEngine::setEQGains(std::span<const float> gains) { sorix::setEQGains(eq(), log_, gains); }

}  // namespace sorix
