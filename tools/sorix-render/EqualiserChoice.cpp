#include "EqualiserChoice.h"

namespace sorix::render {

void applyEqualiser(const EqualiserChoice& choice, EQProcessor& eq) {
    if (choice.gains) {
        eq.setGains(*choice.gains);
        return;
    }
    eq.setGains(EQProcessor::gains(choice.preset.value_or(EQProcessor::Preset::flat)));
}

std::array<float, EQProcessor::bandCount> equaliserGains(const EqualiserChoice& choice) {
    // Asks a real equaliser rather than repeating its clamping rules here.
    EQProcessor eq;
    applyEqualiser(choice, eq);
    return eq.gains();
}

}  // namespace sorix::render
