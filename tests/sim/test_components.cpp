// Components plug into the simulator: started in order, stopped in reverse,
// told of every firmware reload while they run.
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "sim/component.h"
#include "sim/simulator.h"
#include "sim_test_util.h"
#include "support/sim_env.h"

namespace {

using namespace std::chrono_literals;

class Journal {
public:
    void Add(const std::string& entry) {
        std::lock_guard<std::mutex> lock(mutex_);
        entries_.push_back(entry);
    }
    std::vector<std::string> Entries() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return entries_;
    }

private:
    mutable std::mutex mutex_;
    std::vector<std::string> entries_;
};

class Recorder : public tavo::sim::Component {
public:
    Recorder(const char* name, Journal& journal, bool failStart = false)
        : name_(name), journal_(journal), failStart_(failStart) {}
    const char* Name() const override { return name_; }
    void Start(const tavo::sim::SimContext& context) override {
        if (failStart_) throw std::runtime_error(std::string(name_) + " cannot start");
        // The tree is laid out before any component starts.
        journal_.Add(std::string("start ") + name_ + " " +
                     simtest::ReadText(context.tree.Path("/sys/module/tavo_rk/parameters/firmware_variant")));
        context_ = &context;
    }
    void Stop() override {
        journal_.Add(std::string("stop ") + name_);
        context_ = nullptr;
    }
    void OnFirmwareRestart(const tavo::sim::FirmwareRestart& event) override {
        journal_.Add(std::string("reload ") + name_ + " " + event.from + "->" + event.to + " " +
                     tavo::sim::CauseName(event.cause) + (context_ != nullptr ? "" : " while stopped"));
    }

private:
    const char* name_;
    Journal& journal_;
    bool failStart_;
    const tavo::sim::SimContext* context_ = nullptr;
};

TEST(SimComponents, OrderAndFirmwareNews) {
    Journal journal;
    {
        testsupport::SimEnv env([&journal](tavo::sim::Simulator& sim) {
            sim.Emplace<Recorder>("a", journal);
            sim.Emplace<Recorder>("b", journal);
        });
        EXPECT_THROW(env.Sim().Emplace<Recorder>("late", journal), std::logic_error);
        ASSERT_EQ(simtest::Run(simtest::Rebase(
                                   "echo -n rk720_t > /sys/module/tavo_rk/parameters/firmware_variant", env.Root()))
                      .status,
                  0);
        ASSERT_EQ(simtest::Run(simtest::Rebase("echo 0xDEADDEAD > /sys/module/tavo_bt/parameters/force_crash",
                                               env.Root()))
                      .status,
                  0);
        ASSERT_TRUE(env.Sim().WaitForFirmware("rk720_t", 10s));
        ASSERT_TRUE(env.Sim().Log().WaitFor("firmware: rk720 -> rk720_t", 10s));
        env.Sim().Stop();
        // Stopped: writes reach nobody.
        ASSERT_EQ(simtest::Run(simtest::Rebase("echo Y > /proc/driver/rk720_clk0/restart", env.Root())).status, 0);
        EXPECT_EQ(env.Sim().Firmware().restarts, 1u);
    }
    EXPECT_EQ(journal.Entries(), (std::vector<std::string>{
                                     "start a rk720\n",
                                     "start b rk720\n",
                                     "reload a rk720->rk720_t force_crash",
                                     "reload b rk720->rk720_t force_crash",
                                     "stop b",
                                     "stop a",
                                 }));
}

TEST(SimComponents, FailedStartUndoesTheStart) {
    Journal journal;
    testsupport::TempDir dir;
    tavo::sim::Simulator sim(dir.Path());
    sim.Emplace<Recorder>("a", journal);
    sim.Emplace<Recorder>("broken", journal, true);
    sim.Emplace<Recorder>("c", journal);
    EXPECT_THROW(sim.Start(), std::runtime_error);
    EXPECT_FALSE(sim.IsRunning());
    EXPECT_EQ(journal.Entries(), (std::vector<std::string>{"start a rk720\n", "stop a"}));
    EXPECT_TRUE(sim.Log().Contains("simulator: start failed"));
    EXPECT_THROW(sim.AddComponent(nullptr), std::invalid_argument);
}

}  // namespace
