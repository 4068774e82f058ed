// The entry of `sorix-guardian`, which Sorix starts beside itself (see Guardian.h); it is not
// meant to be run by hand.
#include <charconv>
#include <cstring>
#include <iostream>

#include "Guardian.h"

int main(int argc, char** argv) {
    int descriptor = -1;
    if (argc == 2) {
        const char* end = argv[1] + std::strlen(argv[1]);
        const auto [stop, error] = std::from_chars(argv[1], end, descriptor);
        if (error != std::errc() || stop != end) descriptor = -1;
    }
    if (descriptor < 0) {
        std::cerr << "usage: sorix-guardian FD (started by sorix, not by hand)\n";
        return 2;
    }
    return sorix::runGuardian(descriptor);
}
