// A run on both radios through the simulator with both capture files on,
// read back by the tools a station engineer uses: tshark with the project's
// dissector, and btmon. Also what they make of a capture cut short.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "WiFiBtFactoryService.h"
#include "capture/pcapng_reader.h"
#include "enginefw/capture.h"
#include "support/chores.h"
#include "support/sim_env.h"

namespace {

using testsupport::ReadFile;
using testsupport::ScopedEnv;
using testsupport::TempDir;
using testsupport::WriteFile;

struct Output {
    int status = -1;
    std::string text;  // standard output; standard error goes to `errors`
    std::string errors;
};

// Runs a shell command line; its standard output and error, and exit code.
Output RunTool(const std::string& line, const TempDir& dir) {
    Output out;
    const std::string errors = dir / "stderr.txt";
    FILE* pipe = ::popen((line + " 2>" + errors).c_str(), "r");
    if (pipe == nullptr) return out;
    char buffer[4096];
    size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) out.text.append(buffer, n);
    const int status = ::pclose(pipe);
    out.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    out.errors = ReadFile(errors).value_or("");
    return out;
}

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

bool Have(const char* program) {
    return std::system((std::string("command -v ") + program + " >/dev/null 2>&1").c_str()) == 0;
}

std::string Tshark(const std::string& file, const std::string& options) {
    return "tshark -n -X lua_script:" WLBT_DISSECTOR " -r '" + file + "' " + options;
}

// The HCI command opcodes btmon shows, as "0xOOOO", in order.
std::vector<std::string> BtmonOpcodes(const std::string& text) {
    std::vector<std::string> opcodes;
    for (const std::string& line : Lines(text)) {
        if (line.rfind("< HCI Command:", 0) != 0) continue;
        const size_t open = line.find("(0x");
        unsigned ogf = 0;
        unsigned ocf = 0;
        if (open == std::string::npos || std::sscanf(line.c_str() + open, "(0x%x|0x%x)", &ogf, &ocf) != 2) continue;
        char text16[8];
        std::snprintf(text16, sizeof text16, "0x%04x", (ogf << 10) | ocf);
        opcodes.push_back(text16);
    }
    return opcodes;
}

class CaptureRun : public ::testing::Test {
protected:
    void SetUp() override {
        if (!Have("tshark") || !Have("btmon")) GTEST_SKIP() << "tshark and btmon come with scripts/deps.sh";
        pcap_ = std::make_unique<ScopedEnv>("TAVO_CAPTURE", dir_ / "run.pcapng");
        snoop_ = std::make_unique<ScopedEnv>("TAVO_BTSNOOP", dir_ / "run.btsnoop");
        capture::Shutdown();  // read the environment anew
        env_.BtCtl().SetFastSleep(true);
        ASSERT_TRUE(env_.LoadTestFirmware());
        ASSERT_EQ(OpenWiFiBtFactoryService(), 0);
        for (const char* command : kCommands) {
            std::vector<char> result(WLBT_RESULT_BUFFER_SIZE, '\0');
            ASSERT_EQ(ForwardCMD_WiFiBT(command, result.data(), 3000), 0) << command;
            ASSERT_NE(std::string(result.data()).find("OK"), std::string::npos) << command << ": " << result.data();
        }
        ASSERT_EQ(CloseWiFiBtFactoryService(), 0);
        capture::Shutdown();
    }
    void TearDown() override { capture::Shutdown(); }

    static constexpr const char* kCommands[] = {
        "AT+WIFIRF=0,1,1,0", "AT+WIFIRF=0,0,6,2",  "AT+WIFIRF=0,0,0,36", "AT+WIFIRF=0,0,1,4",
        "AT+WIFIRF=0,0,3,20", "AT+WIFIRF=0,0,8,1000", "AT+WIFIRF=0,2,1,0", "AT+WIFIRF=1,0,8,0", "AT+WIFIRF=0,2,0,0",
        "AT+WIFIRF=0,3,1,0", "AT+WIFIRF=1,4,0,0", "AT+WIFIRF=0,3,0,0", "AT+WIFIRF=0,5,0,0", "AT+WIFIRF=0,1,0,0",
        "AT+BTRF=2,1,1,0", "AT+BTRF=2,0,3,15", "AT+BTRF=2,2,1,0", "AT+BTRF=2,2,0,0", "AT+BTRF=1,0,0,19",
        "AT+BTRF=1,0,4,37", "AT+BTRF=1,0,8,2", "AT+BTRF=1,0,5,1", "AT+BTRF=1,2,1,0", "AT+BTRF=1,2,0,0", "AT+BTRF=1,3,1,0", "AT+BTRF=1,3,0,0", "AT+BTRF=2,1,0,0"};

    TempDir dir_;
    std::unique_ptr<ScopedEnv> pcap_;
    std::unique_ptr<ScopedEnv> snoop_;
    testsupport::SimEnv env_;
};

