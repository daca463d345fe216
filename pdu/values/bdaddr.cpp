#include "pdu/values/bdaddr.h"

#include <cstdio>

BluetoothDeviceAddress::BluetoothDeviceAddress(const unsigned char* six_wire_bytes) {
    if (six_wire_bytes == nullptr) return;
    mLap = static_cast<unsigned long>(six_wire_bytes[0]) | static_cast<unsigned long>(six_wire_bytes[1]) << 8 |
           static_cast<unsigned long>(six_wire_bytes[2]) << 16;
    mUap = six_wire_bytes[3];
    mNap = static_cast<unsigned short>(six_wire_bytes[4] | six_wire_bytes[5] << 8);
}

BluetoothDeviceAddress::BluetoothDeviceAddress(unsigned short nap, unsigned char uap, unsigned long lap)
    : mLap(lap & kLapMask), mUap(uap), mNap(nap) {}

bool BluetoothDeviceAddress::equals(const BluetoothDeviceAddress& other) const {
    return mLap == other.mLap && mUap == other.mUap && mNap == other.mNap;
}

void BluetoothDeviceAddress::MakeAddressString(char* text) const {
    if (text == nullptr) return;
    std::snprintf(text, kAddressStringSize, "LAP:%06lx  UAP:%02x  NAP:%04x", mLap, static_cast<unsigned>(mUap),
                  static_cast<unsigned>(mNap));
}

BluetoothDeviceAddressWithType::BluetoothDeviceAddressWithType(const unsigned char* seven_bytes) {
    if (seven_bytes == nullptr) return;
    mType = seven_bytes[0];
    mAddress = BluetoothDeviceAddress(seven_bytes + 1);
}

BluetoothDeviceAddressWithType::BluetoothDeviceAddressWithType(unsigned char type,
                                                               const BluetoothDeviceAddress& address)
    : mType(type), mAddress(address) {}

BluetoothDeviceAddressWithType::BluetoothDeviceAddressWithType(unsigned char type, unsigned short nap,
                                                               unsigned char uap, unsigned long lap)
    : mType(type), mAddress(nap, uap, lap) {}

bool BluetoothDeviceAddressWithType::equals(const BluetoothDeviceAddressWithType& other) const {
    return mType == other.mType && mAddress.equals(other.mAddress);
}

const char* BluetoothDeviceAddressWithType::get_type_text() const {
    if (mType == 0) return "Public";
    if (mType != 1) return "Invalid Type";
    // A random address says its kind in the two most significant bits.
    static const char* const kRandomKinds[4] = {"Private Non-Resolvable", "Private Resolvable", "Invalid Random",
                                                "Static"};
    return kRandomKinds[(mAddress.get_nap() >> 14) & 3];
}
