// The WLAN firmware client. The exported wlan_ functions against the
// simulated firmware: the bytes of every request, what each confirm decodes
// to, the result-code texts, how the client copes with confirms the firmware
// is steered to bend, and the connect state. Then the buffer ends no
// firmware frame reaches one byte at a time: the UDI frame decoder's bounds
// from both sides, and the VL value readers.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "commstest/CommstestError.h"
#include "commstest/commstest_lib_mgr.h"
#include "commstest/udipayload.h"
#include "commstest/vldata.h"
#include "sim/wlanfw/settings_text.h"
#include "support/sim_env.h"
#include "support/wire.h"
#include "wlan_interface.h"

namespace {

using Call = std::function<std::string()>;
using testwire::Bytes;
using testwire::ToHex;

const CommstestMacAddress kBroadcast = {{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}};
const CommstestMacAddress kSource = {{0x00, 0x11, 0x22, 0x33, 0x44, 0x55}};
const CommstestMacAddress kRx = {{0x11, 0x22, 0x33, 0x44, 0x55, 0x66}};

// A value shown in hex; it holds a reference, so it may be made before the call that fills it.
template <typename T>
struct Hex {
    const T& value;
};
template <typename T>
std::ostream& operator<<(std::ostream& out, Hex<T> hex) {
    return out << "0x" << std::hex << hex.value << std::dec;
}

// "<code> <values...>", then " | <last error>" after a failure. The values
// are taken by reference and read once the call that fills them returned.
template <typename... T>
std::string Result(int32_t code, const T&... values) {
    std::ostringstream out;
    out << code;
    ((out << ' ' << values), ...);
    if (code != 0) out << " | " << wlan_get_last_error();
    return out.str();
}

// By default a frame an hour: a stream's count stays put.
int32_t SetTx(int bandwidth = 0, int position = 0, uint16_t rate = 1, uint16_t freq = 2412, int8_t power = 0,
              uint16_t length = 100, uint32_t interval = 4000000000u, uint32_t flags = COMMSTEST_TX_FLAG_BASE,
              uint16_t regDomain = 0, uint16_t flags2 = 0, uint16_t heMode = 0, uint8_t ru = 0, uint8_t ltf = 0) {
    return wlan_set_tx_params(
        static_cast<CommstestChannelBandwidth>(bandwidth), static_cast<CommstestPrimaryChannelPosition>(position),
        static_cast<CommstestDataRate>(rate), freq, power, length, interval,
        static_cast<CommstestTxSetParamsFlags>(flags), static_cast<CommstestDFSRegulatory>(regDomain),
        static_cast<CommstestTxSetParamsFlags2>(flags2), static_cast<CommstestTxHEMode>(heMode), ru, ltf);
}

const Call kTxRead = [] { uint32_t left = 0; return Result(wlan_tx_read(&left), left); };
const Call kChipId = [] { uint16_t chip = 0; return Result(wlan_get_chip_id(&chip), Hex<uint16_t>{chip}); };
const Call kTemperature = [] { uint64_t value = 0; return Result(wlan_get_mib_uint(5062, &value), value); };
const Call kBist = [] { uint32_t g = 0; return Result(wlan_bist_get_tx_gain(5180, 25, 2, &g), Hex<uint32_t>{g}); };
const Call kRxRead = [] {  // total, good, the average RSSI
    uint32_t total = 0, good = 99;
    int16_t rssi = 0;
    return Result(commstest_rx_read(&total, &good, nullptr, nullptr, &rssi, nullptr, nullptr, nullptr, nullptr,
                                    nullptr, nullptr, nullptr), total, good, rssi);
};

Call BuildId(size_t length) {  // the text up to its terminator, never past `length`
    return [length] {
        std::vector<char> buffer(length + 1, 'x');
        const int32_t code = wlan_get_fw_build_id(buffer.data(), length);
        return Result(code, std::string(buffer.data(), strnlen(buffer.data(), length)));
    };
}

// Hex bytes, with "0*N" for N zero bytes.
std::string Wire(const std::string& hex) {
    std::istringstream in(hex);
    std::string token, out;
    while (in >> token) out += token.rfind("0*", 0) == 0 ? std::string(2 * std::stoul(token.substr(2)), '0') : token;
    return ToHex(testwire::FromHex(out));
}

// The device open on the simulated test firmware.
class WlanClient : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(env.LoadTestFirmware() && wlan_open_device() == 0) << wlan_get_last_error(); }
    void TearDown() override { wlan_close_device(); }

    // Settings as tavo-sim --wlanfw takes them, ';' between them.
    void Steer(const std::string& settings) {
        std::istringstream in(settings);
        std::string error;
        for (std::string s; std::getline(in, s, ';');) {
            EXPECT_TRUE(tavo::sim::wlanfw::ApplySetting(env.WlanFw(), s, error)) << error;
        }
    }

    testsupport::SimEnv env;
};

