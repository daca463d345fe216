// wlbt-hci as a station engineer runs it: output, exit status, messages.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <sstream>
#include <string>

#include "support/chores.h"

namespace {

struct Outcome {
    int status;
    std::string out;
    std::string err;
};

Outcome RunTool(const std::string& arguments) {
    testsupport::TempDir dir;
    const int status =
        std::system((std::string(WLBT_HCI_BINARY) + " " + arguments + " >" + dir / "out" + " 2>" + dir / "err").c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, testsupport::ReadFile(dir / "out").value_or(""),
            testsupport::ReadFile(dir / "err").value_or("")};
}

TEST(WlbtHci, BuildsAndDecodesThroughTheFactory) {
    struct Row {
        const char* arguments;
        int status;
        const char* out;  // exact standard output
        const char* err;  // a part of standard error
    } rows[] = {
        {"build INQUIRY 0x9e8b33 8 0", 0, "010405338b9e0800\n", ""},
        {"build 0x0c03", 0, "030c00\n", ""},
        {"build-vendor 2 1 0x5004 23 4 27", 0, "02000900010004500000170004001b000000\n", ""},
        {"decode ret 0e0a01091000338b9e3c2b1a", 0, "HCI_READ_BD_ADDR_RET_T_PDU\n14 1 4105 0 10390323 60 6699\n", ""},
        {"decode vendor 01000900010004500000170004001b000000", 0, "TSCMD_RADIOTEST_PDU\n20484 1 0 23 4 27\n", ""},
        {"decode vendor 02000900010004500000170004001b000000", 1, "", "bad packet: reason 10"},
        {"decode ret 0e0401050500", 1, "", "bad packet: reason 4"},
        {"build NO_SUCH_COMMAND", 1, "", "no HCI command is called NO_SUCH_COMMAND"},
        {"build-vendor 2 1 0x7ffe", 1, "", "no vendor class"},
        {"", 2, "", "a command is needed"},
        {"frobnicate", 2, "", "unknown command: frobnicate"},
        {"build INQUIRY 12x", 2, "", "not an element"},
        {"build INQUIRY 0x100000000", 2, "", "at most 32 bits"},
        {"decode ret 0e0", 2, "", "even number"},
        {"decode evt 0e00", 2, "", "decode needs ret or vendor"},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.arguments);
        const Outcome o = RunTool(r.arguments);
        EXPECT_EQ(o.status, r.status);
        if (r.out[0] != '\0' || r.status != 0) {
            EXPECT_EQ(o.out, r.out);
        }
        EXPECT_NE(o.err.find(r.err), std::string::npos) << o.err;
        if (r.status != 0) {
            EXPECT_EQ(std::count(o.err.begin(), o.err.end(), '\n'), 1) << "one line on standard error";
        }
    }
}

TEST(WlbtHci, ListsEveryClassOnceByFamily) {
    const Outcome o = RunTool("list");
    ASSERT_EQ(o.status, 0);
    std::map<std::string, int> families;
    std::istringstream lines(o.out);
    std::string family, name, code, size;
    while (lines >> family >> name >> code >> size) ++families[family];
    EXPECT_EQ(families["cmd"], 285);
    EXPECT_EQ(families["ret"], 147);
    EXPECT_EQ(families["evt"], 62);
    EXPECT_EQ(families["vendor"], 323);
    EXPECT_NE(o.out.find("cmd INQUIRY 0x0401 8\n"), std::string::npos);
    EXPECT_NE(o.out.find("vendor COLD_RESET 0x4001 18\n"), std::string::npos);
    EXPECT_NE(o.out.find("evt CONN_COMPLETE 0x0003 13\n"), std::string::npos);
}

}  // namespace
