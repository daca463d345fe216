// A fault campaign on the WLAN client: 1000 exchanges through the exported
// wlan_ functions with the simulated firmware on its socket, half of them
// with a fault from the firmware's fault plan, each fault followed by a good
// exchange. Every call must end within the client's two seconds (and a
// margin) with the code its fault calls for, and the good exchange after it
// must return 0 with the right values: a fault never leaves the client out
// of step with the firmware. The fixed seed makes every run the same run.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <iterator>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "sim/wlanfw/settings_text.h"
#include "sim/wlanfw/signals.h"
#include "support/sim_env.h"
#include "wlan_interface.h"

namespace {

using Clock = std::chrono::steady_clock;
namespace wf = tavo::sim::wlanfw;

// The client's wait for a frame, and what we allow on top of it for the
// machine being busy: a call must never take longer.
constexpr auto kCallBound = std::chrono::milliseconds(2000 + 1000);

const CommstestMacAddress kAddress = {{0x00, 0x11, 0x22, 0x33, 0x44, 0x55}};

// What one call gave: its code and the values it read, and the values a
// good exchange must read.
struct Outcome {
    int32_t code;
    std::string values;
    std::string want;
};

enum class Shape { kPlain, kMib, kRxRead };

struct Call {
    const char* function;
    const char* operation;  // what the last error names: the numbered MIB forms share one
    std::uint16_t confirm;
    Shape shape;
    std::uint16_t psid;    // kMib: the psid asked for
    std::function<Outcome(std::mt19937&, testsupport::SimEnv&)> run;
};

Outcome Mib(int32_t code, uint64_t value, uint64_t want) {
    return {code, std::to_string(value), std::to_string(want)};
}

const std::vector<Call>& Calls() {
    static const std::vector<Call> calls = {
        {"wlan_select_radio", "wlan_select_radio", wf::kSelectRadioCfm, Shape::kPlain, 0,
         [](std::mt19937& random, testsupport::SimEnv& env) {
             const auto radio = static_cast<CommstestRadioBitmap>(1 + random() % 3);
             const int32_t code = wlan_select_radio(radio);
             return Outcome{code, "radios " + std::to_string(env.WlanFw().RadioBitmap()),
                            "radios " + std::to_string(radio)};
         }},
        {"wlan_set_tx_params", "wlan_set_tx_params", wf::kSetTxParamsCfm, Shape::kPlain, 0,
         [](std::mt19937& random, testsupport::SimEnv& env) {
             const uint16_t freq = static_cast<uint16_t>(2412 + 5 * (random() % 13));
             const int32_t code = wlan_set_tx_params(
                 COMMSTEST_BW_20MHZ, COMMSTEST_POSITION_0, static_cast<CommstestDataRate>(1), freq, 10, 100,
                 4000000000u, COMMSTEST_TX_FLAG_BASE, COMMSTEST_REGDOMAIN_0, COMMSTEST_TX_FLAGS2_NONE,
                 COMMSTEST_HE_MODE_NONE, 0, 0);
             const auto stored = env.WlanFw().TxParamsInForce();
             return Outcome{code, "freq " + std::to_string(stored ? stored->freq : 0), "freq " + std::to_string(freq)};
         }},
        {"wlan_tx_read", "wlan_tx_read", wf::kTxReadCfm, Shape::kPlain, 0,
         [](std::mt19937&, testsupport::SimEnv&) {
             uint32_t left = 0;
             const int32_t code = wlan_tx_read(&left);
             return Outcome{code, std::to_string(left), "1000"};
         }},
        {"wlan_bist_get_tx_gain", "wlan_bist_get_tx_gain", wf::kBistGetTxGainCfm, Shape::kPlain, 0,
         [](std::mt19937&, testsupport::SimEnv&) {
             uint32_t gain = 0;
             const int32_t code = wlan_bist_get_tx_gain(2412, 25, 2, &gain);
             return Outcome{code, std::to_string(gain), std::to_string(0x00030004)};
         }},
        {"wlan_rx_read_extended", "wlan_rx_read", wf::kRxReadCfm, Shape::kRxRead, 0,
         [](std::mt19937&, testsupport::SimEnv&) {
             uint32_t total = 0, good = 0, interval = 0;
             int32_t freqErr = 0;
             int16_t r[4] = {}, s[4] = {};
             const int32_t code = wlan_rx_read_extended(&total, &good, &interval, &freqErr, r, r + 1, r + 2, r + 3, s,
                                                        s + 1, s + 2, s + 3);
             std::ostringstream values;
             values << total << ' ' << good << ' ' << interval << ' ' << freqErr;
             for (const int16_t v : r) values << ' ' << v;
             for (const int16_t v : s) values << ' ' << v;
             return Outcome{code, values.str(), "1000 990 500 -1200 -41 -50 -30 -40 21 10 30 20"};
         }},
        {"wlan_get_chip_id", "wlan_get_chip_id", wf::kMibGetCfm, Shape::kMib, 2022,
         [](std::mt19937&, testsupport::SimEnv&) {
             uint16_t chip = 0;
             const int32_t code = wlan_get_chip_id(&chip);
             return Mib(code, chip, 0x7200);
         }},
        {"wlan_get_mib_uint2", "wlan_get_mib_uint", wf::kMibGetCfm, Shape::kMib, 2022,
         [](std::mt19937& random, testsupport::SimEnv&) {
             uint64_t value = 0;
             const int32_t code = wlan_get_mib_uint2(2022, static_cast<uint8_t>(random()),
                                                     static_cast<uint8_t>(random()), &value);
             return Mib(code, value, 0x7200);
         }},
        {"wlan_get_mib_uint", "wlan_get_mib_uint", wf::kMibGetCfm, Shape::kMib, 5062,
         [](std::mt19937&, testsupport::SimEnv&) {
             uint64_t value = 0;
             const int32_t code = wlan_get_mib_uint(5062, &value);
             return Mib(code, value, 38);
         }},
        {"wlan_get_fw_build_id", "wlan_get_fw_build_id", wf::kMibGetCfm, Shape::kMib, 183,
         [](std::mt19937&, testsupport::SimEnv&) {
             char text[64] = {};
             const int32_t code = wlan_get_fw_build_id(text, sizeof text);
             return Outcome{code, text, "rk720_t-sim 1.0"};
         }},
    };
    return calls;
}

// A fault: the settings that make it (numbers drawn from the campaign's
// generator), the calls it applies to, the code it gives, the firmware's log
// text that shows it happened, and the settings that undo it.
enum class Code { kOk, kForced, kProtocol, kNoResponse };

struct Fault {
    const char* name;
    unsigned count;  // of the 500
    std::function<std::string(std::mt19937&, const Call&)> steer;
    std::function<bool(const Call&)> applies;
    Code code;
    std::function<std::string(const std::string& steer, const Call&)> logged;  // null when nothing shows it
    const char* undo;
};

// The number after the last '=' of a setting.
std::string Value(const std::string& setting) { return setting.substr(setting.rfind('=') + 1); }

std::string Hex4(std::uint16_t value) {
    char text[8];
    std::snprintf(text, sizeof text, "0x%04X", value);
    return text;
}

bool AnyCall(const Call&) { return true; }

// Result codes the firmware may be forced to give, and the codes the
// client turns them into (README, the wlan_ functions).
const std::map<std::uint16_t, int32_t> kForcedCodes = {
    {1, 2}, {2, 2}, {38, 201}, {48, 203}, {79, 203}, {0x8003, 202}, {0x8004, 2}, {0x8006, 203},
};

std::uint16_t ForcedResult(std::mt19937& random) {
    auto it = kForcedCodes.begin();
    std::advance(it, random() % kForcedCodes.size());
    return it->first;
}

const std::vector<Fault>& Faults() {
    // Seven of the 1000 calls meet no confirm and wait out the two seconds:
    // that keeps the whole campaign under twenty seconds.
    static const std::vector<Fault> faults = {
        {"delay 1-40 ms", 60, [](std::mt19937& r, const Call&) { return "delay=" + std::to_string(1 + r() % 40); },
         AnyCall, Code::kOk, nullptr, "delay=0"},
        {"1-8 unrelated frames first", 95,
         [](std::mt19937& r, const Call&) {
             return "chatter=" + std::to_string(1 + r() % 8) + "," + std::to_string(r() % 3);
         },
         AnyCall, Code::kOk,
         [](const std::string&, const Call& c) { return "unrelated 0x9FFF before " + Hex4(c.confirm); }, "chatter=0"},
        {"datagram longer than its frame", 50,
         [](std::mt19937& r, const Call&) { return "pad=" + std::to_string(1 + r() % 8000); }, AnyCall, Code::kOk,
         [](const std::string& s, const Call&) { return "[" + Value(s) + " bytes past the frame]"; }, ""},
        {"forced result code", 90,
         [](std::mt19937& r, const Call&) { return "force=any," + std::to_string(ForcedResult(r)); }, AnyCall,
         Code::kForced, [](const std::string&, const Call&) { return std::string("forced)"); }, ""},
        {"malformed frame", 60,
         [](std::mt19937& r, const Call&) {
             static const char* const kinds[] = {"short-datagram", "header-only", "signal-overrun", "total-overrun"};
             return std::string("malformed=") + kinds[r() % 4];
         },
         AnyCall, Code::kProtocol, [](const std::string&, const Call&) { return std::string(" malformed ("); }, ""},
        {"signal cut to 2-9 bytes", 40,
         [](std::mt19937& r, const Call&) { return "cut-signal=" + std::to_string(2 + r() % 8); }, AnyCall,
         Code::kProtocol, [](const std::string& s, const Call&) { return "[signal cut to " + Value(s) + "]"; }, ""},
        {"bulk cut to 0-4 bytes", 30,
         [](std::mt19937& r, const Call&) { return "cut-bulk=" + std::to_string(r() % 5); },
         [](const Call& c) { return c.shape != Shape::kPlain; }, Code::kProtocol,
         [](const std::string& s, const Call&) { return "[bulk cut to " + Value(s) + "]"; }, ""},
        {"frame longer than a read", 30,
         [](std::mt19937& r, const Call&) { return "grow-bulk=" + std::to_string(4096 + r() % 2000); }, AnyCall,
         Code::kProtocol, [](const std::string&, const Call&) { return std::string("[bulk grown to "); }, ""},
        {"MIB answered for another psid", 20,
         [](std::mt19937& r, const Call& c) {
             return "mib-psid=" + std::to_string((c.psid + 1 + r() % 1000) % 0x10000);
         },
         [](const Call& c) { return c.shape == Shape::kMib; }, Code::kProtocol,
         [](const std::string& s, const Call&) { return "[psid " + Value(s) + "]"; }, "mib-psid=asked"},
        {"wrong counter count", 18,
         [](std::mt19937& r, const Call&) {
             const unsigned n = r() % 64;  // anything but the 2 asked for
             return "rx-count-field=" + std::to_string(n < 2 ? n : n + 1);
         },
         [](const Call& c) { return c.shape == Shape::kRxRead; }, Code::kProtocol,
         [](const std::string& s, const Call&) { return "[count field " + Value(s) + "]"; }, "rx-count-field=counted"},
        {"silence", 3, [](std::mt19937&, const Call&) { return std::string("silent"); }, AnyCall, Code::kNoResponse,
         [](const std::string&, const Call&) { return std::string("-> silent"); }, "silent=off"},
        {"confirm under a wrong id", 2,
         [](std::mt19937& r, const Call& c) {
             const std::uint16_t ids[] = {wf::kTxStopCfm, wf::kRxStopCfm, wf::kCwStartCfm, wf::kUnrelatedSignal};
             std::uint16_t id = ids[r() % 4];
             if (id == c.confirm) id = wf::kUnrelatedSignal;
             return "confirm-id=" + std::to_string(id);
         },
         AnyCall, Code::kNoResponse,
         [](const std::string& s, const Call&) {
             return "[sent as " + Hex4(static_cast<std::uint16_t>(std::stoul(Value(s)))) + "]";
         },
         ""},
        // The confirm comes after the client gave up; the next exchange,
        // of another confirm, must pass over it.
        {"confirm 2.1-2.3 s late", 2,
         [](std::mt19937& r, const Call&) { return "delay=" + std::to_string(2100 + r() % 200); }, AnyCall,
         Code::kNoResponse, [](const std::string&, const Call& c) { return "-> " + Hex4(c.confirm) + " result 0"; },
         "delay=0"},
    };
    return faults;
}

class WlanCampaign : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(env.LoadTestFirmware() && wlan_open_device() == 0) << wlan_get_last_error();
        Steer("rx-rate=0;rx-counts=1000,990;rssi=-40,-41,-50,-30;snr=20,21,10,30;freq-error=-1200;rx-interval=500");
        // A frame an hour: the stream's count stays at 1000.
        ASSERT_EQ(wlan_set_tx_params(COMMSTEST_BW_20MHZ, COMMSTEST_POSITION_0, static_cast<CommstestDataRate>(1), 2412,
                                     10, 100, 4000000000u, COMMSTEST_TX_FLAG_BASE, COMMSTEST_REGDOMAIN_0,
                                     COMMSTEST_TX_FLAGS2_NONE, COMMSTEST_HE_MODE_NONE, 0, 0),
                  0);
        ASSERT_EQ(wlan_tx_start(1000, COMMSTEST_TX_DATA_0, 0, kAddress, kAddress, kAddress), 0);
        ASSERT_EQ(wlan_rx_start(COMMSTEST_BW_20MHZ, COMMSTEST_POSITION_0, 2412, COMMSTEST_RX_FLAGS_NONE, kAddress), 0);
    }
    void TearDown() override { wlan_close_device(); }

    // Settings as tavo-sim --wlanfw takes them, ';' between them.
    void Steer(const std::string& settings) {
        std::istringstream in(settings);
        std::string error;
        for (std::string s; std::getline(in, s, ';');) {
            if (!s.empty()) {
                EXPECT_TRUE(wf::ApplySetting(env.WlanFw(), s, error)) << error;
            }
        }
    }

    // Runs `call`, checks its bound, its code and (for a good one) its values.
    Outcome Run(const Call& call, int32_t wantCode, std::mt19937& random, Clock::duration& took) {
        const Clock::time_point start = Clock::now();
        const Outcome got = call.run(random, env);
        took = Clock::now() - start;
        EXPECT_LE(took, kCallBound) << call.function;
        EXPECT_EQ(got.code, wantCode) << call.function << ": " << wlan_get_last_error();
        if (wantCode == 0) {
            EXPECT_EQ(got.values, got.want) << call.function;
        } else {
            EXPECT_EQ(std::string(wlan_get_last_error()).rfind(std::string(call.operation) + ": ", 0), 0u)
                << wlan_get_last_error();
        }
        return got;
    }

    testsupport::SimEnv env;
};