// One row per request kind, in an order that gives each the state it needs.
TEST_F(WlanClient, RequestBytesAndDecodedConfirms) {
    // hex: the request sent, null when not looked at
    struct Row { const char* steer; Call call; uint16_t id; const char* hex; std::string outcome; } const rows[] = {
        {"", [] { return Result(wlan_select_radio(static_cast<CommstestRadioBitmap>(0x12345))); }, 0x901A,
         "1a 90 00 00 01 c0 00 00 00 00 45 23 0*12", "201 | wlan_select_radio: One of the supplied parameters is not "
         "valid (i.e out of range or conflicts with another parameter)."},
        {"", [] { return Result(wlan_cw_start(2412, -5000, 20, 16)); }, 0x9005,
         "05 90 00 00 01 c0 00 00 00 00 6c 09 14 01 00 00 00 00 10 00 78 ec ff ff 0*18", "0"},
        {"", [] { return Result(wlan_cw_stop()); }, 0x9006, "06 90 00 00 01 c0 0*16", "0"},
        {"", [] { return Result(SetTx(1, 0, 0x4007, 5180, 100, 1024, 268, 0x12040, 0x0102, 0x0304, 3, 0x34, 1)); },
         0x9007, "07 90 00 00 01 c0 0*4 3c 14 07 40 01 00 64 01 00 04 0c 01 00 00 40 20 00 00 ff 00 02 01 04 03 "
         "03 00 34 01 0*8", "0"},
        // Bits above the low 16 of the flags are dropped, not carried into bytes 26 and 27.
        {"", [] { return Result(SetTx(2, 3, 0xFFFF, 2484, -128, 0xFFFF, 0xFFFFFFFF, 0xFFFF0001, 0, 0, 0, 0, 4)); },
         0x9007, "07 90 00 00 01 c0 0*4 b4 09 ff ff 02 03 80 01 ff ff ff ff ff ff 01 00 00 00 ff 00 0*7 04 0*8", "0"},
        {"", [] { return Result(wlan_tx_start(1000, COMMSTEST_TX_DATA_0, 0x1234, kBroadcast, kSource, kRx)); }, 0x9008,
         "08 90 00 00 01 c0 0*4 e8 03 0*4 34 12 ff ff ff ff ff ff 00 11 22 33 44 55 11 22 33 44 55 66 0*14", "0"},
        {"", kTxRead, 0x9009, "09 90 00 00 01 c0 0*16", "0 1000"},
        {"", [] { return Result(wlan_tx_stop()); }, 0x900A, "0a 90 00 00 01 c0 0*16", "0"},
        {"", [] { return Result(wlan_rx_start(COMMSTEST_BW_20MHZ, COMMSTEST_POSITION_0, 2477,
                                              static_cast<CommstestRxStartFlags>(32), kRx)); },
         0x900B, "0b 90 00 00 01 c0 0*4 ad 09 00 00 20 00 11 22 33 44 55 66 0*22", "0"},
        // The confirm holds the current reading first; the outputs hold it last.
        {"rx-rate=0;rx-counts=1000,990;rssi=-40,-41,-50,-30;snr=20,21,10,30;freq-error=-1200;rx-interval=500", [] {
             uint32_t t = 0, g = 0, i = 0;
             int32_t f = 0;
             int16_t r[4] = {}, s[4] = {};
             return Result(wlan_rx_read_extended(&t, &g, &i, &f, r, r + 1, r + 2, r + 3, s, s + 1, s + 2, s + 3),
                           t, g, i, f, r[0], r[1], r[2], r[3], s[0], s[1], s[2], s[3]);
         },
         0x900C, "0c 90 00 00 01 c0 00 00 06 00 0*12 02 00 00 e0 01 e0",
         "0 1000 990 500 -1200 -41 -50 -30 -40 21 10 30 20"},
        // The published signature says 32 bits; only the low halves are written.
        {"", [] {
             uint32_t t = 0, g = 0, i = 0;
             int32_t f = 0, rssi = 0x7FFF0000, snr = 0x7FFF0000;
             return Result(wlan_rx_read(&t, &g, &i, &f, &rssi, &snr), Hex<int32_t>{rssi}, Hex<int32_t>{snr});
         },
         0x900C, nullptr, "0 0x7fffffd7 0x7fff0015"},
        {"", [] { return Result(wlan_rx_stop()); }, 0x900D, "0d 90 00 00 01 c0 0*16", "0"},
        {"bist=-3,4", kBist, 0x901F, "1f 90 00 00 01 c0 0*4 3c 14 19 00 02 00 0*12", "0 0xfffd0004"},
        {"", kChipId, 0x2001, "01 20 00 00 01 c0 00 00 04 00 0*14 e6 07 00 00", "0 0x7200"},
        {"chip-id=0x1234567", kChipId, 0x2001, nullptr, "0 0x4567"},
        // Three indices: 7 in the head, a pad byte on the wire, each index cut to seven bits.
        {"temperature=0x123456789", [] {
             uint64_t v = 0;
             return Result(wlan_get_mib_uint3(5062, 0xFF, 1, 200, &v), Hex<uint64_t>{v});
         },
         0x2001, "01 20 00 00 01 c0 00 00 07 00 0*14 c6 13 03 00 7f 01 48 00", "0 0x123456789"},
        // A string that fills the buffer loses its last character.
        {"build-id=rk720", BuildId(4), 0x2001, "01 20 00 00 01 c0 00 00 04 00 0*14 b7 00 00 00", "0 rk7"},
        {"", BuildId(1), 0x2001, nullptr, "0 "},
        {"", [] { char text[32] = {}; return Result(wlan_get_mib_string2(183, 5, 0x86, text, sizeof text), text); },
         0x2001, "01 20 00 00 01 c0 00 00 06 00 0*14 b7 00 02 00 05 06", "0 rk720"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.outcome);
        Steer(row.steer);
        const uint64_t before = env.WlanFw().RequestCount(row.id);
        EXPECT_EQ(row.call(), row.outcome);
        EXPECT_EQ(env.WlanFw().RequestCount(row.id), before + 1);
        if (row.hex != nullptr) {
            EXPECT_EQ(ToHex(env.WlanFw().LastRequest(row.id).value_or(Bytes{})), Wire(row.hex));
        }
    }
}

