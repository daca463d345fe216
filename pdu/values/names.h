// Names, PIN codes, extended inquiry data and antenna lists: byte arrays
// with a length.
//
// BluetoothName holds a local name (text form: it stops at its first NUL) or
// advertising data (raw form: the bytes and the length as given). The length
// is cut to the capacity, and one more always-zero byte lies beyond the
// capacity, so get_str is NUL-terminated whatever the bytes were; the text
// form measures with strnlen bounded by the capacity. BluetoothName16 is the
// same over a word source: its length counts the bytes read from the words
// (at most 498), and its terminator is a whole zero word so that get_str16
// ends too. A null source gives zero bytes: a raw name keeps the cut length,
// a text name has length 0.
#pragma once

#include "pdu/values/byte_values.h"

class PinCode : public CountedBytes<16, PinCode> {
public:
    using CountedBytes<16, PinCode>::CountedBytes;
};

class EIRData : public CountedBytes<240, EIRData> {
public:
    using CountedBytes<240, EIRData>::CountedBytes;
};

class AntennaIds : public CountedBytes<75, AntennaIds> {
public:
    using CountedBytes<75, AntennaIds>::CountedBytes;
};

class BluetoothName {
public:
    static constexpr std::size_t kCapacity = 256;

    BluetoothName() = default;
    BluetoothName(const unsigned char* bytes, unsigned long length, bool raw);

    const unsigned char* get_str() const { return mBytes; }
    unsigned short get_length() const { return mLength; }

private:
    unsigned char mBytes[kCapacity + 1] = {};
    unsigned short mLength = 0;
};

class BluetoothName16 {
public:
    static constexpr std::size_t kCapacity = 498;

    BluetoothName16() = default;
    // length: the number of bytes to take from the words.
    BluetoothName16(const unsigned short* words, unsigned long length, bool raw);

    const unsigned char* get_str() const { return reinterpret_cast<const unsigned char*>(mWords); }
    const unsigned short* get_str16() const { return mWords; }
    unsigned short get_length() const { return mLength; }

private:
    unsigned short mWords[kCapacity / 2 + 1] = {};
    unsigned short mLength = 0;
};
