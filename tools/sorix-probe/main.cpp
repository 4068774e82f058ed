// sorix-probe: prints what Sorix's audio hardware layer sees, for users and support.

#include <cstdio>
#include <cstring>
#include <iostream>

#include "ManualMainQueue.h"
#include "Probe.h"
#include "PulseAudioHardware.h"

namespace {

constexpr const char* kUsage =
    "Usage: sorix-probe [--json]\n"
    "Prints the default output, every output device and every process connected to the sound\n"
    "server, as Sorix sees them.\n"
    "  --json   one JSON object instead of a table\n"
    "  --help   this text\n";

}  // namespace

int main(int argc, char** argv) {
    bool json = false;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--json") == 0) {
            json = true;
        } else if (std::strcmp(argv[i], "--help") == 0) {
            std::cout << kUsage;
            return 0;
        } else {
            std::cerr << "sorix-probe: unknown option " << argv[i] << "\n" << kUsage;
            return 2;
        }
    }

    // Listeners are not needed here: nothing runs the queue.
    sorix::ManualMainQueue queue;
    sorix::PulseAudioHardware hardware(queue, 3.0);
    if (!hardware.isConnected()) {
        std::cerr << "sorix-probe: no sound server is reachable (is PulseAudio or PipeWire "
                     "running for this user?)\n";
        return 1;
    }
    const sorix::probe::Report report = sorix::probe::collect(hardware);
    if (json) {
        std::cout << sorix::probe::toJson(report).dump(2) << "\n";
    } else {
        std::cout << sorix::probe::toTable(report);
    }
    return 0;
}
