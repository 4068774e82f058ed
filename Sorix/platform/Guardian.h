#pragma once

#include <memory>

namespace sorix {

class LogSink;

// The guardian's whole life: reads what Sorix tells it on `descriptor` until the other end
// closes, then undoes on the sound server whatever of the takeover is still in place (the
// default output first, then each moved stream back home, then the taps), within a second. It
// ignores the signals a terminal or a session sends to every process of the program, so that it
// outlives a Sorix that they stop. Returns the exit status.
int runGuardian(int descriptor, std::shared_ptr<LogSink> log = nullptr);

}  // namespace sorix
