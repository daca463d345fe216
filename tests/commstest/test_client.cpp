// The exported wlan_ functions against a scripted firmware peer: the exact
// bytes of every request, the decoding of confirms, the result-code table,
// the last-error texts and the connect state.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "commstest/commstest_lib_mgr.h"
#include "scripted_firmware.h"
#include "wlan_interface.h"

namespace {

using testsupport::Bytes;
using testsupport::FromHex;
using testsupport::Reply;
using testsupport::ScriptedFirmware;
using testsupport::ToHex;

const CommstestMacAddress kBroadcast = {{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}};
const CommstestMacAddress kSource = {{0x00, 0x11, 0x22, 0x33, 0x44, 0x55}};
const CommstestMacAddress kRx = {{0x11, 0x22, 0x33, 0x44, 0x55, 0x66}};

class Client : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(wlan_open_device(), 0) << wlan_get_last_error(); }
    void TearDown() override { wlan_close_device(); }
    ScriptedFirmware fw;
};

TEST_F(Client, RequestsAreByteExact) {
    struct Case {
        const char* what;
        int32_t (*call)();
        const char* hex;
    } const cases[] = {
        {"cw_start", [] { return wlan_cw_start(2412, -5000, 20, 16); },
         "05 90 00 00 01 c0 00 00 00 00 6c 09 14 01 00 00 00 00 10 00 78 ec ff ff"
         "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"},
        {"cw_stop", [] { return wlan_cw_stop(); }, "06 90 00 00 01 c0 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"},
        {"set_tx_params",
         [] {
             return wlan_set_tx_params(COMMSTEST_BW_40MHZ, COMMSTEST_POSITION_0, static_cast<CommstestDataRate>(0x4007),
                                       5180, 100, 1024, 268, static_cast<CommstestTxSetParamsFlags>(0x12040),
                                       COMMSTEST_REGDOMAIN_0, COMMSTEST_TX_FLAGS2_NONE, COMMSTEST_HE_MODE_RU, 0x34, 1);
         },
         "07 90 00 00 01 c0 00 00 00 00 3c 14 07 40 01 00 64 01 00 04 0c 01 00 00 40 20 00 00 ff 00"
         "00 00 00 00 03 00 34 01 00 00 00 00 00 00 00 00"},
        {"tx_start", [] { return wlan_tx_start(1000, COMMSTEST_TX_DATA_0, 0x1234, kBroadcast, kSource, kSource); },
         "08 90 00 00 01 c0 00 00 00 00 e8 03 00 00 00 00 34 12 ff ff ff ff ff ff 00 11 22 33 44 55"
         "00 11 22 33 44 55 00 00 00 00 00 00 00 00 00 00 00 00 00 00"},
        {"tx_stop", [] { return wlan_tx_stop(); }, "0a 90 00 00 01 c0 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"},
        {"rx_start", [] { return wlan_rx_start(COMMSTEST_BW_20MHZ, COMMSTEST_POSITION_0, 2477, static_cast<CommstestRxStartFlags>(32), kRx); },
         "0b 90 00 00 01 c0 00 00 00 00 ad 09 00 00 20 00 11 22 33 44 55 66"
         "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"},
        {"rx_stop", [] { return wlan_rx_stop(); }, "0d 90 00 00 01 c0 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"},
        {"select_radio (narrowed)", [] { return wlan_select_radio(static_cast<CommstestRadioBitmap>(0x12345)); },
         "1a 90 00 00 01 c0 00 00 00 00 45 23 00 00 00 00 00 00 00 00 00 00 00 00"},
        {"bist_get_tx_gain", [] { uint32_t g; return wlan_bist_get_tx_gain(5180, 25, 2, &g); },
         "1f 90 00 00 01 c0 00 00 00 00 3c 14 19 00 02 00 00 00 00 00 00 00 00 00 00 00 00 00"},
    };
    for (const Case& c : cases) {
        const size_t before = fw.Requests().size();
        EXPECT_EQ(c.call(), 0) << c.what << ": " << wlan_get_last_error();
        const auto requests = fw.Requests();
        ASSERT_EQ(requests.size(), before + 1) << c.what;
        EXPECT_EQ(ToHex(requests.back()), ToHex(FromHex(c.hex))) << c.what;
    }
}

