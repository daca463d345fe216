// Ten thousand commands of every family through ForwardCMD_WiFiBT on both
// radios of the simulated chip, in a mix drawn from a fixed seed. The test
// keeps what it has set (WLAN parameters, which DUT is open, what the chip
// will measure) and so knows the one reply each command must get: a lost
// reply, one that belongs to another command, or a stale one fails it.
// The commands go round the ring of ten workers a thousand times, past
// workers that answered early and run on.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <functional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "WiFiBtFactoryService.h"
#include "factory/CommandHandler.h"
#include "factory/ServiceInternal.h"
#include "stress/ledger.h"

namespace {

using namespace std::chrono_literals;

constexpr int kCommands = 10000;
// Commands that start btcli (an inquiry, the address read) take half a
// second and more each, and a WLAN scan starts iw: a few of each, spread
// over the run.
constexpr int kInquiries = 12;
constexpr int kAddressReads = 12;
constexpr int kScans = 24;

enum class Dut { kNone, kWlan, kBt };

// The WLAN DUT's parameters as "AT+WIFIRF=0,0,k,v" sets them and
// "AT+WIFIRF=1,0,k,0" reads them: channel, data rate, preamble, gain,
// payload length, burst interval, band, bandwidth; the values at open.
constexpr int kWlanParams = 8;
constexpr int kWlanDefaults[kWlanParams] = {1, 1, 0, 25, 1024, 100, 1, 1};

// The reply form of the WLAN family: "AT+WIFIRF=" answers "+WIFIRF:" with
// the verdict second, "AT+WIFI<name>=" answers "+WIFI<name>:" with the
// verdict last.
struct WlanForm {
    std::string prefix;
    std::string name;
    bool rf;

    std::string Status(int code) const { return "+" + name + ":" + std::to_string(code) + (code == 0 ? ",OK" : ",NG"); }
    std::string Value(const std::string& value) const {
        return rf ? "+WIFIRF:0,OK," + value : "+" + name + ":0," + value + ",OK";
    }
    std::string FailedRead(int code) const {
        return rf ? "+WIFIRF:" + std::to_string(code) + ",NG,0" : "+" + name + ":" + std::to_string(code) + ",0,NG";
    }
};

std::string Hex(unsigned value) {
    char text[16];
    std::snprintf(text, sizeof text, "%x", value);
    return text;
}

class Mix {
public:
    explicit Mix(stress::Lab& lab) : env_(lab.env), rng_(0x5eed2025u) {
        std::copy(std::begin(kWlanDefaults), std::end(kWlanDefaults), wlan_);
    }

    void Run(int commands);
    stress::Ledger& Ledger() { return ledger_; }

private:
    struct Action {
        int weight;
        void (Mix::*run)();
    };

    int Pick(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng_); }
    bool Chance(int percent) { return Pick(0, 99) < percent; }
    void RunOne(const std::vector<Action>& actions);
    bool Due(int done, int total) const { return ledger_.Commands() >= (done + 1) * kCommands / (total + 1); }
    void Expect(const char* kind, const std::string& command, const std::string& reply) {
        ledger_.Expect(kind, command, 0, reply);
    }
    void WaitForWorkers() {
        ledger_.Check("workers ended", GetServiceCommandHandler()->WaitForWorkers(15s), "a worker still runs");
    }

    // The radios are never in test together: a WLAN command (but the two
    // test rows) closes an open Bluetooth DUT, a Bluetooth command an open
    // WLAN DUT, before it runs.
    // The next command then shows that the other DUT is closed.
    void WlanCommandSent() {
        if (dut_ != Dut::kBt) return;
        dut_ = Dut::kNone;
        ledger_.Note("exclusion: bt dut closed");
        showBtClosed_ = true;
    }
    void BtCommandSent() {
        if (dut_ != Dut::kWlan) return;
        dut_ = Dut::kNone;
        ledger_.Note("exclusion: wlan dut closed");
        showWlanClosed_ = true;
    }
    WlanForm PickForm();
    std::string LineEnd() { return Chance(5) ? "\r\n" : ""; }

