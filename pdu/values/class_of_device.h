// Class of Device: 3 bytes on the wire, little-endian.
//
// Only the low 24 bits of a number are kept. A null pointer given to the byte
// constructor gives class 0.
#pragma once

class ClassOfDevice {
public:
    ClassOfDevice() = default;
    explicit ClassOfDevice(const unsigned char* three_bytes) {
        if (three_bytes == nullptr) return;
        for (int i = 0; i < 3; ++i) mBytes[i] = three_bytes[i];
    }
    explicit ClassOfDevice(unsigned long value) {
        for (int i = 0; i < 3; ++i) mBytes[i] = static_cast<unsigned char>(value >> (8 * i));
    }

    unsigned long get_class_of_device() const {
        return static_cast<unsigned long>(mBytes[0]) | static_cast<unsigned long>(mBytes[1]) << 8 |
               static_cast<unsigned long>(mBytes[2]) << 16;
    }

private:
    unsigned char mBytes[3] = {};
};