TEST_F(Client, RxReadSendsItsCounterListAndDecodesTheConfirm) {
    fw.SetScript([](const Bytes&) {
        Bytes s = ScriptedFirmware::Confirm(0x9108, 0, 40);
        testsupport::Put32(s, 12, 0xAAAA);
        testsupport::Put32(s, 16, static_cast<uint32_t>(-1200));
        const int16_t values[8] = {-40, -41, -50, -30, 20, 21, 10, 30};
        for (int i = 0; i < 8; ++i) testsupport::Put16(s, 20 + 2 * i, static_cast<uint16_t>(values[i]));
        testsupport::Put32(s, 36, 500);
        const Bytes bulk = FromHex("02 00 e8 03 00 00 de 03 00 00");  // 1000 total, 990 good
        return std::vector<Reply>{{ScriptedFirmware::Frame(s, bulk)}};
    });
    uint32_t total = 0, good = 0, interval = 0;
    int32_t freqErr = 0;
    int16_t rssiAv = 0, rssiMin = 0, rssiMax = 0, rssiCur = 0, snrAv = 0, snrMin = 0, snrMax = 0, snrCur = 0;
    ASSERT_EQ(wlan_rx_read_extended(&total, &good, &interval, &freqErr, &rssiAv, &rssiMin, &rssiMax, &rssiCur, &snrAv,
                                    &snrMin, &snrMax, &snrCur),
              0);
    EXPECT_EQ(ToHex(fw.Requests().back()),
              "0c 90 00 00 01 c0 00 00 06 00 00 00 00 00 00 00 00 00 00 00 00 00 02 00 00 e0 01 e0");
    EXPECT_EQ(total, 1000u);
    EXPECT_EQ(good, 990u);
    EXPECT_EQ(interval, 500u);
    EXPECT_EQ(freqErr, -1200);
    // The record holds the current value first; the outputs hold it last.
    EXPECT_EQ(rssiCur, -40);
    EXPECT_EQ(rssiAv, -41);
    EXPECT_EQ(rssiMin, -50);
    EXPECT_EQ(rssiMax, -30);
    EXPECT_EQ(snrCur, 20);
    EXPECT_EQ(snrAv, 21);
    EXPECT_EQ(snrMin, 10);
    EXPECT_EQ(snrMax, 30);

    // The narrow form writes only the low halves of its last two targets.
    int32_t rssi32 = 0x7FFF0000, snr32 = 0x7FFF0000;
    ASSERT_EQ(wlan_rx_read(&total, &good, &interval, &freqErr, &rssi32, &snr32), 0);
    EXPECT_EQ(rssi32, 0x7FFF0000 | 0xFFD7) << "-41 in the low half only";
    EXPECT_EQ(snr32, 0x7FFF0000 | 21);
}

TEST_F(Client, RxReadWithOneCounter) {
    fw.SetScript([](const Bytes&) {
        Bytes s = ScriptedFirmware::Confirm(0x9108, 0, 40);
        testsupport::Put16(s, 22, static_cast<uint16_t>(-45));
        return std::vector<Reply>{{ScriptedFirmware::Frame(s, FromHex("01 00 07 00 00 00"))}};
    });
    uint32_t total = 0, good = 99;
    int16_t rssiAv = 0;
    EXPECT_EQ(commstest_rx_read(&total, &good, nullptr, nullptr, &rssiAv, nullptr, nullptr, nullptr, nullptr, nullptr,
                                nullptr, nullptr),
              200);
    EXPECT_EQ(total, 7u);
    EXPECT_EQ(good, 99u) << "not written";
    EXPECT_EQ(rssiAv, -45) << "the other outputs are still filled";
    EXPECT_STREQ(wlan_get_last_error(), "wlan_rx_read: Failed to read number of good frames");
}

TEST_F(Client, RxReadCounterListMismatch) {
    struct Case {
        const char* bulk;
    } const cases[] = {{"03 00 01 00 00 00"}, {""}, {"01"}, {"00 00 05 00 00 00"}};
    for (const Case& c : cases) {
        fw.SetScript([&](const Bytes&) {
            return std::vector<Reply>{{ScriptedFirmware::Frame(ScriptedFirmware::Confirm(0x9108, 0, 40), FromHex(c.bulk))}};
        });
        uint32_t total = 0;
        EXPECT_EQ(wlan_rx_read_extended(&total, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                        nullptr, nullptr, nullptr),
                  200)
            << c.bulk;
        EXPECT_STREQ(wlan_get_last_error(), "wlan_rx_read: Invalid counters list") << c.bulk;
    }
}

