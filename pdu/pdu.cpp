#include "pdu/pdu.h"

#include <cstring>

#include "enginefw/critical_section.h"

namespace {

PDUStore* NewStore(uint32_t channel, unsigned long size) {
    auto* store = new PDUStore;
    store->channel = channel;
    store->size = size;
    store->data = new uint8_t[size]();
    store->count = 1;
    store->lock = CriticalSection::InitialiseCS(true);
    return store;
}

}  // namespace

const PDU null_pdu(PDU::no_channel, 0);

PDU::PDU(ts_channel channel, unsigned long size) : mStore(NewStore(channel, size)) {}

PDU::PDU(ts_channel channel, const unsigned char* data, unsigned long size) : mStore(NewStore(channel, size)) {
    if (data != nullptr && size > 0) {
        std::memcpy(mStore->data, data, size);
    }
}

PDU::PDU(PDUStore* store) : mStore(store) {
    CriticalSectionLock hold(mStore->lock);
    ++mStore->count;
}

PDU::PDU(const PDU& other) : PDU(other.mStore) {}

PDU& PDU::operator=(const PDU& other) {
    if (other.mStore == mStore) {
        return *this;
    }
    {
        CriticalSectionLock hold(other.mStore->lock);
        ++other.mStore->count;
    }
    Release();
    mStore = other.mStore;
    return *this;
}

PDU::~PDU() { Release(); }

void PDU::Release() {
    void* lock = mStore->lock;
    bool last;
    {
        CriticalSectionLock hold(lock);
        last = --mStore->count == 0;
        if (last) {
            delete[] mStore->data;
            delete mStore;
        }
    }
    // The lock is destroyed only once it has been left.
    if (last) {
        CriticalSection::DestroyCS(lock);
    }
    mStore = nullptr;
}

PDU PDU::clone() const { return PDU(channel(), mStore->data, mStore->size); }

void PDU::resize(unsigned long size) {
    if (size == mStore->size) {
        return;
    }
    auto* bytes = new uint8_t[size]();
    std::memcpy(bytes, mStore->data, size < mStore->size ? size : mStore->size);
    delete[] mStore->data;
    mStore->data = bytes;
    mStore->size = size;
}

uint8_t PDU::get_uint8(unsigned long offset) const { return offset < mStore->size ? mStore->data[offset] : 0; }

int8_t PDU::get_int8(unsigned long offset) const { return static_cast<int8_t>(get_uint8(offset)); }

void PDU::set_uint8(unsigned long offset, uint8_t value) {
    if (offset < mStore->size) {
        mStore->data[offset] = value;
    }
}

void PDU::set_int8(unsigned long offset, int8_t value) { set_uint8(offset, static_cast<uint8_t>(value)); }

uint16_t PDU::get_uint16(unsigned long offset) const {
    return static_cast<uint16_t>(get_uint8(offset) | get_uint8(offset + 1) << 8);
}

int16_t PDU::get_int16(unsigned long offset) const { return static_cast<int16_t>(get_uint16(offset)); }

void PDU::set_uint16(unsigned long offset, uint16_t value) {
    set_uint8(offset, static_cast<uint8_t>(value));
    set_uint8(offset + 1, static_cast<uint8_t>(value >> 8));
}

void PDU::set_int16(unsigned long offset, int16_t value) { set_uint16(offset, static_cast<uint16_t>(value)); }

uint32_t PDU::get_uint32(unsigned long offset) const {
    return static_cast<uint32_t>(get_uint16(offset)) << 16 | get_uint16(offset + 2);
}

void PDU::set_uint32(unsigned long offset, uint32_t value) {
    set_uint16(offset, static_cast<uint16_t>(value >> 16));
    set_uint16(offset + 2, static_cast<uint16_t>(value));
}

uint32_t PDU::get_uint24(unsigned long offset) const { return get_uint32(offset) & 0xFFFFFF; }

void PDU::set_uint24(unsigned long offset, uint32_t value) { set_uint32(offset, value & 0xFFFFFF); }

BluetoothDeviceAddress PDU::get_BluetoothDeviceAddress(unsigned long offset) const {
    return BluetoothDeviceAddress(get_uint16(offset + 6), static_cast<unsigned char>(get_uint16(offset + 4)),
                                  get_uint32(offset));
}

void PDU::set_BluetoothDeviceAddress(unsigned long offset, const BluetoothDeviceAddress& address) {
    set_uint32(offset, static_cast<uint32_t>(address.get_lap()));
    set_uint16(offset + 4, address.get_uap());
    set_uint16(offset + 6, address.get_nap());
}

unsigned long PDU::get_uint8Array(uint8_t* dst, unsigned long offset, unsigned long count) const {
    const unsigned long size = mStore->size;
    if (offset >= size || count > size - offset) {
        count = size - offset;  // wraps for an offset past the end, as callers expect
    }
    if (offset < size && dst != nullptr && count > 0) {
        std::memcpy(dst, mStore->data + offset, count);
    }
    return count;
}

unsigned long PDU::set_uint8Array(const uint8_t* src, unsigned long offset, unsigned long count) {
    if (src == nullptr) {
        return 0;
    }
    if (offset + count > mStore->size) {
        resize(offset + count);
    }
    if (count > 0) {
        std::memcpy(mStore->data + offset, src, count);
    }
    return count;
}

unsigned long PDU::get_uint16Array(uint16_t* dst, unsigned long offset, unsigned long count) const {
    if (dst == nullptr) {
        return 0;
    }
    const unsigned long words = offset < mStore->size ? (mStore->size - offset) / 2 : 0;
    if (count > words) {
        count = words;
    }
    for (unsigned long i = 0; i < count; ++i) {
        dst[i] = get_uint16(offset + 2 * i);
    }
    return count;
}

unsigned long PDU::set_uint16Array(const uint16_t* src, unsigned long offset, unsigned long count) {
    if (src == nullptr) {
        return 0;
    }
    if (offset + 2 * count > mStore->size) {
        resize(offset + 2 * count);
    }
    for (unsigned long i = 0; i < count; ++i) {
        set_uint16(offset + 2 * i, src[i]);
    }
    return count;
}

uint16_t* PDU::get_uint16ArrayPtr(unsigned long offset) const {
    return reinterpret_cast<uint16_t*>(mStore->data + offset);
}
