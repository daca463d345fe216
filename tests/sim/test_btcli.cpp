// The btcli stand-in as the library runs it: a child process found through
// PATH that takes its script from the FIFO under the root and answers from
// what the simulated Bluetooth controller holds. Then tavo-sim's
// --bt-device text.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <memory>
#include <string>

#include "sim/serve.h"
#include "support/sim_env.h"

namespace {

using namespace std::chrono_literals;
using testsupport::ChildProcess;

// Starts btcli with the library's command line and writes `script` to the
// FIFO in one go once the tool has it open, as the library does.
std::unique_ptr<ChildProcess> StartBtcli(testsupport::SimEnv& env, const std::string& script) {
    const std::string fifo = env.Path("/dev/btcli_fifo");
    EXPECT_EQ(::mkfifo(fifo.c_str(), 0666), 0);
    auto tool = std::make_unique<ChildProcess>(std::vector<std::string>{
        "sh", "-c", "exec btcli -x/dev/btcli_fifo /dev/tavo_h4_0 h4 4000000 >" + env.Path("/out")});
    int fd = -1;  // a writer's non-blocking open fails until a reader has the FIFO open
    EXPECT_TRUE(testsupport::WaitUntil([&] { return (fd = ::open(fifo.c_str(), O_WRONLY | O_NONBLOCK)) >= 0; }, 20s));
    EXPECT_EQ(::write(fd, script.data(), script.size()), static_cast<ssize_t>(script.size()));
    ::close(fd);
    return tool;
}

TEST(SimBtcli, AnswersTheLibrarysScriptsRowByRow) {
    testsupport::SimEnv env;
    env.BtCtl().AddDevice({"00:11:22:33:44:55", "Tester", -72, 2});
    env.BtCtl().AddDevice({"aa:bb:cc:dd:ee:0f", "Station-Phone-0123456789", -127, 1});
    env.BtCtl().SetBdAddr({0xfe, 0xdc, 0xba, 0x98, 0x76, 0x54});
    auto tool = StartBtcli(env, "set_event_mask 0x00005fffffffffff\nwim e\ni\nrba\nbogus  1\nquit\nrba\n");
    EXPECT_EQ(tool->Wait(20s), std::optional<int>(0));
    const std::string tester = "extended_inquiry_result: num:0x01 ba:0x001122334455 psrm:0x01 dc:0x5a020c co:0x1f2e "
                               "rssi:0x00c8 ird:0x10000000000000000000000726574736554\n";
    EXPECT_EQ(testsupport::ReadFile(env.Path("/out")),
              "command_complete: opcode:0x0c01 status:0x00\ncommand_complete: opcode:0x0c45 status:0x00\n"
              "command_status: opcode:0x0401 status:0x00\n" + tester + tester +
              "extended_inquiry_result: num:0x01 ba:0xaabbccddee0f psrm:0x01 dc:0x5a020c co:0x1f2e rssi:0x00ff "
              "ird:0x10031302d656e6f68502d6e6f6974617453\n"
              "command_complete: opcode:0x1009 status:0x00 ba:0xfedcba987654\nUnknown command: bogus  1\n");
}

// Fast or not, rows come as they are made; only fast-sleep gets past an hour's sleep.
TEST(SimBtcli, FastSleepCutsSleepsShort) {
    for (const bool fast : {true, false}) {
        SCOPED_TRACE(fast);
        testsupport::SimEnv env;
        env.BtCtl().SetFastSleep(fast);
        auto tool = StartBtcli(env, "rba\nsleep 3600000\nrba\nquit\n");
        const std::string row = "command_complete: opcode:0x1009 status:0x00 ba:0x001a7dda7113\n";
        const auto out = [&env] { return testsupport::ReadFile(env.Path("/out")).value_or(""); };
        EXPECT_TRUE(testsupport::WaitUntil([&] { return out().compare(0, row.size(), row) == 0; }, 20s));
        if (fast) {
            EXPECT_EQ(tool->Wait(20s), std::optional<int>(0));
        }
        EXPECT_EQ(out(), fast ? row + row : row);
    }
}

TEST(SimBtcli, DeviceOptionTellsItsFieldsApartFromTheEnd) {
    struct Row { const char* text; const char* name; int rssi; int sightings; const char* error; } const rows[] = {
        {"00:11:22:33:44:55,Lab, floor 2,-50", "Lab, floor 2", -50, 1, ""},
        {"00:11:22:33:44:55,x,-127,2", "x", -127, 2, ""},
        {"00:11:22:33:44:55,,-1,1", "", -1, 1, ""},
        {"00:11:22:33:44:55,x,0", "", 0, 0, "--bt-device: bad RSSI \"0\""},
        {"00:11:22:33:44:55,x,-128", "", 0, 0, "--bt-device: bad RSSI \"-128\""},
        {"00:11:22:33:44:55,x,-50,3", "", 0, 0, "--bt-device: bad RSSI \"3\""},
        {"00:11:22:33:44:55,-50,2", "", 0, 0, "--bt-device wants ADDR,NAME,RSSI[,SIGHTINGS]"},
        {"00:11:22:33:44:5,x,-50", "", 0, 0, "--bt-device: bad address \"00:11:22:33:44:5\""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        tavo::sim::BtDevice device;
        std::string error;
        EXPECT_EQ(tavo::sim::ParseBtDeviceOption(row.text, device, error), *row.error == '\0');
        EXPECT_EQ(error.substr(0, std::string(row.error).size()), row.error);
        if (*row.error != '\0') continue;
        EXPECT_EQ(device.name, row.name);
        EXPECT_EQ(device.rssi, row.rssi);
        EXPECT_EQ(device.sightings, row.sightings);
    }
}

}  // namespace
