#include "e2e_util.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>

#include "sim/tree.h"

namespace e2e {
namespace {

using namespace std::chrono_literals;

// A parameter of our own beside the real ones: the simulator logs a write
// to it like any other, and nothing reacts to it.
constexpr char kBarrier[] = "/sys/module/tavo_rk/parameters/e2e_barrier";

}  // namespace

const std::vector<std::string>& ParameterFiles() {
    static const std::vector<std::string> files = {
        tavo::sim::path::kEnableAutoSense, tavo::sim::path::kUseNewFwStructure, tavo::sim::path::kFirmwareVariant,
        tavo::sim::path::kEnableTestMode,  tavo::sim::path::kDisableService,    tavo::sim::path::kForceCrash,
        tavo::sim::path::kClockRestart,
    };
    return files;
}

std::optional<std::string> ReadText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return std::nullopt;
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

bool WriteText(const std::string& path, const std::string& text) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    if (!out) return false;
    out << text;
    out.close();
    return static_cast<bool>(out);
}

bool RemoveFile(const std::string& path) {
    return ::unlink(path.c_str()) == 0;
}

bool WaitUntil(const std::function<bool()>& pred, std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    for (;;) {
        if (pred()) return true;
        if (std::chrono::steady_clock::now() >= deadline) return false;
        std::this_thread::sleep_for(5ms);
    }
}

std::optional<unsigned> InterfaceFlags(testsupport::SimEnv& env) {
    return FlagsIn(env.Path(tavo::sim::path::kWlanFlags));
}

std::optional<unsigned> FlagsIn(const std::string& path) {
    const std::optional<std::string> text = ReadText(path);
    if (!text || text->rfind("0x", 0) != 0) return std::nullopt;
    char* end = nullptr;
    const unsigned long value = std::strtoul(text->c_str(), &end, 16);
    if (end == text->c_str() + 2) return std::nullopt;
    return static_cast<unsigned>(value);
}

std::vector<std::optional<std::string>> ParameterSnapshot(testsupport::SimEnv& env) {
    std::vector<std::optional<std::string>> out;
    for (const std::string& file : ParameterFiles()) out.push_back(ReadText(env.Path(file)));
    return out;
}

std::vector<std::string> SimLogSince(testsupport::SimEnv& env, std::uint64_t from, const std::string& prefix) {
    // Lines() and Count() are two calls: take them again until no line
    // slipped in between, so that the numbering is right.
    std::vector<std::string> lines;
    std::uint64_t count = 0;
    for (;;) {
        const std::uint64_t before = env.Sim().Log().Count();
        lines = env.Sim().Log().Lines();
        count = env.Sim().Log().Count();
        if (before == count) break;
    }
    const std::uint64_t first = count - lines.size();
    std::vector<std::string> out;
    for (std::uint64_t n = std::max(first, from); n < count; ++n) {
        const std::string& line = lines[static_cast<size_t>(n - first)];
        if (line.rfind(prefix, 0) == 0) out.push_back(line);
    }
    return out;
}

std::vector<std::string> ParamLinesUntilBarrier(testsupport::SimEnv& env, std::uint64_t from) {
    static int serial = 0;
    const std::string value = "barrier-" + std::to_string(++serial);
    const std::string line = std::string("param: tavo_rk/e2e_barrier = ") + value;
    EXPECT_TRUE(WriteText(env.Path(kBarrier), value));
    EXPECT_TRUE(env.Sim().Log().WaitFor(line, 10s, from)) << "the simulator did not log " << line;
    std::vector<std::string> out;
    for (const std::string& l : SimLogSince(env, from, "param: ")) {
        if (l == line) break;
        out.push_back(l);
    }
    return out;
}

bool LoadTestFirmwareQuickly(testsupport::SimEnv& env) {
    if (!WriteText(env.Path(tavo::sim::path::kFirmwareVariant), "rk720_t")) return false;
    if (!WriteText(env.Path(tavo::sim::path::kForceCrash), "0xDEADDEAD\n")) return false;
    return env.Sim().WaitForFirmware("rk720_t", 10s);
}

bool SelectNormalVariantOnly(testsupport::SimEnv& env) {
    return WriteText(env.Path(tavo::sim::path::kFirmwareVariant), "rk720");
}

}  // namespace e2e
