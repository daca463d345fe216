// The Bluetooth client's fixture: the simulated chip, steering by text, and
// the wire as the simulator's log shows it.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "bt_interface.h"
#include "enginefw/threadable.h"
#include "sim/btctl/settings_text.h"
#include "support/sim_env.h"

class BtClient : public ::testing::Test {
protected:
    void TearDown() override {
        bt_close_device();
        EXPECT_EQ(Threadable::ForcedKills(), 0u);
    }
    void Steer(const std::string& setting) {
        std::string error;
        ASSERT_TRUE(tavo::sim::btctl::ApplySetting(sim_.BtCtl(), setting, error)) << error;
    }
    // The vendor PDU as it crosses the line: one tunnel fragment in an H4 command.
    // Every such PDU here is 18 bytes: 19 with its descriptor.
    static std::string Fragment(const std::string& pdu) { return "btctl: rx 01 00 fc 13 c2 " + pdu; }
    bool Saw(const std::string& line) { return sim_.Sim().Log().WaitFor(line, std::chrono::milliseconds(5000)); }

    testsupport::SimEnv sim_;
};
