#pragma once

#include <string>

namespace sorix {

// A fresh random (version 4) UUID in the usual upper-case text form. Each pipeline's tap and
// device get new ones, so a build can never be mistaken for the one before it.
std::string newUUIDString();

}  // namespace sorix
