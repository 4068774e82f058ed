#pragma once

namespace sorix {

// Process-wide flags that only snapshot mode sets.
struct SorixRuntime {
    // The process renders a snapshot of the panel: no menu anchor, no event loop of its own.
    static inline bool isSnapshot = false;
    // The panel opens with the equaliser card shown.
    static inline bool snapshotShowsEQ = false;
};

}  // namespace sorix