    void WlanSetter();
    void WlanGetter();
    void WlanTemperature();
    void WlanTestRow();
    void WlanOpen();
    void WlanClose();
    void BtPlainSetter();
    void BtGain();
    void BtAddress();
    void BtTransmit();
    void BtBer();
    void BtCarrierRssi();
    void BtLePackets();
    void BtOpen();
    void BtClose();
    void BtDutMode();
    void NoFamily();
    void TooLong();
    void NoRow();
    void Inquiry();
    void AddressRead();
    void Scan();

    testsupport::SimEnv& env_;
    std::mt19937 rng_;
    stress::Ledger ledger_;
    Dut dut_ = Dut::kNone;
    bool showBtClosed_ = false;
    bool showWlanClosed_ = false;
    int wlan_[kWlanParams];
    int bredrChannel_ = 0;
    int bredrPayload_ = 0;
    int inquiries_ = 0;
    int addressReads_ = 0;
    int scans_ = 0;
};

WlanForm Mix::PickForm() {
    if (Chance(75)) return {"AT+WIFIRF=", "WIFIRF", true};
    std::string name;
    for (int i = Pick(1, 5); i > 0; --i) name += static_cast<char>('A' + Pick(0, 25));
    if (name == "RF") name = "RX";  // "AT+WIFIRF=" is the other form
    return {"AT+WIFI" + name + "=", "WIFI" + name, false};
}

void Mix::WlanSetter() {
    WlanCommandSent();
    const WlanForm form = PickForm();
    const int k = Pick(0, kWlanParams - 1);
    int value = 0;
    bool ok = true;
    int stored = 0;
    switch (k) {
        case 0:  // channel: 1-14 and 36-165
            value = Chance(85) ? (Chance(30) ? Pick(1, 14) : Pick(36, 165)) : std::vector<int>{0, 15, 35, 166}[Pick(0, 3)];
            ok = (value >= 1 && value <= 14) || (value >= 36 && value <= 165);
            stored = value;
            break;
        case 1:  // data rate: 1-30 and 47
            value = Chance(85) ? (Chance(10) ? 47 : Pick(1, 30)) : std::vector<int>{0, 31, 46, 48}[Pick(0, 3)];
            ok = (value >= 1 && value <= 30) || value == 47;
            stored = value;
            break;
        case 2: {  // preamble and guard interval 1-7; the getter reads the long-preamble flag
            value = Pick(0, 8);
            ok = value >= 1 && value <= 7;
            stored = value >= 2 && value <= 4 ? 1 : 0;
            break;
        }
        case 3:  // gain: a negative one is ignored and answers OK
            value = Pick(-3, 63);
            stored = value >= 0 ? value : wlan_[3];
            break;
        case 4: value = stored = Pick(0, 4095); break;
        case 5: value = stored = Pick(0, 65535); break;
        case 6: value = stored = Pick(1, 2); break;
        case 7: {  // bandwidth 1-8, each a width 1-3 with its rate family
            static const int kWidth[] = {1, 2, 3, 1, 2, 1, 2, 3};
            value = Pick(0, 9);
            ok = value >= 1 && value <= 8;
            stored = ok ? kWidth[value - 1] : 0;
            break;
        }
    }
    std::string command = form.prefix + "0,0," + std::to_string(k) + ",";
    if (value >= 0 && Chance(5)) {
        // Exactly 64 characters, the longest command taken: the value
        // zero-padded to fit.
        const std::string digits = std::to_string(value);
        command += std::string(WLBT_MAX_COMMAND_LENGTH - command.size() - digits.size(), '0') + digits;
    } else {
        command += std::to_string(value) + LineEnd();
    }
    Expect("wlan setter", command, form.Status(ok ? 0 : 6));
    if (ok) wlan_[k] = stored;
}

void Mix::WlanGetter() {
    WlanCommandSent();
    const WlanForm form = PickForm();
    const int k = Pick(0, kWlanParams - 1);
    Expect("wlan getter", form.prefix + "1,0," + std::to_string(k) + ",0" + LineEnd(),
           form.Value(std::to_string(wlan_[k]) + "\n"));
}

