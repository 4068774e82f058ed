#pragma once

#include <cstdint>

namespace sorix {

// The buffer types the audio hardware layer hands to the IO procedure. The field names follow
// the platform audio API the render path was first written against, so code reads the same on
// both sides of the hardware seam.
struct AudioBuffer {
    uint32_t mNumberChannels = 0;
    uint32_t mDataByteSize = 0;
    void* mData = nullptr;
};

// Unlike its C ancestor this list does not end in a variable-length array: it points at
// storage owned by whoever builds the list (a preallocated array in the IO context).
struct AudioBufferList {
    uint32_t mNumberBuffers = 0;
    AudioBuffer* mBuffers = nullptr;
};

}  // namespace sorix
