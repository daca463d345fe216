// Fuzz target for the protocol value types: every constructor that takes
// bytes or text from outside, with the promises the packet views build on.
// A broken promise aborts (FUZZ_CHECK), so libFuzzer reports it like a crash.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "fuzz/fuzz_check.h"
#include "pdu/values/value_types.h"

namespace {

bool all_zero(const unsigned char* bytes, std::size_t from, std::size_t to) {
    for (std::size_t i = from; i < to; ++i) {
        if (bytes[i] != 0) return false;
    }
    return true;
}

// Length-taking constructors get exactly `size` bytes on the heap, so that
// ASan sees a read one past the end.
template <typename Counted>
void counted(const unsigned char* source, std::size_t size) {
    const Counted value(source, size);
    const std::size_t kept = size < Counted::kCapacity ? size : Counted::kCapacity;
    FUZZ_CHECK(value.get_length() == kept);
    FUZZ_CHECK(source == nullptr ? all_zero(value.get_data(), 0, kept) : std::memcmp(value.get_data(), source, kept) == 0);
    FUZZ_CHECK(all_zero(value.get_data(), kept, Counted::kCapacity));
}

void names(const unsigned char* source, std::size_t size) {
    const BluetoothName raw(source, size, true);
    FUZZ_CHECK(raw.get_length() == (size < 256 ? size : 256));
    FUZZ_CHECK(std::memcmp(raw.get_str(), source, raw.get_length()) == 0 && raw.get_str()[256] == 0);
    const BluetoothName text(source, size, false);
    FUZZ_CHECK(text.get_length() <= 256 && text.get_length() == std::strlen(reinterpret_cast<const char*>(text.get_str())));
    FUZZ_CHECK(std::memcmp(text.get_str(), source, text.get_length()) == 0);

    std::vector<unsigned short> words((size + 1) / 2);
    if (size > 0) std::memcpy(words.data(), source, size);
    const BluetoothName16 raw16(words.data(), size, true);
    FUZZ_CHECK(raw16.get_length() == (size < 498 ? size : 498) && raw16.get_str16()[249] == 0);
    const BluetoothName16 text16(words.data(), size, false);
    FUZZ_CHECK(text16.get_length() == std::strlen(reinterpret_cast<const char*>(text16.get_str())));
    FUZZ_CHECK(text16.get_length() <= 498 && std::memcmp(text16.get_str(), source, text16.get_length()) == 0);
}

void address_text(const BluetoothDeviceAddress& address) {
    auto text = std::make_unique<char[]>(BluetoothDeviceAddress::kAddressStringSize);
    address.MakeAddressString(text.get());
    FUZZ_CHECK(std::strlen(text.get()) == 28);
}

void addresses(const unsigned char* pad) {
    const BluetoothDeviceAddress address(pad);
    const unsigned long lap = address.get_lap();
    const unsigned char back[6] = {static_cast<unsigned char>(lap), static_cast<unsigned char>(lap >> 8),
                                   static_cast<unsigned char>(lap >> 16), address.get_uap(),
                                   static_cast<unsigned char>(address.get_nap()),
                                   static_cast<unsigned char>(address.get_nap() >> 8)};
    FUZZ_CHECK(lap <= 0xFFFFFF && std::memcmp(back, pad, 6) == 0);
    address_text(address);
    unsigned long wide = 0;
    std::memcpy(&wide, pad + 6, sizeof wide);
    address_text(BluetoothDeviceAddress(0xFFFF, 0xFF, wide));

    const BluetoothDeviceAddressWithType typed(pad);
    FUZZ_CHECK(typed.get_type() == pad[0] && typed.get_addr().equals(BluetoothDeviceAddress(pad + 1)));
    const char* kind = typed.get_type_text();
    static const char* const kKinds[] = {"Public", "Private Non-Resolvable", "Private Resolvable", "Invalid Random",
                                         "Static", "Invalid Type"};
    bool known = false;
    for (const char* k : kKinds) known = known || std::strcmp(kind, k) == 0;
    FUZZ_CHECK(known && (pad[0] > 1) == (std::strcmp(kind, "Invalid Type") == 0));

    FUZZ_CHECK(ClassOfDevice(pad).get_class_of_device() ==
          (static_cast<unsigned long>(pad[0]) | pad[1] << 8 | static_cast<unsigned long>(pad[2]) << 16));
    FUZZ_CHECK(ClassOfDevice(wide).get_class_of_device() <= 0xFFFFFF);
}

template <typename Map>
void channel_map(const unsigned char* pad, unsigned char steer) {
    Map map(pad);
    for (unsigned n = 0; n < Map::kBits + 16; ++n) {
        FUZZ_CHECK(map.get_val(n) == (n < Map::kBits && (pad[n / 8] >> (n % 8) & 1)));
    }
    unsigned char before[Map::kSize];
    std::memcpy(before, map.get_ptr(), sizeof before);
    const unsigned n = steer;  // reaches past both maps
    map.set_val(n, (steer & 1) != 0);
    for (unsigned i = 0; i < Map::kSize; ++i) {
        unsigned char want = before[i];
        if (n < Map::kBits && i == n / 8) {
            const unsigned char mask = static_cast<unsigned char>(1u << (n % 8));
            want = (steer & 1) != 0 ? want | mask : want & mask;
        }
        FUZZ_CHECK(map.get_ptr()[i] == want);
    }
}

// Received bytes decode; the decoded values written again give the same bytes.
template <typename Block>
void l2cap(const unsigned char* source, std::size_t size, const unsigned long* wild, unsigned count) {
    const Block received(source, size);
    FUZZ_CHECK(received.get_length() == (size < 24 ? size : 24));
    const Block rebuilt(received.get_decode(), Block::kElements);
    FUZZ_CHECK(rebuilt.get_length() == Block::kLength);
    FUZZ_CHECK(std::memcmp(rebuilt.get_data(), received.get_data(), Block::kLength) == 0);
    const Block written(wild, count);
    FUZZ_CHECK(written.get_length() == Block::kOffsets[count < Block::kElements ? count : Block::kElements]);
}

void sync_config(const unsigned char* source, std::size_t size, const unsigned long* wild) {
    const DMSyncConfig received(source, size);
    const unsigned long values[6] = {received.max_latency(), received.retx_effort(), received.packet_type(),
                                     received.voice_settings(), received.tx_bdw(), received.rx_bdw()};
    FUZZ_CHECK(std::memcmp(DMSyncConfig(values, 6).get_data(), received.get_data(), 16) == 0);
    const unsigned long masks[6] = {0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFFFFFF, 0xFFFFFFFF};
    unsigned long fitting[6];
    for (int i = 0; i < 6; ++i) fitting[i] = wild[i] & masks[i];
    const DMSyncConfig back(DMSyncConfig(fitting, 6).get_data(), 16);
    const unsigned long read[6] = {back.max_latency(), back.retx_effort(), back.packet_type(),
                                   back.voice_settings(), back.tx_bdw(), back.rx_bdw()};
    FUZZ_CHECK(std::memcmp(read, fitting, sizeof read) == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 4096) return 0;
    const unsigned char steer = size > 0 ? data[0] : 0;
    const auto exact = std::make_unique<unsigned char[]>(size);
    if (size > 0) std::memcpy(exact.get(), data, size);
    // Fixed-size constructors read their whole width: give them a zero-padded copy.
    unsigned char pad[128] = {};
    if (size > 0) std::memcpy(pad, data, size < sizeof pad ? size : sizeof pad);
    unsigned long wild[7];
    std::memcpy(wild, pad + 8, sizeof wild);

    counted<PinCode>(exact.get(), size);
    counted<EIRData>(exact.get(), size);
    counted<AntennaIds>(exact.get(), size);
    counted<AntennaIds>(nullptr, size);
    names(exact.get(), size);
    addresses(pad);
    channel_map<AFHmap>(pad, steer);
    channel_map<ULPChannelMap>(pad, steer);
    l2cap<L2caQos>(exact.get(), size, wild, steer % 9);
    l2cap<L2caFlow>(exact.get(), size, wild, steer % 9);
    l2cap<L2caFlowSpec>(exact.get(), size, wild, steer % 9);
    sync_config(exact.get(), size, wild);

    HCIEventMask mask(pad);
    mask.set_all((steer & 1) != 0);
    FUZZ_CHECK(all_zero(mask.get_data(), 4, 8));
    FUZZ_CHECK(Helper::num_set_bits(steer) == static_cast<unsigned>(__builtin_popcount(steer)));
    unsigned short rows[8];
    std::memcpy(rows, pad, sizeof rows);
    const DMRoleSwitchPolicyTable table(rows, steer % 8);
    FUZZ_CHECK(table.slaves(steer % 8) == 255 && !table.forbid_roleswitch_outgoing(steer % 8));
    FUZZ_CHECK(LinkKey(pad).equals(LinkKey(pad)) && !LinkKey(pad).equals(LinkKey(nullptr)));
    return 0;
}
