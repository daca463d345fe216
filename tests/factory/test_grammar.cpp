// Reading AT strings into records, finding rows, and every result form.
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

#include "factory/AtCommand.h"
#include "factory/CommandHandler.h"
#include "support/log_capture.h"

namespace {

const char* const kTag = "COMMAND_HANDLER";

TEST(AtGrammar, BuildATCommandStepsOneCharacterPerNumber) {
    struct Case {
        const char* text;
        int count, pos;
        int attr, param1, param2, data;
    } const cases[] = {
        {"AT+WIFIRF=0,0,0,36", 4, 10, 0, 0, 0, 36},
        {"AT+BTRF=12,0,0,5", 4, 8, 12, 2, 0, 0},  // the second digit is read again
        {"AT+WIFIRF=0,1,1", 4, 10, 0, 1, 1, 0},   // missing numbers read as 0
        {"AT+WIFIRF=0,0,3,-5", 4, 10, 0, 0, 3, -5},
        {"AT+WIFIRF= 1,0,0,0", 4, 10, 1, 1, 0, 0},  // a blank is a field of its own
        {"AT+WIFIRF=a,0,0,0", 4, 10, 49, 0, 0, 0},
        {"AT+WIFIRF=", 4, 10, 0, 0, 0, 0},
        {"AT+WIFIRF=,,,,,,,,", 4, 10, 0, 0, 0, 0},
        {"AT+WIFIRF=0,0,0,99999999999", 4, 10, 0, 0, 0, 1215752191},  // wraps
        {"UNIT=99", 1, 5, 99, 0, 0, 0},
        {"UNIT=1,2", 1, 5, 1, 0, 0, 0},  // only `count` numbers are read
        {"UNIT", 1, 5, 0, 0, 0, 0},      // a start behind the end reads the terminator
        {"ATA+BT=2", 1, 7, 2, 0, 0, 0},
    };
    CCommandHandler h(nullptr, nullptr);
    for (const Case& c : cases) {
        const AT_COMMAND r = h.BuildATCommand(c.text, c.count, c.pos);
        EXPECT_EQ(r.id, 0) << c.text;
        EXPECT_EQ(r.attr, c.attr) << c.text;
        EXPECT_EQ(r.param1, c.param1) << c.text;
        EXPECT_EQ(r.param2, c.param2) << c.text;
        EXPECT_EQ(r.data, c.data) << c.text;
    }
}

TEST(AtGrammar, BuildATCommandLogsTheRecord) {
    testsupport::LogCapture log;
    CCommandHandler h(nullptr, nullptr);
    h.BuildATCommand("AT+WIFIRF=0,2,1,9,1036", 4, 10);
    EXPECT_TRUE(log.Contains(kTag, "attr 0 param1 2 param2 1 data 9\n"));
}

struct TableInfo {
    const char* name;
    const AT_COMMAND* table;
    size_t rows;
    int firstId, lastId;
};

const TableInfo kTables[] = {
    {"wifi", at_cmd_list_wifi, 47, 0, 45},
    {"bt", at_cmd_list_bt, 66, 46, 110},
    {"unit", at_cmd_list_unit_test, 11, 111, 120},
    {"ata wifi", ata_cmd_list_wifi, 4, 121, 123},
    {"ata bt", ata_cmd_list_bt, 4, 124, 126},
};

TEST(AtTables, EveryRowIsFoundByItsNumbersAndIdsAreUnique) {
    CCommandHandler h(nullptr, nullptr);
    std::set<int> allIds;
    for (const TableInfo& t : kTables) {
        std::set<int> ids;
        std::set<std::tuple<int, int, int>> keys;
        for (size_t i = 0; i + 1 < t.rows; ++i) {
            const AT_COMMAND& row = t.table[i];
            EXPECT_GE(row.id, t.firstId) << t.name;
            EXPECT_LE(row.id, t.lastId) << t.name;
            EXPECT_EQ(row.data, 0) << t.name;
            EXPECT_TRUE(ids.insert(row.id).second) << t.name << " repeats id " << row.id;
            EXPECT_TRUE(allIds.insert(row.id).second) << "id " << row.id << " in two tables";
            EXPECT_TRUE(keys.insert({row.attr, row.param1, row.param2}).second)
                << t.name << " repeats the numbers of id " << row.id;
            AT_COMMAND parsed{0, row.attr, row.param1, row.param2, 1234};
            EXPECT_EQ(h.FindAtCommandId(&parsed, t.table), row.id) << t.name;
        }
        EXPECT_EQ(ids.size(), static_cast<size_t>(t.lastId - t.firstId + 1)) << t.name;
        EXPECT_EQ(t.table[t.rows - 1].id, AT_COMMAND_END_OF_LIST) << t.name;
    }
}

TEST(AtTables, OutsideNumberingMapsToInsideIds) {
    struct Case {
        const AT_COMMAND* table;
        int attr, param1, param2;
        int id;
    } const cases[] = {
        {at_cmd_list_wifi, 0, 0, 8, 33},  {at_cmd_list_wifi, 0, 0, 9, 8},
        {at_cmd_list_wifi, 1, 4, 0, 24},  {at_cmd_list_wifi, 0, 5, 0, 43},
        {at_cmd_list_wifi, 0, 1, 9, 11},  {at_cmd_list_wifi, 0, 8, 1, 45},
        {at_cmd_list_wifi, 9, 9, 9, 127}, {at_cmd_list_wifi, 0, 1, 4, 127},
        {at_cmd_list_bt, 0, 7, 7, 78},    {at_cmd_list_bt, 1, 0, 8, 82},
        {at_cmd_list_bt, 2, 1, 1, 93},    {at_cmd_list_bt, 2, 2, 4, 104},
        {at_cmd_list_bt, 1, 0, 1, 127},   {at_cmd_list_unit_test, 9, 0, 0, 120},
        {at_cmd_list_unit_test, 99, 0, 0, 127}, {ata_cmd_list_wifi, 7, 0, 0, 127},
        {ata_cmd_list_bt, 2, 0, 0, 126},
    };
    CCommandHandler h(nullptr, nullptr);
    for (const Case& c : cases) {
        AT_COMMAND parsed{0, c.attr, c.param1, c.param2, 0};
        EXPECT_EQ(h.FindAtCommandId(&parsed, c.table), c.id)
            << c.attr << "," << c.param1 << "," << c.param2;
    }
}

TEST(AtTables, SearchLogsTheResult) {
    testsupport::LogCapture log;
    CCommandHandler h(nullptr, nullptr);
    AT_COMMAND found{0, 0, 0, 8, 0};
    AT_COMMAND missing{0, 9, 9, 9, 0};
    h.FindAtCommandId(&found, at_cmd_list_wifi);
    h.FindAtCommandId(&missing, at_cmd_list_wifi);
    EXPECT_EQ(log.Texts(kTag), (std::vector<std::string>{
                                   "ret : 33, attr : 0, param1 : 0, param2 : 8\n",
                                   "ret : 127, attr : 9, param1 : 9, param2 : 9\n"}));
}

TEST(AtTables, NamesAreTheLoggedCommandNames) {
    EXPECT_STREQ(AtCommandName(0), "AT_COMMAND_WIFI_SET_CHANNEL");
    EXPECT_STREQ(AtCommandName(33), "AT_COMMAND_WIFI_SET_PACKET_COUNT");
    EXPECT_STREQ(AtCommandName(96), "AT_COMMAND_BT_BREDR_SET_PACKET_TYPE");
    EXPECT_STREQ(AtCommandName(119), "AT_COMMAND_UNIT_TEST_CMD_TIMEOUT");
    EXPECT_EQ(AtCommandName(122), nullptr);
    EXPECT_EQ(AtCommandName(128), nullptr);
    EXPECT_EQ(AtCommandName(-1), nullptr);
}

TEST(AtGrammar, GetDataStringExtractsOneFieldWithinItsBuffer) {
    struct Case {
        const char* text;
        int index, pos;
        size_t size;
        bool ok;
        const char* out;
    } const cases[] = {
        {"AT+BTRF=2,0,5,1a2b,3c4d5e", 3, 8, 8, true, "1a2b"},
        {"AT+BTRF=2,0,5,1a2b,3c4d5e", 4, 8, 8, true, "3c4d5e"},
        {"AT+BTRF=2,0,5,1a2b,3c4d5e", 0, 8, 8, true, "2"},
        {"AT+BTRF=2,0,5,1a2b,3c4d5e", 5, 8, 8, false, ""},
        {"AT+BTRF=2,0,5,1a2b", 9, 8, 8, false, ""},  // far behind the end
        {"AT+BTRF=2,0,5,,abc", 3, 8, 8, false, ""},
        {"AT+BTRF=2,0,5,0123456789abcdef", 3, 8, 8, true, "0123456"},  // cut to fit
        {"AT+BTRF=2,0,5,xy", 3, 8, 1, true, ""},
        {"AT+BTRF", 0, 8, 8, false, ""},
    };
    CCommandHandler h(nullptr, nullptr);
    for (const Case& c : cases) {
        char out[32];
        std::memset(out, '#', sizeof out);
        EXPECT_EQ(h.GetDataString(c.text, c.index, c.pos, out, c.size), c.ok) << c.text << " " << c.index;
        EXPECT_STREQ(out, c.out) << c.text << " " << c.index;
        EXPECT_EQ(out[c.size], '#') << "wrote past the buffer: " << c.text;
    }
}

TEST(AtGrammar, GetParamPosFindsTheTextBehindTheNthComma) {
    testsupport::LogCapture log;
    CCommandHandler h(nullptr, nullptr);
    const char* cmd = "AT+WIFIRF=0,2,1,9,123";
    EXPECT_STREQ(h.GetParamPos(cmd, 4), "123");
    EXPECT_STREQ(h.GetParamPos(cmd, 1), "2,1,9,123");
    EXPECT_EQ(h.GetParamPos(cmd, 5), nullptr);
    EXPECT_EQ(h.GetParamPos(cmd, 0), nullptr);
    EXPECT_EQ(h.GetParamPos(cmd, -3), nullptr);
    EXPECT_STREQ(h.GetParamPos("AT+WIFIRF=0,2,1,9,", 4), "");
    EXPECT_EQ(log.Texts(kTag), (std::vector<std::string>{
                                   "GetParamPos Error [param num : 5] : AT+WIFIRF=0,2,1,9,123\n",
                                   "GetParamPos Error - incorrect param num\n",
                                   "GetParamPos Error - incorrect param num\n"}));
}

TEST(AtGrammar, GetIntParamReadsFixedWidthDecimals) {
    struct Case {
        const char* text;
        int pos, len;
        bool ok;
        int value;
    } const cases[] = {
        {"1036011201024010011", 1, 3, true, 36},   {"1036011201024010011", 9, 4, true, 1024},
        {"1036011201024010011", 18, 1, true, 1},   {"1ab6011201024010011", 1, 3, false, 0},
        {"10x6", 0, 3, false, 10},                 {"12", 0, 4, false, 12},  // the text ends first
        {"123", 0, 0, false, 0},                   {"123", 0, -1, false, 0},
        {"-12", 0, 3, false, 0},                   {"0000", 0, 4, true, 0},
    };
    CCommandHandler h(nullptr, nullptr);
    for (const Case& c : cases) {
        int value = -99;
        EXPECT_EQ(h.GetIntParam(c.text, c.pos, c.len, value), c.ok) << c.text;
        EXPECT_EQ(value, c.value) << c.text;
    }
}

TEST(AtGrammar, GetIntParamLogsSuccessAndFailure) {
    testsupport::LogCapture log;
    CCommandHandler h(nullptr, nullptr);
    int value = 0;
    h.GetIntParam("1036", 1, 3, value);
    h.GetIntParam("1a36", 1, 3, value);
    EXPECT_EQ(log.Texts(kTag), (std::vector<std::string>{
                                   "data : 36\n", "GetIntParam Error [pos : 1, len : 3] : 1a36\n"}));
}

// The reply name comes from the command: FindAppCommand sets it.
struct ResultCase {
    const char* command;
    int type, id, result, value1, value2;
    const char* before;  // what the buffer holds when the reply is built
    const char* reply;
};

TEST(ResultString, EveryForm) {
    const char* const RF = "AT+WIFIRF=0,0,0,0";
    const char* const X = "AT+WIFIX=0,0,0,0";
    const ResultCase cases[] = {
        // "+WIFIRF": verdict second, values behind it.
        {RF, 0, 0, 0, 0, 0, "", "+WIFIRF:0,OK"},
        {RF, 0, 127, 6, 0, 0, "", "+WIFIRF:6,NG"},
        {RF, 0, 25, 0, 7, 0, "", "+WIFIRF:0,OK,7"},
        {RF, 0, 43, 0, -3, 0, "", "+WIFIRF:0,OK,-3"},
        {RF, 0, 27, 5, 7, 0, "", "+WIFIRF:5,NG,0"},
        {RF, 0, 28, 0, 5, 92, "", "+WIFIRF:0,OK,5,92"},
        {RF, 0, 28, 4, 5, 92, "", "+WIFIRF:4,NG,0,0"},
        {RF, 0, 34, 0, 0, 0, "36\n", "+WIFIRF:0,OK,36\n"},
        {RF, 0, 42, 0, 0, 0, "100", "+WIFIRF:0,OK,100"},
        {RF, 0, 41, 4, 0, 0, "old", "+WIFIRF:4,NG,old"},
        {RF, 0, 35, 0, 0, 0, "12345678901234567890123", "+WIFIRF:0,OK,1234567890123456789"},
        // Any other name: verdict last.
        {X, 0, 0, 0, 0, 0, "", "+WIFIX:0,OK"},
        {X, 0, 127, 6, 0, 0, "", "+WIFIX:6,NG"},
        {X, 0, 26, 0, 7, 0, "", "+WIFIX:0,7,OK"},
        {X, 0, 26, 5, 7, 0, "", "+WIFIX:5,0,NG"},
        {X, 0, 28, 0, 5, 92, "", "+WIFIX:0,5,92,OK"},
        {X, 0, 28, 4, 5, 92, "", "+WIFIX:4,0,0,NG"},
        {X, 0, 34, 0, 0, 0, "36\n", "+WIFIX:0,36\n,OK"},
        {X, 0, 36, 4, 0, 0, "zz", "+WIFIX:4,zz,NG"},
        {"AT+WIFIABCDEFGHIJKL=0,0,0,0", 0, 0, 0, 0, 0, "", "+WIFIABCDE:0,OK"},
        // Bluetooth.
        {"AT+BTRF=0,0,0,0", 1, 46, 0, 0, 0, "", "+BTRF:0,OK"},
        {"AT+BTRF=9,9,9,9", 1, 127, 6, 0, 0, "", "+BTRF:6,NG"},
        {"AT+BTRF=0,7,6,0", 1, 77, 0, 0, 0, "-1.000", "+BTRF:0,OK,-1.000"},
        {"AT+BTRF=1,8,2,0", 1, 90, 0, 0, 0, "001122334455", "+BTRF:0,OK,001122334455"},
        {"AT+BTRF=2,4,1,0", 1, 110, 5, 0, 0, "0", "+BTRF:5,NG,0"},
        // Scan families and unit tests.
        {"ATA+WIFI=0", 2, 0, 0, 0, 0, "", "OK"},
        {"ATA+WIFI=0", 2, 0, 4, 0, 0, "", "NG"},
        {"ATA+BT=0", 3, 0, 0, 0, 0, "", "OK"},
        {"ATA+BT=0", 3, 0, 5, 0, 0, "", "NG"},
        {"UNIT=0", 4, 0, 0, 0, 0, "", "+UNIT:000000,OK"},
        {"UNIT=0", 4, 0, 4, 0, 0, "", "+UNIT:000004,NG"},
        {"UNIT=0", 4, 0, -1, 0, 0, "", "+UNIT:-00001,NG"},
        // No family: nothing is written.
        {"UNIT=0", 5, 0, 0, 0, 0, "untouched", "untouched"},
        {"UNIT=0", -1, 0, 0, 0, 0, "untouched", "untouched"},
    };
    for (const ResultCase& c : cases) {
        CCommandHandler h(nullptr, nullptr);
        if (c.type == 0) {
            ASSERT_EQ(h.FindAppCommand(c.command), 0) << c.command;
        }
        std::string buffer(CCommandHandler::kResultSize, '\0');
        std::memcpy(&buffer[0], c.before, std::strlen(c.before));
        h.BuildResultString(c.command, c.type, c.id, c.result, c.value1, c.value2, &buffer[0]);
        EXPECT_STREQ(buffer.c_str(), c.reply) << c.command << " id " << c.id;
    }
}

TEST(ResultString, LogsTypeResultAndCommand) {
    testsupport::LogCapture log;
    CCommandHandler h(nullptr, nullptr);
    char out[CCommandHandler::kResultSize] = {};
    h.BuildResultString("UNIT=3", 4, 0, 2, 0, 0, out);
    EXPECT_TRUE(log.Contains(kTag, "type 4 result 2 (UNIT=3)\n"));
}

}  // namespace
