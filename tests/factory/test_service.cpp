// The public entry points and the worker ring, through the exported API.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "WiFiBtFactoryService.h"
#include "factory/CommandHandler.h"
#include "factory/ServiceInternal.h"
#include "handler_peer.h"
#include "support/log_capture.h"

namespace {

const char* const kHandlerTag = "COMMAND_HANDLER";
const char* const kServiceTag = "FACTORY_SERVICE_IF";

// A result buffer of the size callers must provide, pre-filled so that an
// untouched buffer is recognisable.
struct Result {
    std::vector<char> bytes = std::vector<char>(WLBT_RESULT_BUFFER_SIZE, '\0');
    Result() { std::strcpy(bytes.data(), "untouched"); }
    char* data() { return bytes.data(); }
    std::string str() const { return bytes.data(); }
};

class Service : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(OpenWiFiBtFactoryService(), 0); }
    void TearDown() override { CloseWiFiBtFactoryService(); }

    std::string Forward(const char* command, int* rc = nullptr) {
        Result r;
        const int code = ForwardCMD_WiFiBT(command, r.data(), 3000);
        if (rc != nullptr) *rc = code;
        return r.str();
    }
};

TEST(ServiceLifecycle, OpenCloseCodes) {
    testsupport::LogCapture log;
    EXPECT_EQ(CloseWiFiBtFactoryService(), 6);
    EXPECT_EQ(OpenWiFiBtFactoryService(), 0);
    CCommandHandler* first = GetServiceCommandHandler();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(OpenWiFiBtFactoryService(), 7);
    EXPECT_EQ(GetServiceCommandHandler(), first) << "a second open must keep the first graph";
    EXPECT_EQ(CloseWiFiBtFactoryService(), 0);
    EXPECT_EQ(GetServiceCommandHandler(), nullptr);
    EXPECT_EQ(CloseWiFiBtFactoryService(), 6);
    EXPECT_EQ(OpenWiFiBtFactoryService(), 0) << "open again after close";
    EXPECT_EQ(CloseWiFiBtFactoryService(), 0);

    char already[64];
    std::snprintf(already, sizeof already, "handler :%p is already open\n", static_cast<void*>(first));
    const std::vector<std::string> expected = {
        "int CloseWiFiBtFactoryService()\n", "int CloseWiFiBtFactoryService() 54\n",
        "int OpenWiFiBtFactoryService()\n",  "int OpenWiFiBtFactoryService()\n",
        already,                             "int CloseWiFiBtFactoryService()\n",
        "int CloseWiFiBtFactoryService()\n", "int CloseWiFiBtFactoryService() 54\n",
        "int OpenWiFiBtFactoryService()\n",  "int CloseWiFiBtFactoryService()\n",
    };
    EXPECT_EQ(log.Texts(kServiceTag), expected);
}

TEST(ServiceLifecycle, ForwardBeforeOpenLeavesBufferUntouched) {
    Result r;
    EXPECT_EQ(ForwardCMD_WiFiBT("AT+WIFIRF=0,6,0,0", r.data(), 3000), 6);
    EXPECT_EQ(r.str(), "untouched");
}

TEST_F(Service, CommandLengthLimitIs64) {
    std::string at64 = "AT+WIFIRF=0,6,0,0,";
    at64.resize(64, '0');
    std::string at65 = at64 + "0";
    int rc = -1;
    EXPECT_EQ(Forward(at64.c_str(), &rc), "+WIFIRF:0,OK");
    EXPECT_EQ(rc, 0);
    EXPECT_EQ(Forward(at65.c_str(), &rc), "untouched");
    EXPECT_EQ(rc, 4);
}

TEST_F(Service, SixtyFourCharacterCommandIsCopiedWhole) {
    std::string at64 = "AT+WIFIRF=0,6,0,0,";
    at64.resize(64, '7');
    Forward(at64.c_str());
    CCommandHandler* h = GetServiceCommandHandler();
    const char* copy = CCommandHandlerTestPeer::CopiedCmdBytes(*h);
    EXPECT_EQ(std::string(copy, 64), at64);
    EXPECT_EQ(copy[64], '\0');
}

