// The firmware plugged into the chip simulator: it serves the node in the
// simulator's tree, writes to the simulator's log, and answers once the
// kernel parameters have loaded the test firmware, as the library's
// firmware switch does it.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <fstream>
#include <string>

#include "fw_fixture.h"
#include "sim/simulator.h"
#include "sim/tree.h"
#include "sim/wlanfw/wlanfw_component.h"

namespace wlanfw_test {
namespace {

namespace wf = tavo::sim::wlanfw;
namespace path = tavo::sim::path;

void WriteParameter(const std::string& file, const std::string& value) {
    std::ofstream out(file, std::ios::trunc);
    out << value << "\n";
}

TEST(WlanfwComponentTest, AnswersOnceTheTestFirmwareIsLoaded) {
    TempRoot root;
    tavo::sim::Simulator sim(root.Path() + "/chip");
    wf::WlanFirmwareComponent& component = sim.Emplace<wf::WlanFirmwareComponent>();
    EXPECT_STREQ(component.Name(), "wlanfw");
    sim.Start();
    const std::string node = sim.Path(path::kWlanNode);
    {
        Client client(node);
        ASSERT_TRUE(client.Connected());

        // The chip boots the normal firmware, which ignores radio-test signals.
        std::uint64_t from = sim.Log().Count();
        client.Send(SelectRadioReq(1));
        ASSERT_TRUE(sim.Log().WaitFor(
            "wlanfw: 0x901A select_radio_req -> no answer (firmware rk720 is not the test firmware)", kWait, from));
        EXPECT_FALSE(client.Receive(std::chrono::milliseconds(0)).has_value());

        WriteParameter(sim.Path(path::kFirmwareVariant), "rk720_t");
        WriteParameter(sim.Path(path::kForceCrash), "0xDEADDEAD");
        ASSERT_TRUE(sim.WaitForFirmware("rk720_t", kWait));

        from = sim.Log().Count();
        client.Send(SetTxParamsReq(TxParams{}));
        const std::optional<Bytes> raw = client.Receive();
        ASSERT_TRUE(raw.has_value());
        EXPECT_EQ(SplitFrame(*raw).Id(), 0x9102);
        EXPECT_TRUE(sim.Log().WaitFor("wlanfw: 0x9007 set_tx_params_req -> 0x9102 result 0", kWait, from));

        // Steering reaches the firmware through the component.
        component.Firmware().ForceResult(0x901A, 48);
        client.Send(SelectRadioReq(1));
        const std::optional<Bytes> refused = client.Receive();
        ASSERT_TRUE(refused.has_value());
        EXPECT_EQ(SplitFrame(*refused).Result(), 48);
        EXPECT_EQ(component.Firmware().LastSelectRadio()->bitmap, 1);
    }
    sim.Stop();
    struct stat st;
    EXPECT_NE(::lstat(node.c_str(), &st), 0) << "the node goes with the simulator";
    EXPECT_FALSE(component.Firmware().Running());
}

}  // namespace
}  // namespace wlanfw_test