TEST_F(CaptureRun, TsharkDecodesEveryRecordAndBtmonShowsTheSameHciCommands) {
    const std::string pcap = dir_ / "run.pcapng";
    const std::string snoop = dir_ / "run.btsnoop";

    // Every packet decodes: no malformed packet, no dissector error.
    const Output all = RunTool(Tshark(pcap, "-V"), dir_);
    ASSERT_EQ(all.status, 0) << all.errors;
    for (const char* bad : {"Malformed", "Lua Error", "Expert Info (Error"}) {
        EXPECT_EQ(all.text.find(bad), std::string::npos) << bad;
    }
    EXPECT_EQ(all.errors.find("Lua"), std::string::npos) << all.errors;

    // The AT commands in the order they were given, each followed by its result.
    const Output at = RunTool(Tshark(pcap, "-Y wlbtat -T fields -e wlbtat.kind -e wlbtat.command -e wlbtat.rc"), dir_);
    std::vector<std::string> expected;
    for (const char* command : kCommands) {
        expected.push_back(std::string("0\t") + command + "\t0");
        expected.push_back(std::string("1\t") + command + "\t0");
    }
    EXPECT_EQ(Lines(at.text), expected);

    // The WLAN requests by name, in the order the commands need them.
    const Output wlan = RunTool(Tshark(pcap, "-Y 'wlbtfw.direction == 0' -T fields -e _ws.col.Info"), dir_);
    const std::vector<std::string> wanted = {"set_tx_params_req", "tx_start_req", "tx_read_req", "tx_stop_req",
                                             "rx_start_req", "rx_read_req", "rx_stop_req", "mib_get_req"};
    size_t found = 0;
    for (const std::string& line : Lines(wlan.text)) {
        if (found < wanted.size() && line.rfind(wanted[found], 0) == 0) ++found;
    }
    EXPECT_EQ(found, wanted.size()) << wlan.text;
    // A confirm decodes to its fields: the received frame count of the read.
    const Output counters = RunTool(Tshark(pcap, "-Y 'wlbtfw.signal == 0x9108' -T fields -e wlbtfw.counter_value"), dir_);
    EXPECT_FALSE(Lines(counters.text).empty());

    // The HCI commands, tunnelled fragments and all: the same list from
    // tshark's reading of the pcapng and btmon's of the btsnoop file.
    const Output hci = RunTool(Tshark(pcap, "-Y bthci_cmd -T fields -e bthci_cmd.opcode"), dir_);
    const std::vector<std::string> opcodes = Lines(hci.text);
    EXPECT_NE(std::find(opcodes.begin(), opcodes.end(), "0xfc00"), opcodes.end()) << hci.text;
    EXPECT_NE(std::find(opcodes.begin(), opcodes.end(), "0x2034"), opcodes.end()) << hci.text;  // LE transmitter test
    EXPECT_NE(std::find(opcodes.begin(), opcodes.end(), "0x2033"), opcodes.end()) << hci.text;  // LE receiver test
    const Output btmon = RunTool("btmon -r '" + snoop + "'", dir_);
    EXPECT_EQ(btmon.status, 0) << btmon.errors;
    EXPECT_EQ(BtmonOpcodes(btmon.text), opcodes) << btmon.text;
}

TEST_F(CaptureRun, AFileCutMidPacketIsReadUpToTheCut) {
    const std::string pcap = ReadFile(dir_ / "run.pcapng").value_or("");
    std::string error;
    const std::vector<capturetest::Block> blocks = capturetest::ReadBlocks(pcap, error);
    ASSERT_EQ(error, "");
    size_t packets = 0;
    size_t lastPacket = 0;
    for (const capturetest::Block& b : blocks) {
        if (b.type == 6) {
            ++packets;
            lastPacket = b.offset;
        }
    }
    ASSERT_GT(packets, 10u);
    const std::string cut = dir_ / "cut.pcapng";
    ASSERT_TRUE(WriteFile(cut, pcap.substr(0, lastPacket + 20)));
    const Output read = RunTool(Tshark(cut, "-T fields -e frame.number"), dir_);
    EXPECT_EQ(Lines(read.text).size(), packets - 1);
    EXPECT_NE(read.errors.find("cut short"), std::string::npos) << read.errors;

    // btsnoop likewise: all but the record that was cut.
    const std::string snoop = ReadFile(dir_ / "run.btsnoop").value_or("");
    const Output whole = RunTool("btmon -r '" + std::string(dir_ / "run.btsnoop") + "'", dir_);
    const std::vector<std::string> all = BtmonOpcodes(whole.text);
    ASSERT_FALSE(all.empty());
    // The last HCI command's record, cut inside its header.
    const size_t lastCommand = [&] {
        size_t at = 16;
        size_t last = 0;
        while (at + 24 <= snoop.size()) {
            if ((capturetest::Be32(snoop, at + 8) & 3) == 2) last = at;
            at += 24 + capturetest::Be32(snoop, at + 4);
        }
        return last;
    }();
    const std::string cutSnoop = dir_ / "cut.btsnoop";
    ASSERT_TRUE(WriteFile(cutSnoop, snoop.substr(0, lastCommand + 10)));
    const Output part = RunTool("btmon -r '" + cutSnoop + "'", dir_);
    EXPECT_EQ(BtmonOpcodes(part.text), std::vector<std::string>(all.begin(), all.end() - 1));
}

}  // namespace