TEST_F(Service, ShortCommandIsNulPaddedInTheCopy) {
    Forward("AT+WIFIRF=0,6,0,0,1111111111111111111111111111111");
    Forward("AT+WIFIRF=0,6,1,0");
    const char* copy = CCommandHandlerTestPeer::CopiedCmdBytes(*GetServiceCommandHandler());
    EXPECT_STREQ(copy, "AT+WIFIRF=0,6,1,0");
    for (int i = 17; i < 65; ++i) EXPECT_EQ(copy[i], '\0') << "byte " << i;
}

TEST_F(Service, LineEndsAreCutBeforeParsing) {
    testsupport::LogCapture log;
    int rc = -1;
    EXPECT_EQ(Forward("AT+WIFIRF=0,6,0,0\r\n", &rc), "+WIFIRF:0,OK");
    EXPECT_EQ(rc, 0);
    EXPECT_TRUE(log.Contains(kHandlerTag, "WIFI Command: AT+WIFIRF=0,6,0,0\n"));
    EXPECT_TRUE(log.Contains(kHandlerTag, "type 0 result 0 (AT+WIFIRF=0,6,0,0)\n"));
}

TEST_F(Service, FamiliesByPrefix) {
    struct Case {
        const char* command;
        int rc;
        const char* reply;
        const char* dispatchLog;  // null: unknown
    } const cases[] = {
        {"foo", 2, "NG", nullptr},
        {"", 2, "NG", nullptr},
        {"at+wifirf=0,6,0,0", 2, "NG", nullptr},  // case sensitive
        {"AT+WIFI", 2, "NG", nullptr},            // no '='
        {" AT+WIFIRF=0,6,0,0", 2, "NG", nullptr}, // anchored at the first character
        {"AT+BT=0,0,0,0", 2, "NG", nullptr},
        {"AT+WIFIRF=0,6,0,0", 0, "+WIFIRF:0,OK", "WIFI Command: AT+WIFIRF=0,6,0,0\n"},
        {"AT+WIFIX=0,6,0,0", 0, "+WIFIX:0,OK", "WIFI Command: AT+WIFIX=0,6,0,0\n"},
        {"AT+WIFITEST=0,1,2,0", 0, "+WIFITEST:0,OK", "WIFI Command: AT+WIFITEST=0,1,2,0\n"},
        // "+WIFIRF=" anywhere makes the reply form; the numbers read 1,0,0,0.
        {"AT+WIFIX=1,+WIFIRF=9", 0, "+WIFIRF:0,OK,1\n", "WIFI Command: AT+WIFIX=1,+WIFIRF=9\n"},
        {"AT+WIFIRF=9,9,9,9", 0, "+WIFIRF:6,NG", "WIFI Command: AT+WIFIRF=9,9,9,9\n"},
        {"AT+WIFIRF=", 0, "+WIFIRF:6,NG", "WIFI Command: AT+WIFIRF=\n"},  // channel 0 is refused
        {"ATA+WIFI=7", 0, "NG", "ATA WIFI Command: ATA+WIFI=7\n"},
        {"AT+BTRF=0,0,0,0", 0, "untouched", "BT Command: AT+BTRF=0,0,0,0\n"},
        {"ATA+BT=1", 0, "untouched", "ATA BT Command: ATA+BT=1\n"},
        {"UNIT=8", 0, "untouched", "UNIT Test Command: UNIT=8\n"},
    };
    for (const Case& c : cases) {
        testsupport::LogCapture log;
        int rc = -1;
        EXPECT_EQ(Forward(c.command, &rc), c.reply) << '"' << c.command << '"';
        EXPECT_EQ(rc, c.rc) << c.command;
        if (c.dispatchLog != nullptr) {
            EXPECT_TRUE(log.Contains(kHandlerTag, c.dispatchLog)) << c.command;
        } else {
            EXPECT_TRUE(log.Contains(kHandlerTag, std::string("Unkonw Command: ") + c.command + "\n"))
                << c.command;
        }
    }
}

