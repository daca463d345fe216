// The confirm id that answers each request id of the WLAN firmware, as the
// tests expect it (0 for an id that is no request).
#pragma once

#include <cstdint>

namespace testsupport {

inline std::uint16_t ConfirmIdOf(std::uint16_t request) {
    switch (request) {
        case 0x2001: return 0x2101;
        case 0x9005: return 0x9101;
        case 0x9006: return 0x9103;
        case 0x9007: return 0x9102;
        case 0x9008: return 0x9104;
        case 0x9009: return 0x9105;
        case 0x900A: return 0x9106;
        case 0x900B: return 0x9107;
        case 0x900C: return 0x9108;
        case 0x900D: return 0x9109;
        case 0x901A: return 0x9112;
        case 0x901F: return 0x9116;
        default: return 0;
    }
}

}  // namespace testsupport
