// Fixed, optional and counted byte arrays that stand for protocol fields.
//
// Each named class copies its bytes in and hands them out through the getter
// the packet views use (get_data, get_ptr or get_str). Every constructor
// zero-initialises: a null pointer gives all zero bytes, also for the classes
// (features, supported commands) that have nothing sensible to keep from
// before. An optional array remembers whether it was given bytes at all, and
// its getter answers null when it was not. A counted array cuts its length to
// its capacity, keeps zeros after the length, and with a null pointer keeps
// zeros and the cut length.
#pragma once

#include <cstddef>
#include <cstring>

template <std::size_t N>
class FixedBytes {
public:
    static constexpr std::size_t kSize = N;

    FixedBytes() = default;
    explicit FixedBytes(const unsigned char* bytes) {
        if (bytes != nullptr) std::memcpy(mBytes, bytes, N);
    }

protected:
    unsigned char mBytes[N] = {};
};

// Tag is the named class itself, so that only values of one kind compare.
template <std::size_t N, typename Tag>
class OptionalBytes {
public:
    static constexpr std::size_t kSize = N;

    OptionalBytes() = default;
    explicit OptionalBytes(const unsigned char* bytes) : mSet(bytes != nullptr) {
        if (bytes != nullptr) std::memcpy(mBytes, bytes, N);
    }

    const unsigned char* get_data() const { return mSet ? mBytes : nullptr; }

    // Two unset values are equal; a set and an unset one never are.
    bool equals(const OptionalBytes& other) const {
        if (mSet != other.mSet) return false;
        return !mSet || std::memcmp(mBytes, other.mBytes, N) == 0;
    }

private:
    bool mSet = false;
    unsigned char mBytes[N] = {};
};

template <std::size_t N, typename Tag>
class CountedBytes {
    static_assert(N <= 255, "the length is kept in one byte");

public:
    static constexpr std::size_t kCapacity = N;

    CountedBytes() = default;
    CountedBytes(const unsigned char* bytes, unsigned long length)
        : mLength(static_cast<unsigned char>(length < N ? length : N)) {
        if (bytes != nullptr) std::memcpy(mBytes, bytes, mLength);
    }

    const unsigned char* get_data() const { return mBytes; }
    unsigned char get_length() const { return mLength; }

private:
    unsigned char mBytes[N] = {};
    unsigned char mLength = 0;
};

// One named fixed array: its constructors and the getter its views call.
#define WLBT_FIXED_BYTES(Name, Size, Getter)                    \
    class Name : public FixedBytes<Size> {                      \
    public:                                                     \
        using FixedBytes<Size>::FixedBytes;                     \
        const unsigned char* Getter() const { return mBytes; } \
    }

WLBT_FIXED_BYTES(LMPSupportedFeatures, 8, get_data);
WLBT_FIXED_BYTES(LMPExtFeatures, 8, get_data);
WLBT_FIXED_BYTES(SupportedCommands, 64, get_data);
WLBT_FIXED_BYTES(DATA_uint8_len_5, 5, get_ptr);
WLBT_FIXED_BYTES(ULPKey, 16, get_str);
WLBT_FIXED_BYTES(ULPRandom, 8, get_ptr);
WLBT_FIXED_BYTES(ULPSupportedFeatures, 8, get_ptr);
WLBT_FIXED_BYTES(ULPSupportedStates, 8, get_ptr);

#define WLBT_OPTIONAL_BYTES(Name, Size)                           \
    class Name : public OptionalBytes<Size, Name> {               \
    public:                                                       \
        using OptionalBytes<Size, Name>::OptionalBytes;           \
    }

WLBT_OPTIONAL_BYTES(LinkKey, 16);
WLBT_OPTIONAL_BYTES(SPhashC, 16);
WLBT_OPTIONAL_BYTES(SPrandomizerR, 16);
WLBT_OPTIONAL_BYTES(DATA_uint8_len_16_ret, 16);
WLBT_OPTIONAL_BYTES(DATA_uint8_len_32_ret, 32);
WLBT_OPTIONAL_BYTES(DATA_uint8_len_64_ret, 64);
WLBT_OPTIONAL_BYTES(DATA_uint8_len_100_ret, 100);

// Addresses given as 16-bit words; each word is kept low byte first, the
// order of every 16-bit value on the wire.
template <std::size_t Words>
class WordBytes : public FixedBytes<2 * Words> {
public:
    WordBytes() = default;
    explicit WordBytes(const unsigned short* words) {
        if (words == nullptr) return;
        for (std::size_t i = 0; i < Words; ++i) {
            this->mBytes[2 * i] = static_cast<unsigned char>(words[i]);
            this->mBytes[2 * i + 1] = static_cast<unsigned char>(words[i] >> 8);
        }
    }
    const unsigned char* get_data() const { return this->mBytes; }
};

class IPAddress : public WordBytes<8> {
public:
    using WordBytes<8>::WordBytes;
};

class EtherNetAddress : public WordBytes<3> {
public:
    using WordBytes<3>::WordBytes;
};