void Mix::WlanTemperature() {
    WlanCommandSent();
    const WlanForm form = PickForm();
    const int degrees = Pick(0, 65535);
    env_.WlanFw().SetTemperature(static_cast<std::uint64_t>(degrees));
    // A closed DUT has no connection to the firmware: a failed read.
    Expect("wlan firmware read", form.prefix + "0,5,0,0",
           dut_ == Dut::kWlan ? form.Value(std::to_string(degrees)) : form.FailedRead(5));
}

void Mix::WlanTestRow() {
    // The two test rows leave an open Bluetooth DUT alone.
    const WlanForm form = PickForm();
    Expect("wlan test row", form.prefix + (Chance(50) ? "0,8,0,0" : "0,8,1,0"), form.Status(0));
}

void Mix::WlanOpen() {
    WlanCommandSent();
    // Half the time the test firmware is put in place first; otherwise the
    // DUT switches to it itself.
    if (dut_ != Dut::kWlan && Chance(50) && !env_.Sim().TestFirmwareRunning()) {
        ledger_.Check("test firmware loaded", env_.LoadTestFirmware(), "the test firmware did not come up");
    }
    Expect("wlan open", "AT+WIFIRF=0,1,1,0", "+WIFIRF:0,OK");
    dut_ = Dut::kWlan;
}

void Mix::WlanClose() {
    WlanCommandSent();
    Expect("wlan close", "AT+WIFIRF=0,1,0,0", "+WIFIRF:0,OK");
    dut_ = Dut::kNone;
}

void Mix::BtPlainSetter() {
    BtCommandSent();
    // Settings the DUT keeps until a test starts: LE channel, length, PHY,
    // payload, BR/EDR channel and payload, each with its range. A BR/EDR
    // payload of 3 is taken and refused by the next transmit start.
    struct Setting {
        const char* command;
        int last;
    };
    static const Setting kSettings[] = {{"1,0,0,", 39}, {"1,0,4,", 37}, {"1,0,5,", 2},
                                        {"1,0,8,", 7},  {"2,0,0,", 78}, {"2,0,2,", 3}};
    const int which = Pick(0, 5);
    const Setting& s = kSettings[which];
    const int value = Chance(85) ? Pick(0, s.last) : (Chance(50) ? -1 : s.last + 1);
    const bool ok = value >= 0 && value <= s.last;
    Expect("bt setting", std::string("AT+BTRF=") + s.command + std::to_string(value), ok ? "+BTRF:0,OK" : "+BTRF:6,NG");
    if (ok && which == 4) bredrChannel_ = value;
    if (ok && which == 5) bredrPayload_ = value;
}

void Mix::BtGain() {
    BtCommandSent();
    const int gain = Pick(-1, 26);
    const bool inRange = gain >= 0 && gain <= 25;
    // A closed DUT fails the device call; a value out of range never gets there.
    const char* reply = !inRange ? "+BTRF:6,NG" : dut_ == Dut::kBt ? "+BTRF:0,OK" : "+BTRF:5,NG";
    Expect("bt vendor setting", "AT+BTRF=2,0,3," + std::to_string(gain), reply);
    if (inRange && dut_ == Dut::kBt) {
        ledger_.Check("controller read-back", env_.BtCtl().Radio().txPower == gain, "tx power " + std::to_string(gain));
    }
}

void Mix::BtAddress() {
    BtCommandSent();
    const unsigned uap = static_cast<unsigned>(Pick(0, 0xFF));
    const unsigned lap = static_cast<unsigned>(Pick(0, 0xFFFFFF));
    Expect("bt vendor setting", "AT+BTRF=2,0,5," + Hex(uap) + "," + Hex(lap),
           dut_ == Dut::kBt ? "+BTRF:0,OK" : "+BTRF:5,NG");
    if (dut_ == Dut::kBt) {
        const auto radio = env_.BtCtl().Radio();
        ledger_.Check("controller read-back", radio.uap == uap && radio.lap == lap, "UAP " + Hex(uap) + " LAP " + Hex(lap));
    }
}