TEST_F(WlanCampaign, AThousandExchangesHalfOfThemFaultyAllEndWellAndInStep) {
    std::mt19937 random(20240917);
    // The 500 faults in a shuffled order, each kind as often as its count.
    std::vector<const Fault*> plan;
    for (const Fault& fault : Faults()) plan.insert(plan.end(), fault.count, &fault);
    ASSERT_EQ(plan.size(), 500u);
    std::shuffle(plan.begin(), plan.end(), random);

    struct Tally {
        std::map<int32_t, unsigned> codes;
        Clock::duration longest{};
    };
    std::map<std::string, Tally> tally;
    const Clock::time_point began = Clock::now();
    const std::vector<Call>& calls = Calls();
    for (size_t i = 0; i < plan.size() && !HasFailure(); ++i) {
        const Fault& fault = *plan[i];
        const Call* call = &calls[random() % calls.size()];
        while (!fault.applies(*call)) call = &calls[random() % calls.size()];
        const std::string steer = fault.steer(random, *call);
        SCOPED_TRACE("exchange " + std::to_string(2 * i + 1) + ": " + steer + " on " + call->function);

        int32_t want = 0;
        switch (fault.code) {
            case Code::kOk: break;
            case Code::kForced:
                // MIB confirms carry the forced code as their MIB status and
                // no value, which the client reports as an empty response.
                want = call->shape == Shape::kMib
                           ? 200
                           : kForcedCodes.at(static_cast<std::uint16_t>(std::stoul(steer.substr(steer.find(',') + 1))));
                break;
            case Code::kProtocol: want = 200; break;
            case Code::kNoResponse: want = 3; break;
        }
        const std::uint64_t mark = env.Sim().Log().Count();
        Steer(steer);
        Clock::duration took{};
        const Outcome faulty = Run(*call, want, random, took);
        Steer(fault.undo);
        if (fault.logged) {
            const std::string text = fault.logged(steer, *call);
            EXPECT_TRUE(env.Sim().Log().WaitFor(text, std::chrono::seconds(5), mark)) << text;
        }
        Tally& t = tally[fault.name];
        ++t.codes[faulty.code];
        t.longest = std::max(t.longest, took);

        // The good exchange after it. After a fault with no confirm in time,
        // one that waits for another confirm, so that a late one is passed
        // over rather than taken for it (the client has no way to tell).
        const Call* next = &calls[random() % calls.size()];
        while (fault.code == Code::kNoResponse && next->confirm == call->confirm) {
            next = &calls[random() % calls.size()];
        }
        SCOPED_TRACE(std::string("then ") + next->function);
        const Outcome good = Run(*next, 0, random, took);
        Tally& g = tally["(good exchange after a fault)"];
        ++g.codes[good.code];
        g.longest = std::max(g.longest, took);
    }
    const double seconds = std::chrono::duration<double>(Clock::now() - began).count();

    std::printf("WLAN campaign, seed 20240917: %zu exchanges in %.1f s\n", 2 * plan.size(), seconds);
    std::printf("  %-34s %5s  %-42s %s\n", "fault", "calls", "codes (code x calls)", "longest call");
    for (const auto& [name, t] : tally) {
        unsigned calls = 0;
        std::string codes;
        for (const auto& [code, n] : t.codes) {
            calls += n;
            codes += (codes.empty() ? "" : ", ") + std::to_string(code) + " x" + std::to_string(n);
        }
        std::printf("  %-34s %5u  %-42s %lld ms\n", name.c_str(), calls, codes.c_str(),
                    static_cast<long long>(std::chrono::duration_cast<std::chrono::milliseconds>(t.longest).count()));
    }
}

}  // namespace