// Confirms cut, overrun or bent in a field: each boundary of the client's
// checks from both sides where the firmware can be made to send it. Buffer
// ends it cannot reach are in UdiDecode below. Then failing result codes:
// every code's mapping is in the WLAN campaign, here a known code's text and
// the fallback for codes without one.
TEST_F(WlanClient, BentConfirmsAndTheirTexts) {
    Steer("rx-rate=0;rx-counts=7,5;tester=off");
    ASSERT_EQ(SetTx(), 0);
    ASSERT_EQ(wlan_tx_start(7, COMMSTEST_TX_DATA_0, 0, kBroadcast, kSource, kSource), 0);
    ASSERT_EQ(wlan_rx_start(COMMSTEST_BW_20MHZ, COMMSTEST_POSITION_0, 2412, COMMSTEST_RX_FLAGS_NONE, kRx), 0);
    const Call totalOnly = [] {  // no output for the good frames
        uint32_t total = 0;
        return Result(commstest_rx_read(&total, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                        nullptr, nullptr, nullptr, nullptr));
    };
    const Call unknownPsid = [] { uint64_t v; return Result(wlan_get_mib_uint(9999, &v)); };
    const Call setTx = [] { return Result(SetTx()); };
    struct Row { const char* steer; Call call; std::string outcome; } const rows[] = {
        {"malformed=short-datagram", kTxRead, "200 0 | wlan_tx_read: Insufficient data in signal header"},
        {"malformed=signal-overrun", kTxRead, "200 0 | wlan_tx_read: Insufficient data in signal body"},
        {"malformed=total-overrun", kTxRead, "200 0 | wlan_tx_read: Insufficient data in bulk data"},
        // The result code is the last field a confirm must hold.
        {"cut-signal=11", kTxRead, "200 0 | wlan_tx_read: Insufficient data in response"},
        {"cut-signal=12", kTxRead, "0 0"},
        {"cut-bulk=9", kRxRead, "200 0 99 0 | wlan_rx_read: Invalid counters list"},
        // Fewer counters than asked for: the missing one fails, the rest are still written.
        {"rx-count-field=counted;rx-counters-limit=1", kRxRead,
         "200 7 99 -50 | wlan_rx_read: Failed to read number of good frames"},
        {"rx-counters-limit=0", totalOnly, "200 | wlan_rx_read: Failed to read total number of frames"},
        {"rx-counters-limit=all", kRxRead, "0 7 5 -50"},
        {"mib-psid=999", kTemperature, "200 0 | wlan_get_mib_uint: Unexpected identifier 999 in response"},
        {"mib-psid=asked;cut-bulk=3", kTemperature, "200 0 | wlan_get_mib_uint: Insufficient data in response"},
        // Four bytes, psid and status, pass the length check and hold no value.
        {"cut-bulk=4", kChipId, "200 0x0 | wlan_get_chip_id: Empty response data"},
        {"", unknownPsid, "200 | wlan_get_mib_uint: Empty response data"},
        {"force=0x9007,48", setTx, "203 | wlan_set_tx_params: Not permitted at this time; Wlanlite could be in the "
                                   "wrong state."},
        {"force=0x9007,2", setTx, "2 | wlan_set_tx_params: Firmware error code 2"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.steer);
        Steer(row.steer);
        EXPECT_EQ(row.call(), row.outcome);
    }
}