void Mix::BtTransmit() {
    BtCommandSent();
    if (bredrPayload_ == 3) {
        Expect("bt test", "AT+BTRF=2,2,1,0", "+BTRF:5,NG");
    } else {
        Expect("bt test", "AT+BTRF=2,2,1,0", "+BTRF:0,OK");
        const auto radio = env_.BtCtl().Radio();
        ledger_.Check("controller read-back", radio.running.has_value() && radio.loFreq == 2402 + bredrChannel_,
                      "a transmit on channel " + std::to_string(bredrChannel_));
    }
    Expect("bt test", "AT+BTRF=2,2,0,0", "+BTRF:0,OK");
    ledger_.Check("controller read-back", !env_.BtCtl().Radio().running.has_value(), "the transmit stopped");
}

void Mix::BtBer() {
    BtCommandSent();
    // Parts per million in steps of 10: the rate in percent has three exact decimals.
    const int ppm = 10 * Pick(0, 999);
    env_.BtCtl().SetBerPpm(static_cast<std::uint32_t>(ppm));
    char percent[16];
    std::snprintf(percent, sizeof percent, "0.%03d", ppm / 10);
    Expect("bt test", "AT+BTRF=2,3,1,0", "+BTRF:0,OK");
    Expect("bt measurement", "AT+BTRF=2,4,0,0", std::string("+BTRF:0,OK,") + percent);
    Expect("bt test", "AT+BTRF=2,3,0,0", "+BTRF:0,OK");
}

void Mix::BtCarrierRssi() {
    BtCommandSent();
    const int dbm = Pick(-99, -1);
    env_.BtCtl().SetCwRssi(dbm);
    Expect("bt test", "AT+BTRF=2,3,2,0", "+BTRF:0,OK");
    Expect("bt measurement", "AT+BTRF=2,4,1,0", "+BTRF:0,OK," + std::to_string(dbm));
    Expect("bt test", "AT+BTRF=2,3,0,0", "+BTRF:0,OK");
}

void Mix::BtLePackets() {
    BtCommandSent();
    const int packets = Pick(1, 65535);
    env_.BtCtl().SetLeTestPackets(static_cast<std::uint16_t>(packets));
    Expect("bt test", "AT+BTRF=1,3,1,0", "+BTRF:0,OK");
    Expect("bt test", "AT+BTRF=1,3,0,0", "+BTRF:0,OK");
    Expect("bt measurement", "AT+BTRF=1,4,1,0", "+BTRF:0,OK," + std::to_string(packets));
}

void Mix::BtOpen() {
    BtCommandSent();
    Expect("bt open", Chance(50) ? "AT+BTRF=2,1,1,0" : "AT+BTRF=1,1,1,0", "+BTRF:0,OK");
    dut_ = Dut::kBt;
}

void Mix::BtClose() {
    BtCommandSent();
    Expect("bt close", Chance(50) ? "AT+BTRF=2,1,0,0" : "AT+BTRF=1,1,0,0", "+BTRF:0,OK");
    dut_ = Dut::kNone;
}

void Mix::BtDutMode() {
    BtCommandSent();
    if (Chance(50)) {
        // Opens the DUT when it is closed.
        Expect("bt dut mode", "AT+BTRF=1,8,1,0", "+BTRF:0,OK");
        dut_ = Dut::kBt;
    } else {
        // Closes the DUT; with none open there is nothing to leave.
        Expect("bt dut mode", "AT+BTRF=1,8,0,0", dut_ == Dut::kBt ? "+BTRF:0,OK" : "+BTRF:5,NG");
        dut_ = Dut::kNone;
    }
}

void Mix::NoFamily() {
    const std::string n = std::to_string(Pick(0, 99));
    const std::string commands[] = {"foo" + n,          "AT+BT=1,0,0," + n, "at+wifirf=0,0,0," + n,
                                    " AT+WIFIRF=1,0,0,0", "ATA+WIF=" + n,   "AT+WIFI",
                                    "AT+WIFIRF",        "UNIT" + n,         "",
                                    "ATA+BTX=1"};
    ledger_.Expect("no family", commands[Pick(0, 9)], WLBT_ERR_UNKNOWN_FAMILY, "NG");
}

