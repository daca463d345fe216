// Bluetooth device addresses, bare and with the LE address type.
//
// On the wire an address is 6 bytes: the LAP low byte first (3 bytes), the
// UAP, then the NAP little-endian. The LAP is kept masked to its 24 bits, in
// the constructor and in set_lap, so that MakeAddressString always writes
// exactly 28 characters and a NUL (kAddressStringSize bytes).
// A null pointer given to a byte constructor gives the all-zero address.
#pragma once

#include <cstddef>

class BluetoothDeviceAddress {
public:
    // "LAP:xxxxxx  UAP:xx  NAP:xxxx" and its NUL.
    static constexpr std::size_t kAddressStringSize = 29;
    static constexpr unsigned long kLapMask = 0xFFFFFFUL;

    BluetoothDeviceAddress() = default;
    explicit BluetoothDeviceAddress(const unsigned char* six_wire_bytes);
    BluetoothDeviceAddress(unsigned short nap, unsigned char uap, unsigned long lap);

    unsigned long get_lap() const { return mLap; }
    unsigned char get_uap() const { return mUap; }
    unsigned short get_nap() const { return mNap; }
    void set_lap(unsigned long lap) { mLap = lap & kLapMask; }
    void set_uap(unsigned char uap) { mUap = uap; }
    void set_nap(unsigned short nap) { mNap = nap; }

    bool equals(const BluetoothDeviceAddress& other) const;
    // Writes into a caller's buffer of at least kAddressStringSize bytes.
    void MakeAddressString(char* text) const;

private:
    unsigned long mLap = 0;
    unsigned char mUap = 0;
    unsigned short mNap = 0;
};

class BluetoothDeviceAddressWithType {
public:
    BluetoothDeviceAddressWithType() = default;
    // Type byte, then the 6 wire bytes of the address.
    explicit BluetoothDeviceAddressWithType(const unsigned char* seven_bytes);
    BluetoothDeviceAddressWithType(unsigned char type, const BluetoothDeviceAddress& address);
    BluetoothDeviceAddressWithType(unsigned char type, unsigned short nap, unsigned char uap, unsigned long lap);

    unsigned char get_type() const { return mType; }
    const BluetoothDeviceAddress& get_addr() const { return mAddress; }
    void set_type(unsigned char type) { mType = type; }
    void set_addr(const BluetoothDeviceAddress& address) { mAddress = address; }

    bool equals(const BluetoothDeviceAddressWithType& other) const;
    // Public, or for a random address the kind its top two NAP bits name.
    // Never null; the text is static.
    const char* get_type_text() const;

private:
    unsigned char mType = 0;
    BluetoothDeviceAddress mAddress;
};