TEST_F(Client, FirmwareResultCodes) {
    struct Case {
        uint16_t code;
        int32_t error;
        const char* text;
    } const cases[] = {
        {1, 2, "Can be either: command not handled in the current state and ignored or unable to setup RAM data capture."},
        {38, 201, "One of the supplied parameters is not valid (i.e out of range or conflicts with another parameter)."},
        {48, 203, "Not permitted at this time; Wlanlite could be in the wrong state."},
        {79, 203, "The firmware was unable to select a row from the power table, so there will be no TX output, but a TX "
                  "will have been started regardless; make sure the power level is high enough to remove the warning. It "
                  "will also occur if freq is out of range 2412-2484 or 4900-5900 MHz."},
        {0x8003, 202, "The requested operation is not supported by the firmware"},
        {0x8006, 203, "The firmware failed to allocate memory."},
        {0x8004, 2, "Firmware error code 32772"},
        {2, 2, "Firmware error code 2"},
    };
    for (const Case& c : cases) {
        fw.SetScript([&](const Bytes& r) {
            const uint16_t id = static_cast<uint16_t>(r[0] | (r[1] << 8));
            return std::vector<Reply>{{ScriptedFirmware::Frame(ScriptedFirmware::Confirm(ScriptedFirmware::ConfirmOf(id), c.code))}};
        });
        EXPECT_EQ(wlan_set_tx_params(COMMSTEST_BW_20MHZ, COMMSTEST_POSITION_0, static_cast<CommstestDataRate>(1), 2412, 0,
                                     100, 0, COMMSTEST_TX_FLAG_BASE, COMMSTEST_REGDOMAIN_0, COMMSTEST_TX_FLAGS2_NONE,
                                     COMMSTEST_HE_MODE_NONE, 0, 0),
                  c.error)
            << c.code;
        EXPECT_EQ(std::string(wlan_get_last_error()), std::string("wlan_set_tx_params: ") + c.text);
    }
}

TEST_F(Client, UnrelatedFramesBeforeTheConfirmAreDropped) {
    fw.SetScript([](const Bytes&) {
        Bytes left = ScriptedFirmware::Confirm(0x9105, 0, 40);
        testsupport::Put32(left, 14, 123);
        return std::vector<Reply>{{ScriptedFirmware::Frame(ScriptedFirmware::Confirm(0x9104, 0))},
                                  {ScriptedFirmware::Frame(Bytes{0x05})},  // too short to carry an id
                                  {ScriptedFirmware::Frame(ScriptedFirmware::Confirm(0x1234, 5))},
                                  {ScriptedFirmware::Frame(left)}};
    });
    uint32_t left = 0;
    EXPECT_EQ(wlan_tx_read(&left), 0);
    EXPECT_EQ(left, 123u);
    EXPECT_EQ(commstest_tx_read(nullptr), 0) << "a null output still makes the exchange";
}

TEST_F(Client, MalformedConfirmsEndTheWait) {
    struct Case {
        Bytes frame;
        const char* text;
    } const cases[] = {
        {Bytes(16, 0), "wlan_tx_stop: Insufficient data in signal header"},
        {[] { Bytes f = ScriptedFirmware::Frame(ScriptedFirmware::Confirm(0x9106, 0)); testsupport::Put32(f, 0, 200); return f; }(),
         "wlan_tx_stop: Insufficient data in bulk data"},
        {ScriptedFirmware::Frame(ScriptedFirmware::Confirm(0x9106, 0, 4)), "wlan_tx_stop: Insufficient data in response"},
    };
    for (const Case& c : cases) {
        fw.SetScript([&](const Bytes&) { return std::vector<Reply>{{c.frame}}; });
        EXPECT_EQ(wlan_tx_stop(), 200);
        EXPECT_STREQ(wlan_get_last_error(), c.text);
    }
}

