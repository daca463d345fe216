// Hex and search helpers, the scan and string lists, and the flag lock.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <string>
#include <thread>

#include "factory/AutoLock.h"
#include "factory/FactoryUtil.h"
#include "factory/ScanList.h"
#include "factory/StringList.h"
#include "support/log_capture.h"

namespace {

TEST(FactoryHex, Hex2numAndHexstr2num) {
    const struct {
        char c;
        int value;
    } digits[] = {{'0', 0}, {'9', 9}, {'a', 10}, {'F', 15}, {'g', 0}, {'-', 0}, {'\0', 0}};
    for (const auto& d : digits) EXPECT_EQ(hex2num(d.c), d.value) << d.c;

    const struct {
        const char* text;
        int n;
        int value;
    } cases[] = {
        {"c8", 2, 200},  {"xy", 2, 0},        {"C8ff", 2, 200},  {"1g2", 5, 1},
        {"", 3, 0},      {"ffffffff", 8, -1}, {"123456789", 9, 0x23456789},  // the top digit shifts out
        {"7f", 0, 0},    {"00A0", 4, 160},
    };
    for (const auto& c : cases) {
        std::string text = c.text;
        EXPECT_EQ(hexstr2num(&text[0], c.n), c.value) << c.text;
    }
}

TEST(FactoryHex, FindString) {
    const struct {
        const char* text;
        const char* needle;
        int index;
    } cases[] = {
        {"abc", "c", 2},   {"abc", "abc", 0},  {"abc", "abcd", -1}, {"", "a", -1},
        {"a", "", -1},     {"abcabc", "ca", 2}, {"BSS Load", "BSS ", 0}, {"x\tBSS ", "BSS ", 2},
        {"abc", "d", -1},
    };
    for (const auto& c : cases) EXPECT_EQ(findString(c.text, c.needle), c.index) << c.text << "/" << c.needle;
}

SCAN_INFO_NODE* Node(const char* mac, int signal = 0) {
    SCAN_INFO_NODE* n = CScanList::NewNode();
    std::strncpy(n->mac, mac, sizeof n->mac - 1);
    n->signal_dbm = signal;
    return n;
}

TEST(ScanList, PushPopKeepOrderAndRestartWhenEmptied) {
    CScanList list;
    EXPECT_TRUE(list.isEmpty());
    EXPECT_EQ(list.Pop(), nullptr);
    list.Push(Node("aa", 1));
    list.Push(Node("bb", 2));
    EXPECT_EQ(list.GetNodeCount(), 2);
    for (int expected : {1, 2}) {
        SCAN_INFO_NODE* n = list.Pop();
        ASSERT_NE(n, nullptr);
        EXPECT_EQ(n->signal_dbm, expected);
        EXPECT_EQ(n->next, nullptr);
        delete n;
    }
    EXPECT_EQ(list.Pop(), nullptr);
    EXPECT_EQ(list.GetNodeCount(), 0);
    // The tail may still name a released node; a Push must start at head.
    list.Push(Node("cc", 3));
    EXPECT_FALSE(list.isEmpty());
    SCAN_INFO_NODE* n = list.Pop();
    ASSERT_NE(n, nullptr);
    EXPECT_EQ(n->signal_dbm, 3);
    delete n;
}

TEST(ScanList, FindByMacPrefixAndRePush) {
    CScanList list;
    list.Push(Node("00:11:22:33:44:55", 1));
    list.Push(Node("00:11:22:33:44:66", 2));
    list.Push(Node("aa:bb:cc:dd:ee:ff", 3));
    EXPECT_EQ(list.FindNodebyMAC("00:11:22:33:44:66")->signal_dbm, 2);
    EXPECT_EQ(list.FindNodebyMAC("00:11")->signal_dbm, 1) << "prefix of the argument's length";
    EXPECT_EQ(list.FindNodebyMAC("ff"), nullptr);
    // Pushing a listed node again moves it to the tail and cuts off the rest.
    SCAN_INFO_NODE* second = list.FindNodebyMAC("00:11:22:33:44:66");
    list.Push(second);
    EXPECT_EQ(list.GetNodeCount(), 2);
    EXPECT_EQ(list.FindNodebyMAC("aa:bb"), nullptr);
    SCAN_INFO_NODE* a = list.Pop();
    SCAN_INFO_NODE* b = list.Pop();
    ASSERT_NE(a, nullptr);
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(a->signal_dbm, 1);
    EXPECT_EQ(b, second);
    EXPECT_EQ(list.Pop(), nullptr);
    delete a;
    delete b;
}

int g_calls = 0;
void Count(void*) { ++g_calls; }

TEST(StringList, CopiesMatchesAndPops) {
    CStringList list;
    char text[] = "Inquiry complete";
    list.Push(text, &Count, text);
    text[0] = 'X';  // the list holds its own copy
    list.Push("RSSI");
    list.Push("BER", &Count);
    EXPECT_EQ(list.GetCount(), 3);

    STRING_NODE* hit = list.IsStringExist("[12] Inquiry complete, 3 devices");
    ASSERT_NE(hit, nullptr);
    EXPECT_STREQ(hit->string, "Inquiry complete");
    EXPECT_EQ(hit->arg, text);
    hit->callback(hit->arg);
    EXPECT_EQ(g_calls, 1);
    EXPECT_STREQ(list.IsStringExist("rssi: -40 RSSI")->string, "RSSI");
    EXPECT_EQ(list.IsStringExist("Inquiry"), nullptr) << "the argument is the haystack";
    EXPECT_EQ(list.IsStringExist(""), nullptr);

    for (const char* expected : {"Inquiry complete", "RSSI", "BER"}) {
        char* s = list.Pop();
        ASSERT_NE(s, nullptr);
        EXPECT_STREQ(s, expected);
        delete[] s;
    }
    EXPECT_EQ(list.Pop(), nullptr);
    EXPECT_TRUE(list.IsEmpty());
}

TEST(AutoLock, TakesAFreeFlagAndAlwaysClearsIt) {
    bool flag = false;
    {
        AutoLock guard(flag);
        EXPECT_FALSE(flag) << "constructing does not lock";
        EXPECT_TRUE(guard.lock(1));
        EXPECT_TRUE(flag);
    }
    EXPECT_FALSE(flag);

    flag = true;  // held by somebody else
    {
        AutoLock guard(flag);
        EXPECT_FALSE(guard.lock(0)) << "a budget of zero gives up after one poll";
        EXPECT_FALSE(guard.lock(-5));
    }
    EXPECT_FALSE(flag) << "a caller that timed out releases the lock for the next one";
}

TEST(AutoLock, WaitsForTheHolderToLetGo) {
    bool flag = true;
    std::atomic<bool> waiting{false};
    std::thread holder([&] {
        while (!waiting) std::this_thread::yield();
        __atomic_store_n(&flag, false, __ATOMIC_RELEASE);
    });
    {
        AutoLock guard(flag);
        waiting = true;
        EXPECT_TRUE(guard.lock(30));
        EXPECT_TRUE(__atomic_load_n(&flag, __ATOMIC_ACQUIRE));
    }
    holder.join();
    EXPECT_FALSE(flag);
}

TEST(ShellHelpers, RunShellCmdLogsEachLine) {
    testsupport::LogCapture log;
    EXPECT_EQ(_RunShellCmd("printf 'one\\ntwo\\n'; exit 3"), 0) << "a failing command still counts as run";
    EXPECT_EQ(log.Texts("FACTORY_SERVICE_UTIL"), (std::vector<std::string>{"one\n\n", "two\n\n"}));
}

}  // namespace