void Mix::TooLong() {
    const std::string base[] = {"AT+WIFIRF=0,0,0,36,", "AT+BTRF=1,0,0,", "ATA+BT=1,", "UNIT=9,", "foo"};
    std::string command = base[Pick(0, 4)];
    command.resize(static_cast<size_t>(WLBT_MAX_COMMAND_LENGTH + (Chance(30) ? 1 : Pick(2, 200))), '7');
    ledger_.Expect("too long", command, WLBT_ERR_TOO_LONG, "untouched");
}

void Mix::NoRow() {
    // Commands of a family with no row, or rows that touch no radio.
    switch (Pick(0, 3)) {
        case 0: Expect("no row", "UNIT=99", "+UNIT:000000,OK"); break;
        case 1: Expect("no row", "UNIT=7", "NG"); break;
        case 2: Expect("no row", "ATA+BT=7", "OK"); break;
        default: Expect("no row", "ATA+WIFI=7", "NG"); break;
    }
}

void Mix::Inquiry() {
    ++inquiries_;
    std::vector<tavo::sim::BtDevice> devices;
    std::string list;
    for (int i = Pick(1, 3); i > 0; --i) {
        const int rssi = Pick(-99, -20);
        const std::string name = "Dev" + std::to_string(inquiries_) + "-" + std::to_string(i);
        // The library tells devices apart by their first seven digits.
        char address[32];
        std::snprintf(address, sizeof address, "%02X:%02X:22:33:44:55", i, inquiries_);
        devices.push_back({address, name, rssi, Pick(1, 2)});
        list += (list.empty() ? "OK:" : ";") + name + "," + std::to_string(rssi);
    }
    env_.BtCtl().SetDevices(devices);
    Expect("inquiry", "ATA+BT=1", "OK");
    // The inquiry runs on in its worker while the ring goes on with other
    // commands; the fetch waits for it.
    for (int i = Pick(0, 7); i > 0; --i) Chance(50) ? WlanSetter() : WlanGetter();
    Expect("inquiry", "ATA+BT=2", list);
    WaitForWorkers();
    if (Chance(30)) Expect("inquiry", "ATA+BT=0", "OK");
}

void Mix::AddressRead() {
    ++addressReads_;
    BtCommandSent();
    tavo::sim::btctl::BdAddr address;
    std::string hex;
    for (auto& byte : address) {
        byte = static_cast<std::uint8_t>(Pick(0, 255));
        char two[3];
        std::snprintf(two, sizeof two, "%02x", byte);
        hex += two;
    }
    env_.BtCtl().SetBdAddr(address);
    Expect("address read", "AT+BTRF=1,8,2,0", "+BTRF:0,OK," + hex);
}

void Mix::Scan() {
    ++scans_;
    std::vector<tavo::sim::AccessPoint> aps;
    std::string list;
    for (int i = Pick(1, 10); i > 0; --i) {
        const int signal = Pick(-90, -30);
        const std::string ssid = "ap" + std::to_string(scans_) + "-" + std::to_string(i);
        char bssid[32];
        std::snprintf(bssid, sizeof bssid, "02:00:00:00:%02x:%02x", scans_, i);
        aps.push_back({bssid, 2412, static_cast<double>(signal), ssid});
        list += (list.empty() ? "OK:" : ";") + ssid + "," + std::to_string(signal);
    }
    env_.Sim().SetAccessPoints(aps);
    Expect("scan", "ATA+WIFI=1", "OK");
    // Only the inquiry's fetch waits for its run: a scan's is fetched
    // once its worker has ended.
    WaitForWorkers();
    Expect("scan", "ATA+WIFI=2", list);
    if (Chance(30)) Expect("scan", "ATA+WIFI=0", "OK");
}