TEST_F(Service, WlanRowsWithoutFirmware) {
    // The DUT holds its parameters without a firmware; what needs the
    // firmware fails as a failed operation (reply code 5).
    struct Case {
        const char* command;
        const char* reply;
        const char* log;
    } const cases[] = {
        {"AT+WIFIRF=0,1,2,0", "+WIFIRF:0,OK", "AT_COMMAND_WIFI_WIFI_OFF\n"},
        {"AT+WIFIRF=0,1,3,0", "+WIFIRF:0,OK", "AT_COMMAND_WIFI_WIFI_ON\n"},
        {"AT+WIFIRF=0,1,6,0", "+WIFIRF:0,OK", "AT_COMMAND_WIFI_SET_BSS_COLOR\n"},
        {"AT+WIFIRF=0,6,2,0", "+WIFIRF:0,OK", "AT_COMMAND_WIFI_SET_SSID_5G\n"},
        {"AT+WIFIRF=0,0,0,36", "+WIFIRF:0,OK", "AT_COMMAND_WIFI_SET_CHANNEL 36\n"},
        {"AT+WIFIRF=1,0,0,0", "+WIFIRF:0,OK,36\n", "AT_COMMAND_WIFI_GET_CHANNEL\n"},
        {"AT+WIFIX=1,0,0,0", "+WIFIX:0,36\n,OK", "AT_COMMAND_WIFI_GET_CHANNEL\n"},
        {"AT+WIFIRF=0,0,1,-5", "+WIFIRF:6,NG", "AT_COMMAND_WIFI_SET_DATARATE -5\n"},
        {"AT+WIFIRF=0,4,0,0", "+WIFIRF:0,OK,0", "AT_COMMAND_WIFI_READ_RX_ERROR\n"},
        {"AT+WIFIX=0,4,0,0", "+WIFIX:0,0,OK", "AT_COMMAND_WIFI_READ_RX_ERROR\n"},
        {"AT+WIFIRF=0,4,3,0", "+WIFIRF:5,NG,0,0", "AT_COMMAND_WIFI_READ_BIST\n"},
        {"AT+WIFIX=0,5,0,0", "+WIFIX:5,0,NG", "AT_COMMAND_WIFI_GET_CHIP_TEMP\n"},
        {"AT+WIFIRF=0,8,0,0", "+WIFIRF:0,OK", "AT_COMMAND_WIFI_TEST_STOP\n"},
        {"AT+WIFIRF=0,8,1,0", "+WIFIRF:0,OK", "AT_COMMAND_WIFI_TEST_START\n"},
    };
    for (const Case& c : cases) {
        testsupport::LogCapture log;
        EXPECT_EQ(Forward(c.command), c.reply) << c.command;
        EXPECT_TRUE(log.Contains(kHandlerTag, c.log)) << c.command;
    }
}

TEST_F(Service, ElevenCommandsReuseEmptySlots) {
    testsupport::LogCapture log;
    for (int i = 0; i < 11; ++i) EXPECT_EQ(Forward("AT+WIFIRF=0,6,0,0"), "+WIFIRF:0,OK");
    std::vector<std::string> created;
    for (const std::string& t : log.Texts(kHandlerTag)) {
        if (t.rfind("Creating Thread", 0) == 0) created.push_back(t);
        EXPECT_EQ(t.find("thread slot"), std::string::npos) << t;
    }
    std::vector<std::string> expected;
    for (int slot : {1, 2, 3, 4, 5, 6, 7, 8, 9, 0, 1}) {
        expected.push_back("Creating Thread : " + std::to_string(slot) + "\n");
    }
    EXPECT_EQ(created, expected);
    CCommandHandler* h = GetServiceCommandHandler();
    for (int slot = 0; slot < 10; ++slot) {
        EXPECT_EQ(CCommandHandlerTestPeer::Slot(*h, slot), nullptr) << "slot " << slot;
    }
}

