// Reads back the capture files the library writes: the blocks of a pcapng
// file and the records of a btsnoop file, with every length checked.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace capturetest {

struct Block {
    uint32_t type = 0;
    size_t offset = 0;  // of the block in the file
    std::string body;   // between the two lengths
};

inline uint32_t U32(const std::string& s, size_t at) {
    uint32_t v = 0;
    std::memcpy(&v, s.data() + at, 4);
    return v;
}

inline uint32_t Be32(const std::string& s, size_t at) {
    const auto* p = reinterpret_cast<const unsigned char*>(s.data() + at);
    return (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | p[3];
}

inline uint64_t Be64(const std::string& s, size_t at) { return (uint64_t{Be32(s, at)} << 32) | Be32(s, at + 4); }

// Whole blocks up to the end of the file. `error` tells of a block whose
// lengths do not hold, and of bytes left over at the end (a cut block).
inline std::vector<Block> ReadBlocks(const std::string& file, std::string& error) {
    std::vector<Block> blocks;
    size_t at = 0;
    while (at < file.size()) {
        if (file.size() - at < 12) {
            error = "a cut block at " + std::to_string(at);
            break;
        }
        const uint32_t length = U32(file, at + 4);
        if (length < 12 || length % 4 != 0) {
            error = "a block length of " + std::to_string(length) + " at " + std::to_string(at);
            break;
        }
        if (length > file.size() - at) {
            error = "a cut block at " + std::to_string(at);
            break;
        }
        if (U32(file, at + length - 4) != length) {
            error = "trailing length differs at " + std::to_string(at);
            break;
        }
        blocks.push_back({U32(file, at), at, file.substr(at + 8, length - 12)});
        at += length;
    }
    return blocks;
}

// An Enhanced Packet Block's parts.
struct Packet {
    uint32_t interface = 0;
    uint64_t us = 0;
    std::string data;
};

inline Packet ReadPacket(const Block& b) {
    Packet p;
    p.interface = U32(b.body, 0);
    p.us = (uint64_t{U32(b.body, 4)} << 32) | U32(b.body, 8);
    p.data = b.body.substr(20, U32(b.body, 12));
    return p;
}

// The 64-bit value of option `code` in an option list, or ~0 when absent.
inline uint64_t Option64(const std::string& body, size_t at, uint16_t code) {
    while (at + 4 <= body.size()) {
        uint16_t c = 0;
        uint16_t n = 0;
        std::memcpy(&c, body.data() + at, 2);
        std::memcpy(&n, body.data() + at + 2, 2);
        if (c == 0) break;
        if (c == code && n == 8) {
            uint64_t v = 0;
            std::memcpy(&v, body.data() + at + 4, 8);
            return v;
        }
        at += 4 + ((n + 3u) & ~3u);
    }
    return ~0ull;
}

}  // namespace capturetest