TEST_F(WlanClient, BulksOf256BytesAndMoreDecode) {
    // 250 characters make a bulk of exactly 256 bytes (psid, status, a VL head
    // of two): the low byte of its length is 0. 300 need a two-byte VL length.
    for (const size_t length : {250u, 300u}) {
        std::string id;
        for (size_t i = 0; i < length; ++i) id += static_cast<char>('a' + i % 26);
        env.WlanFw().SetBuildId(id);
        std::vector<char> buffer(512, 'x');
        EXPECT_EQ(wlan_get_mib_string(183, buffer.data(), buffer.size()), 0) << wlan_get_last_error();
        EXPECT_EQ(std::string(buffer.data()), id);
    }
    Steer("rx-rate=0;rx-counts=4000,3000");
    ASSERT_EQ(wlan_rx_start(COMMSTEST_BW_20MHZ, COMMSTEST_POSITION_0, 2412, COMMSTEST_RX_FLAGS_NONE, kRx), 0);
    std::vector<unsigned short> ids = {0xE000, 0xE001};
    ids.resize(64, 0x0042);  // the most a read may ask for: 258 bytes of bulk back
    WlanLiteRxReadResults read;
    EXPECT_NO_THROW(read = gWlanLiteClient->ctlib_rx_read(ids));
    ASSERT_EQ(read.counters.size(), 64u);
    EXPECT_EQ(std::vector<unsigned>({read.counters[0], read.counters[1], read.counters[63]}),
              std::vector<unsigned>({4000, 3000, 0}));
}

TEST(WlanClientState, ConnectStateAndArgumentChecks) {
    {
        testsupport::TempDir empty;
        testsupport::ScopedEnv root("TAVO_PLATFORM_ROOT", empty.Path());
        EXPECT_EQ(Result(wlan_open_device()), "1 | wlan_open_device: No such file or directory");
    }
    testsupport::SimEnv env;
    char kept[8] = "kept";
    uint32_t left = 0;
    const std::pair<Call, std::string> steps[] = {
        {[] { return Result(wlan_open_device()); }, "0"},
        {[] { return Result(wlan_open_device()); }, "4 | wlan_open_device: Already connected"},
        {[] { return Result(wlan_close_device()); }, "0"},
        {[] { return Result(wlan_close_device()); }, "4 | wlan_close_device: Must call wlan_open_device first"},
        {[&] { return Result(wlan_tx_read(&left)); }, "4 | wlan_tx_read: Not connected to device"},
        // Checked before the connection is.
        {[&] { return Result(commstest_get_mib_string(1, kept, 0, {}), kept); }, "0 kept"},
        {[] { return Result(commstest_get_mib_string(1, nullptr, 1, {})); },
         "201 | wlan_get_mib_string: Invalid output buffer"},
        {[] { return Result(wlan_get_mib_uint(1, nullptr)); }, "201 | wlan_get_mib_uint: Invalid output buffer"},
    };
    for (const auto& [call, outcome] : steps) EXPECT_EQ(call(), outcome);
}

TEST(WlanClientState, LastErrorIsCutAndKeepsItsAddress) {
    const char* before = wlan_get_last_error();
    ct_set_error("wlan_tx_read", std::string(2000, 'm'));
    EXPECT_EQ(wlan_get_last_error(), before);
    EXPECT_EQ(std::string(before), "wlan_tx_read: " + std::string(1024 - 14, 'm'));
    EXPECT_EQ(gCtLastErrorBuffer.capacity(), 1025u);
}