TEST_F(Service, BusySlotDropsTheCommand) {
    CCommandHandler* h = GetServiceCommandHandler();
    // A worker that answered early still owns slot 1.
    THREAD_INFO* busy = new THREAD_INFO();
    busy->running = true;
    CCommandHandlerTestPeer::Slot(*h, 1) = busy;

    testsupport::LogCapture log;
    int rc = -1;
    EXPECT_EQ(Forward("AT+WIFIRF=0,6,0,0", &rc), "untouched");
    EXPECT_EQ(rc, 0) << "a busy slot is not told to the caller";
    EXPECT_TRUE(log.Contains(kHandlerTag, "thread slot [1] is not empty (R)"));
    EXPECT_EQ(h->GetThreadIndex(), 1) << "the index stays advanced";

    // The next command takes the next slot.
    EXPECT_EQ(Forward("AT+WIFIRF=0,6,0,0"), "+WIFIRF:0,OK");
    EXPECT_EQ(h->GetThreadIndex(), 2);

    // Once the early worker has ended, the ring reclaims the entry when it
    // comes back to it.
    busy->running = false;
    log.Clear();
    for (int i = 0; i < 9; ++i) EXPECT_EQ(Forward("AT+WIFIRF=0,6,0,0"), "+WIFIRF:0,OK");
    EXPECT_EQ(h->GetThreadIndex(), 1);
    EXPECT_TRUE(log.Contains(kHandlerTag, "thread slot [1] is not empty (S)"));
    EXPECT_EQ(CCommandHandlerTestPeer::Slot(*h, 1), nullptr);
}

TEST_F(Service, ResultBufferWritesStayWithinConvention) {
    // A guard region behind the 1024 bytes must never change.
    std::vector<char> buffer(WLBT_RESULT_BUFFER_SIZE + 64, '\x5a');
    const char* commands[] = {"AT+WIFIRF=1,0,0,0", "AT+WIFIX=1,0,0,0", "AT+WIFIABCDEFGHIJKLMNOPQRSTUVWXYZ=1,0,0,0",
                              "ATA+WIFI=2", "foo"};
    for (const char* c : commands) {
        ForwardCMD_WiFiBT(c, buffer.data(), 0);
        for (size_t i = WLBT_RESULT_BUFFER_SIZE; i < buffer.size(); ++i) {
            ASSERT_EQ(buffer[i], '\x5a') << c;
        }
    }
}

TEST_F(Service, NullArgumentsAreRefused) {
    Result r;
    EXPECT_EQ(ForwardCMD_WiFiBT(nullptr, r.data(), 0), 2);
    EXPECT_EQ(r.str(), "untouched");
    EXPECT_EQ(ForwardCMD_WiFiBT("AT+WIFIRF=0,6,0,0", nullptr, 0), 2);
}

TEST_F(Service, CloseReleasesTheRing) {
    Forward("AT+WIFIRF=0,6,0,0");
    EXPECT_TRUE(GetServiceCommandHandler()->WaitForWorkers(std::chrono::milliseconds(0)));
    EXPECT_EQ(CloseWiFiBtFactoryService(), 0);
    EXPECT_EQ(GetServiceCommandHandler(), nullptr);
}

}  // namespace

namespace {

TEST(WaitResponse, EarlyResponseReleasesTheCallerAndKeepsTheEntry) {
    CCommandHandler h(nullptr, nullptr);
    auto* worker = new THREAD_INFO();
    worker->running = true;  // a scan still running on its worker
    CCommandHandlerTestPeer::SetIndex(h, 4);
    CCommandHandlerTestPeer::Slot(h, 4) = worker;

    h.SetEarlyResponse(true);
    EXPECT_EQ(h.WaitResponse(nullptr), 0);
    EXPECT_EQ(CCommandHandlerTestPeer::Slot(h, 4), worker) << "the running worker keeps its entry";
    EXPECT_FALSE(h.WaitForWorkers(std::chrono::milliseconds(0)));

    // Without an early response the caller waits for the end and reclaims it.
    h.SetEarlyResponse(false);
    worker->running = false;
    EXPECT_EQ(h.WaitResponse(nullptr), 0);
    EXPECT_EQ(CCommandHandlerTestPeer::Slot(h, 4), nullptr);
    EXPECT_TRUE(h.WaitForWorkers(std::chrono::milliseconds(0)));
}

}  // namespace