TEST_F(Client, MibRequestsAndValues) {
    uint16_t psid = 0;
    Bytes value;
    fw.SetScript([&](const Bytes& r) {
        Bytes bulk;
        testsupport::Put16(bulk, 0, psid);
        testsupport::Put16(bulk, 2, 0);
        const size_t count = static_cast<size_t>(r[26] | (r[27] << 8));
        for (size_t i = 0; i < count; ++i) bulk.push_back(r[28 + i]);
        bulk.insert(bulk.end(), value.begin(), value.end());
        return std::vector<Reply>{{ScriptedFirmware::Frame(ScriptedFirmware::Confirm(0x2101, 0, 24), bulk)}};
    });

    psid = 2022;
    value = {0x82, 0x72, 0x00};
    uint16_t chip = 0;
    EXPECT_EQ(wlan_get_chip_id(&chip), 0) << wlan_get_last_error();
    EXPECT_EQ(chip, 0x7200);
    EXPECT_EQ(ToHex(fw.Requests().back()),
              "01 20 00 00 01 c0 00 00 04 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 e6 07 00 00");

    psid = 5062;
    value = {38};
    uint64_t v = 0;
    EXPECT_EQ(wlan_get_mib_uint3(5062, 0xFF, 1, 200, &v), 0) << wlan_get_last_error();
    EXPECT_EQ(v, 38u);
    // Three indices: bulk length 7 in the head, 8 bulk bytes on the wire,
    // every index masked to seven bits.
    EXPECT_EQ(ToHex(fw.Requests().back()),
              "01 20 00 00 01 c0 00 00 07 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 c6 13 03 00 7f 01 48 00");

    psid = 183;
    value = {0xA1, 0x05, 'r', 'k', '7', '2', '0'};
    char build[4];
    EXPECT_EQ(wlan_get_fw_build_id(build, sizeof build), 0);
    EXPECT_STREQ(build, "rk7") << "a string that fills the buffer loses its last character";
    char single[1] = {'x'};
    EXPECT_EQ(wlan_get_fw_build_id(single, 1), 0);
    EXPECT_EQ(single[0], '\0');
    char wide[32];
    EXPECT_EQ(wlan_get_mib_string(183, wide, sizeof wide), 0);
    EXPECT_STREQ(wide, "rk720");

    psid = 999;  // the firmware answers for another identifier
    EXPECT_EQ(wlan_get_mib_uint(5062, &v), 200);
    EXPECT_STREQ(wlan_get_last_error(), "wlan_get_mib_uint: Unexpected identifier 999 in response");
}

TEST(ClientState, ConnectDisconnectAndLastError) {
    EXPECT_STREQ(wlan_get_last_error(), "") << "empty, never null, before any failure";
    {
        ScriptedFirmware fw;
        EXPECT_EQ(wlan_open_device(), 0);
        EXPECT_EQ(wlan_open_device(), 4);
        EXPECT_STREQ(wlan_get_last_error(), "wlan_open_device: Already connected");
        EXPECT_EQ(wlan_close_device(), 0);
        EXPECT_EQ(wlan_close_device(), 4);
        EXPECT_STREQ(wlan_get_last_error(), "wlan_close_device: Must call wlan_open_device first");
    }
    uint32_t left = 0;
    EXPECT_EQ(wlan_tx_read(&left), 4);
    EXPECT_STREQ(wlan_get_last_error(), "wlan_tx_read: Not connected to device");
    // Quirks that hold even when not connected.
    char buffer[8];
    EXPECT_EQ(commstest_get_mib_string(1, buffer, 0, {}), 0);
    EXPECT_EQ(commstest_get_mib_string(1, nullptr, 1, {}), 201);
    EXPECT_STREQ(wlan_get_last_error(), "wlan_get_mib_string: Invalid output buffer");
    EXPECT_EQ(wlan_get_mib_uint(1, nullptr), 201);
    EXPECT_STREQ(wlan_get_last_error(), "wlan_get_mib_uint: Invalid output buffer");
}

TEST(ClientState, NoDeviceNodeGivesTheSystemText) {
    char tmpl[] = "/tmp/wlbt-nodev-XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    setenv("TAVO_PLATFORM_ROOT", tmpl, 1);
    EXPECT_EQ(wlan_open_device(), 1);
    EXPECT_STREQ(wlan_get_last_error(), "wlan_open_device: No such file or directory");
    unsetenv("TAVO_PLATFORM_ROOT");
    rmdir(tmpl);
}

TEST(ClientState, LastErrorIsCutAndKeepsItsAddress) {
    const char* before = wlan_get_last_error();
    ct_set_error("wlan_tx_read", std::string(2000, 'm'));
    const char* after = wlan_get_last_error();
    EXPECT_EQ(before, after);
    EXPECT_EQ(std::strlen(after), 1024u);
    EXPECT_EQ(std::string(after, 14), "wlan_tx_read: ");
    EXPECT_EQ(gCtLastErrorBuffer.capacity(), 1025u);
}

TEST(ClientState, VersionInfo) {
    uint16_t major = 9, minor = 9, release = 9, build = 9;
    wlan_get_version_info(&major, &minor, &release, &build);
    EXPECT_EQ(major, 0);
    EXPECT_EQ(minor, 0);
    EXPECT_EQ(release, 0);
    EXPECT_EQ(build, 4);
    wlan_get_version_info(nullptr, nullptr, nullptr, nullptr);  // must not fault
}

}  // namespace