// "<code> <text>" of the CCommstestError that `f` threw, or "" when none.
template <typename F>
std::string Thrown(F&& f) {
    try {
        f();
        return "";
    } catch (const CCommstestError& e) {
        return std::to_string(e.code()) + " " + e.what();
    }
}

TEST(UdiDecode, FrameBoundsFromBothSides) {
    // size: the bytes received; outcome: "<signal> | <bulk>" or the error
    struct Row { const char* what; size_t size; uint32_t total, signalLength; const char* outcome; } const rows[] = {
        {"header only", 16, 16, 0, "200 Insufficient data in signal header"},
        {"one byte past the header", 17, 17, 1, "10 | "},
        {"ten-byte signal ends with the frame", 26, 26, 10, "10 11 12 13 14 15 16 17 00 00 | "},
        {"ten-byte signal one byte short", 25, 25, 10, "200 Insufficient data in signal body"},
        {"nine-byte signal keeps its bytes", 26, 26, 9, "10 11 12 13 14 15 16 17 18 | 19"},
        {"bulk ends with the frame", 32, 32, 12, "10 11 12 13 14 15 16 17 04 00 1a 1b | 1c 1d 1e 1f"},
        {"bulk one byte short", 31, 32, 12, "200 Insufficient data in bulk data"},
        {"bytes past the total", 34, 32, 12, "10 11 12 13 14 15 16 17 04 00 1a 1b | 1c 1d 1e 1f"},
        {"total inside the signal", 32, 4, 12, "10 11 12 13 14 15 16 17 e8 ff 1a 1b | "},
        {"huge signal length", 20, 20, 0xFFFFFFF0u, "200 Insufficient data in signal body"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        Bytes frame(row.size, 0xEE);  // header bytes 4..11 are not read
        testwire::PutU32(frame, 0, row.total);
        testwire::PutU32(frame, 12, row.signalLength);
        for (size_t i = 16; i < frame.size(); ++i) frame[i] = static_cast<uint8_t>(i);
        UdiPayload p;
        std::string outcome = Thrown([&] { p = DecodeUdiMessage(frame.data(), frame.data() + frame.size()); });
        if (outcome.empty()) {
            outcome = ToHex(p.signal) + " | " + ToHex(p.bulk);
            // The true bulk length is written into the received buffer itself.
            if (p.signal.size() >= 10) {
                EXPECT_EQ(ToHex({frame[24], frame[25]}), ToHex({p.signal[8], p.signal[9]}));
            }
        }
        EXPECT_EQ(outcome, row.outcome);
    }
    EXPECT_EQ(Thrown([] { DecodeUdiMessage(nullptr, nullptr); }), "200 Insufficient data in signal header");
}

TEST(VlData, UnsignedAndStringValues) {
    // as: 'u' an unsigned number, 's' a string; outcome: the value or the error
    struct Row { char as; std::string hex, outcome; } const rows[] = {
        {'u', "3f", "63"}, {'u', "4a", "200 Could not parse value"} /* negative */, {'u', "81 ff", "255"},
        {'u', "80", "0"}, {'u', "88 01 02 03 04 05 06 07 08", "72623859790382856"},
        {'u', "89 01 02 03 04 05 06 07 08 09", "200 Numeric data too long"},
        {'u', "a1 01", "200 Could not parse value"}, {'u', "82 01", "200 Could not parse value"},
        {'u', "", "200 Empty response data"},
        {'u', "81 07 ff", "7"} /* bytes after the value are not read */, {'s', "a1 03 61 62 63", "abc"},
        {'s', "a1 05 61", "200 Could not parse value"}, {'s', "a5", "200 Numeric data too long"},
        {'s', "a4 ff ff ff ff 7a", "200 Could not parse value"} /* far beyond the data */, {'s', "a0", ""},
        {'s', "21", "200 Could not parse value"}, {'s', "e1 02 78 79", "xy"} /* bit 6 is not looked at for strings */,
        {'s', "a2 00 03 61 00 63", std::string("a\0c", 3)}, {'s', "", "200 Empty response data"},
    };
    for (const Row& row : rows) {
        const std::vector<unsigned char> v = testwire::FromHex(row.hex);
        std::string value;
        const std::string thrown = Thrown([&] {
            value = row.as == 'u' ? std::to_string(CommstestVldata::ReadVlDataEncodedUnsigned(v.begin(), v.end()))
                                  : CommstestVldata::ReadVlDataEncodedString(v.begin(), v.end());
        });
        EXPECT_EQ(thrown.empty() ? value : thrown, row.outcome) << row.as << " " << row.hex;
    }
}

}  // namespace
