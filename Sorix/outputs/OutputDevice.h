#pragma once

#include <string>

namespace sorix {

// A physical output as the user picks it. The UID is the only key by which the rest of the
// system refers to an output; two records with one UID and different names are different values.
struct OutputDevice {
    std::string uid;
    std::string name;
    friend bool operator==(const OutputDevice&, const OutputDevice&) = default;
};

}  // namespace sorix
