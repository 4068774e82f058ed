#include "UUIDString.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <random>

namespace sorix {

std::string newUUIDString() {
    static thread_local std::mt19937_64 generator{std::random_device{}()};
    std::array<uint8_t, 16> bytes{};
    for (std::size_t i = 0; i < bytes.size(); i += 8) {
        const uint64_t word = generator();
        for (std::size_t b = 0; b < 8; ++b)
            bytes[i + b] = static_cast<uint8_t>(word >> (8 * b));
    }
    bytes[6] = static_cast<uint8_t>((bytes[6] & 0x0f) | 0x40);  // version 4
    bytes[8] = static_cast<uint8_t>((bytes[8] & 0x3f) | 0x80);  // RFC 4122 variant
    char text[37];
    std::snprintf(text, sizeof text,
                  "%02X%02X%02X%02X-%02X%02X-%02X%02X-%02X%02X-%02X%02X%02X%02X%02X%02X", bytes[0],
                  bytes[1], bytes[2], bytes[3], bytes[4], bytes[5], bytes[6], bytes[7], bytes[8],
                  bytes[9], bytes[10], bytes[11], bytes[12], bytes[13], bytes[14], bytes[15]);
    return text;
}

}  // namespace sorix