void Mix::RunOne(const std::vector<Action>& actions) {
    int total = 0;
    for (const Action& a : actions) total += a.weight;
    int roll = Pick(0, total - 1);
    for (const Action& a : actions) {
        if (roll < a.weight) {
            (this->*a.run)();
            return;
        }
        roll -= a.weight;
    }
}

void Mix::Run(int commands) {
    // Weights in tenths. Each state keeps mostly to its own radio; the
    // commands that cross to the other one are the exclusions.
    const std::vector<Action> none = {
        {300, &Mix::WlanSetter}, {300, &Mix::WlanGetter}, {100, &Mix::BtPlainSetter}, {15, &Mix::BtGain},
        {15, &Mix::BtAddress},   {10, &Mix::WlanTemperature}, {30, &Mix::NoRow},      {30, &Mix::NoFamily},
        {30, &Mix::TooLong},     {20, &Mix::WlanOpen},   {20, &Mix::BtOpen},         {3, &Mix::BtDutMode},
        {5, &Mix::WlanClose},    {5, &Mix::BtClose},     {10, &Mix::WlanTestRow}};
    const std::vector<Action> wlan = {
        {300, &Mix::WlanSetter}, {300, &Mix::WlanGetter}, {100, &Mix::WlanTemperature}, {20, &Mix::WlanTestRow},
        {30, &Mix::NoRow},       {30, &Mix::NoFamily},   {30, &Mix::TooLong},        {5, &Mix::WlanOpen},
        {10, &Mix::WlanClose},   {6, &Mix::BtPlainSetter}, {6, &Mix::BtOpen},        {2, &Mix::BtGain}};
    const std::vector<Action> bt = {
        {200, &Mix::BtPlainSetter}, {100, &Mix::BtGain},  {50, &Mix::BtAddress},     {30, &Mix::BtTransmit},
        {20, &Mix::BtBer},          {20, &Mix::BtCarrierRssi}, {20, &Mix::BtLePackets}, {30, &Mix::WlanTestRow},
        {30, &Mix::NoRow},          {30, &Mix::NoFamily}, {30, &Mix::TooLong},       {5, &Mix::BtOpen},
        {15, &Mix::BtClose},        {5, &Mix::BtDutMode}, {10, &Mix::WlanSetter},    {10, &Mix::WlanGetter},
        {5, &Mix::WlanOpen},        {5, &Mix::WlanTemperature}};

    while (ledger_.Commands() < commands) {
        const bool showBt = std::exchange(showBtClosed_, false) && dut_ == Dut::kNone;
        const bool showWlan = std::exchange(showWlanClosed_, false) && dut_ == Dut::kNone;
        if (showBt) {
            BtGain();  // a device call on a closed DUT fails
        } else if (showWlan) {
            WlanTemperature();  // no connection to the firmware
        } else if (inquiries_ < kInquiries && Due(inquiries_, kInquiries)) {
            if (dut_ != Dut::kNone) dut_ == Dut::kWlan ? WlanClose() : BtClose();
            Inquiry();
        } else if (addressReads_ < kAddressReads && Due(addressReads_, kAddressReads)) {
            AddressRead();
        } else if (scans_ < kScans && Due(scans_, kScans)) {
            if (dut_ != Dut::kNone) dut_ == Dut::kWlan ? WlanClose() : BtClose();
            Scan();
        } else {
            RunOne(dut_ == Dut::kNone ? none : dut_ == Dut::kWlan ? wlan : bt);
        }
    }
}

TEST(MixedCommands, TenThousandOnBothRadiosEachGetTheReplyOfTheirOwnCommand) {
    stress::Lab lab;
    lab.env.WlanFw().SetRxRate(0);
    ASSERT_EQ(OpenWiFiBtFactoryService(), 0);
    Mix mix(lab);
    // The ERROR lines of the refused commands, thousands of them, are kept
    // out of the test's output.
    testing::internal::CaptureStdout();
    mix.Run(kCommands);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(CloseWiFiBtFactoryService(), 0);

    stress::Ledger& ledger = mix.Ledger();
    ledger.Print("mixed commands");
    ledger.ReportFailures();
    EXPECT_EQ(ledger.Failures(), 0);
}

}  // namespace
