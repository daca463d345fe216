// Every command class against a decoder we did not write: the packets go into
// a btsnoop file (H4 framing, datalink 1002) and tshark reads them back.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include "pdu/hci_factory.h"
#include "support/chores.h"
#include "tests/pdu/generated_checks.h"

namespace {

void PutBE(std::ofstream& out, uint64_t value, int bytes) {
    for (int i = bytes - 1; i >= 0; --i) {
        out.put(static_cast<char>((value >> (8 * i)) & 0xFF));
    }
}

// One record of a command sent by the host: H4 indicator 1, then the packet.
void PutRecord(std::ofstream& out, const PDU& pdu) {
    const uint32_t length = static_cast<uint32_t>(pdu.size() + 1);
    PutBE(out, length, 4);
    PutBE(out, length, 4);
    PutBE(out, 2, 4);                    // flags: sent, command
    PutBE(out, 0, 4);                    // drops
    PutBE(out, 0x00DCDDB30F2F8000, 8);   // 1970-01-01 in microseconds since year 0
    out.put(1);
    out.write(reinterpret_cast<const char*>(pdu.data()), static_cast<std::streamsize>(pdu.size()));
}

}  // namespace

void CheckCommandsWithDecoder(const InteropCase* cases, unsigned long count) {
    // The decoder is installed by scripts/deps.sh; without it this check would
    // prove nothing, so its absence is a failure, not a skip.
    ASSERT_EQ(std::system("command -v tshark >/dev/null 2>&1"), 0) << "tshark is not installed (scripts/deps.sh)";
    testsupport::TempDir dir;
    const std::string file = dir / "commands.btsnoop";
    {
        std::ofstream out(file, std::ios::binary);
        out.write("btsnoop\0", 8);
        PutBE(out, 1, 4);
        PutBE(out, 1002, 4);
        for (unsigned long i = 0; i < count; ++i) {
            std::vector<unsigned long> array = cases[i].array;
            std::unique_ptr<HCIPDU> pdu(HCIPDUFactory::createCommandPDU(array.data()));
            ASSERT_NE(pdu, nullptr) << cases[i].name;
            PutRecord(out, *pdu);
        }
    }
    const std::string command = "tshark -r '" + file + "' -T fields -E separator='|' -E occurrence=f " +
                                "-e frame.number -e bthci_cmd.opcode -e _ws.malformed -e bthci_cmd.bd_addr >'" +
                                dir / "fields" + "' 2>/dev/null";
    const int status = std::system(command.c_str());
    EXPECT_EQ(status, 0);
    std::istringstream lines(testsupport::ReadFile(dir / "fields").value_or(""));
    std::string line;
    unsigned long seen = 0;
    unsigned long addresses = 0;
    while (std::getline(lines, line)) {
        std::vector<std::string> column;
        std::istringstream split(line);
        for (std::string part; std::getline(split, part, '|');) column.push_back(part);
        column.resize(4);
        const unsigned long frame = std::stoul(column[0]);
        ASSERT_GE(frame, 1u);
        ASSERT_LE(frame, count);
        const InteropCase& c = cases[frame - 1];
        SCOPED_TRACE(c.name);
        ++seen;
        EXPECT_EQ(std::stoul(column[1], nullptr, 16), c.opcode);
        EXPECT_EQ(column[2], "") << "the decoder marks the packet malformed";
        // Where the decoder knows the command's fields, its address reads as built.
        if (c.address != nullptr && !column[3].empty()) {
            ++addresses;
            EXPECT_EQ(column[3], c.address);
        }
    }
    EXPECT_EQ(seen, count) << "the decoder read fewer packets than were written";
    EXPECT_GT(addresses, 20u) << "the decoder showed too few addresses to compare";
}
