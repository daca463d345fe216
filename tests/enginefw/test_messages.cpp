// The output side of the framework: level masks, status and progress output,
// per-thread errors, handlers and their groups, and the trace line itself.

#include <fstream>
#include <regex>
#include <stdexcept>
#include <tuple>

#include "enginefw/msghandler.h"
#include "tests/enginefw/ef_support.h"

namespace {

using M = CMessageHandler;
using Group = M::GroupEnum;
using eftest::FakeClock;
using eftest::StreamCapture;
using testsupport::ReadFile;

const std::string kRule(78, '=');

M* Fetch(unsigned group, const char* pretty, bool registerClass = false) {
    return CTheMsgHnd::GetAppropriateHandler(static_cast<Group>(group), pretty, registerClass);
}

TEST(CMsgQueue, LevelMaskAndOutput) {
    EXPECT_FALSE(CMsgQueue(static_cast<CMsgQueue::QueueType>(2), nullptr, true).IsLevelEnabled(0)) << "no such type";
    std::ostringstream out;
    CMsgQueue queue(CMsgQueue::STATUS_QUEUE, &out, false);
    queue.OutputMsg(3, "hidden", ""), queue.LevelEnable(3, true), queue.LevelEnable(31, true);
    EXPECT_EQ(queue.GetLevelMask(), 0x80000008UL);
    queue.OutputMsg(3, "shown", "extra is not printed"), queue.LevelEnable(3, false);
    EXPECT_EQ(out.str(), "shown\n");
    EXPECT_EQ(queue.GetLevelMask(), 0x80000000UL);
    queue.LevelEnable(32, true), queue.LevelEnable(4, false);
    EXPECT_EQ(queue.GetLevelMask(), ~0x10UL);
    queue.LevelEnable(1000, false);
    EXPECT_EQ(queue.GetLevelMask(), 0UL);
    const CMsgQueue source(CMsgQueue::DEBUG_QUEUE, nullptr, true);
    queue.InheritLevels(&source), queue.InheritLevels(nullptr);
    EXPECT_EQ(queue.GetLevelMask(), ~0UL);
}

struct RecordingProgress : CProgressMsg {
    void Notify(unsigned short percent) override { notified.push_back(percent); }
    std::vector<unsigned short> notified;
};

TEST(CProgressMsg, SetIgnoresAboveAHundredAndSilenceStopsOnlySet) {
    RecordingProgress progress;
    progress.Set(101), progress.Set(100), progress.Set(98), progress += 5;
    EXPECT_EQ(progress.GetPercent(), 100);
    progress.Set(40), progress++, progress += -50;
    EXPECT_EQ(progress.GetPercent(), 0) << "a step below 0 stops at 0";
    progress.SetSilentMode(true), progress.Set(10), progress += 2, progress++;
    EXPECT_EQ(progress.GetPercent(), 13);
    EXPECT_EQ(progress.notified, (std::vector<unsigned short>{100, 98, 100, 40, 41, 0, 12, 13}));
}

TEST(CConsoleStatusMsg, NoticeBlocksByLevel) {
    // level, enabled, standard output, standard error; 4 is a selector, never the level of a notice
    for (const auto& c : std::vector<std::tuple<unsigned, bool, std::string, std::string>>{
             {0, true, "note\n", ""}, {2, true, kRule + "\nWARNING: note\n" + kRule + "\n", ""},
             {3, true, "", kRule + "\np: ERROR: note\n" + kRule + "\n"}, {4, true, "", ""}, {3, false, "", ""}}) {
        StreamCapture out(std::cout), err(std::cerr);
        CConsoleStatusMsg status;
        status.LevelEnable(std::get<0>(c), std::get<1>(c));
        status.OutputMsg(std::get<0>(c), "note", "p: ");
        EXPECT_EQ(out.Text() + "|" + err.Text(), std::get<2>(c) + "|" + std::get<3>(c)) << std::get<0>(c);
    }
}

// Option processing without settings has given every named group an error
// object. Public: the rows of a table reach into it.
class Errors : public ::testing::Test {
public:
    void SetUp() override {
        CTheMsgHnd::IsDebugEngineRunning();
        h7 = Fetch(M::GROUP_COMMSTEST, "void Errors::SetUp()");
        h100 = Fetch(M::GROUP_APPLICATION, "void Errors::SetUp()");
    }
    std::string Last(bool thisThreadOnly) {
        short code = 0;
        std::string text;
        Group group = M::GROUP_ALL;
        return h7->LastError(code, text, group, thisThreadOnly) ? std::to_string(code) + ":" + text : "none";
    }
    // Through the other handler: the map is shared.
    void Set(short code, const char* text) { EXPECT_TRUE(h100->SetErrorMsg(code, text)); }
    void SetOnOtherThread(short code, const char* text) { std::thread([=] { Set(code, text); }).join(); }
    void Modify(short code, const char* text) { EXPECT_TRUE(h7->ModifyErrorMsg(code, text, M::GROUP_LOCAL)); }
    M* h7 = nullptr;
    M* h100 = nullptr;
};

TEST_F(Errors, EachThreadKeepsItsLastErrorAndTheNewestOfAllIsFound) {
    using Steps = std::function<void(Errors&)>;
    // what, steps, this thread's last error, the newest of any thread
    const std::vector<std::tuple<const char*, Steps, const char*, const char*>> rows = {
        {"a second replaces the first", [](Errors& e) { e.Set(1, "one"), e.Set(2, "two"); }, "2:two", "2:two"},
        {"other threads", [](Errors& e) { e.SetOnOtherThread(11, "a"), e.SetOnOtherThread(12, "b"); }, "none", "12:b"},
        {"own and newest", [](Errors& e) { e.Set(13, "main"), e.SetOnOtherThread(14, "b"); }, "13:main", "14:b"},
        {"a new error object clears the creating thread only",
         [](Errors& e) { e.SetOnOtherThread(21, "kept"), e.Set(22, "main"), e.h7->NewErrorObject(M::GROUP_ALL); },
         "none", "21:kept"},
        {"ClearErrors clears the calling thread only",
         [](Errors& e) { e.SetOnOtherThread(31, "a"), e.Set(32, "b"), CTheMsgHnd::ClearErrors(); }, "none", "31:a"},
        {"modify without an error", [](Errors& e) { e.Modify(5, "context"); }, "5:context", "5:context"},
        {"modify keeps the code", [](Errors& e) { e.Set(3, "old"), e.Modify(0, "new"); }, "3:new - old", "3:new - old"},
        {"modify with a code", [](Errors& e) { e.Set(3, "old"), e.Modify(9, "new"); }, "9:new - old", "9:new - old"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::get<0>(row));
        h7->ClearError(), std::get<1>(row)(*this);
        EXPECT_EQ(Last(true) + " " + Last(false), std::get<2>(row) + std::string(" ") + std::get<3>(row));
        EXPECT_EQ(h7->IsErrorSet(M::GROUP_LOCAL, true), std::string(std::get<2>(row)) != "none");
    }
    const Group unnamed = static_cast<Group>(50);  // made by CreateGroup: no error object
    CTheMsgHnd::CreateGroup(unnamed);
    EXPECT_FALSE(Fetch(unnamed, "void Bare::f()")->SetErrorMsg(1, "x"));
}

TEST(GetAppropriateHandler, OneHandlerPerGroupAndARegisteredClassTracesToItsGroup) {
    for (const auto& c : std::vector<std::vector<const char*>>{
             // pretty function, qualified name with and without template arguments, class
             {"int Client::Open(unsigned int) const", "Client::Open", "Client::Open", "Client"},
             {"void Ptr<T>::clr() [with T = U]", "Ptr::clr", "Ptr<T>::clr", "Ptr"},
             {"void A<B<C> >::Run()", ">::Run", ">::Run", ">"},  // the blank inside "> >" is the last one
             {"int wlan_tx_start()", "wlan_tx_start", "wlan_tx_start", ""},
             {"void odd>order<()", "odd>order<", "odd>order<", ""}}) {
        EXPECT_EQ(DetermineQualifiedFnName(c[0], true) + "|" + DetermineQualifiedFnName(c[0], false),
                  std::string(c[1]) + "|" + c[2]);
        EXPECT_EQ(FindClassName(c[1]), c[3]) << c[1];
    }
    EXPECT_EQ(DetermineQualifiedFnName(nullptr, true), "");
    M* a = Fetch(7, "void X::f()");
    EXPECT_EQ(a, Fetch(7, "void Y::g()"));
    EXPECT_NE(a->GetErrorMessages(), nullptr) << "a handler made on demand gets an error object";
    Fetch(102, "bool CMultiListParser::ParseStatement(std::string)", true);
    Fetch(104, "void Setup::f()");
    // group asked, pretty function, register, group of the handler given, why
    for (const auto& c : std::vector<std::tuple<unsigned, const char*, bool, unsigned, const char*>>{
        {104, "bool CMultiListParser::ExtendGroupName()", false, 104, "the fast path: 104 has a handler"},
        {3, "bool CMultiListParser::ExtendGroupName()", false, 102, "3 has no handler: the registration decides"},
        {104, "bool CMultiListParser::ExtendGroupName()", true, 102, "registering again finds the first one"},
        {8, "void CountedPointer<T>::clr() [with T = X]", true, 8, "template arguments are stripped"},
        {9, "void CountedPointer<Y>::set()", false, 8, "the same class under other arguments"},
        {120, "void GroupAll::f()", false, 120, "GROUP_ALL never takes the fast path and becomes a key"}}) {
        EXPECT_EQ(CTheMsgHnd::GetLocalGroup(Fetch(std::get<0>(c), std::get<1>(c), std::get<2>(c))), std::get<3>(c))
            << std::get<4>(c);
    }
    CTheMsgHnd::CreateGroup(M::GROUP_ALL);  // gives no error object
    EXPECT_EQ(Fetch(3, "void Z::f()")->GetErrorMessages(), nullptr) << "the lookups above did not make group 3";
    EXPECT_EQ(Fetch(1, "void Z::f()")->GetErrorMessages(), nullptr) << "CreateGroup(GROUP_ALL) made group 1";
}

// Runs from an exit handler registered before the singleton exists, so after
// the singleton's destructor: every fetch must give the silent dummy, which
// stands in no map.
void CheckAfterShutdown() {
    M* handler = Fetch(7, "void A::f()", true);
    std::ostringstream stream, console;
    handler->NewDebugObject(&stream, M::GROUP_ALL);
    handler->SetDebugLevel(M::DEBUG_ALL, true, M::GROUP_ALL);
    handler->DebugOutputInHandler(3, false, false, "f", "f", 1, "silent");
    { CDebugSentry sentry(handler, 1, "f", "void C::f()"); }
    std::streambuf* const old = std::cout.rdbuf(console.rdbuf());
    M::OutputMessageHandler("must not appear");
    std::cout.rdbuf(old);
    const bool ok = CTheMsgHnd::GetLifeCycleState() == 2 && handler == Fetch(104, "void B::f()") &&
                    CTheMsgHnd::GetLocalGroup(handler) == 121 && !handler->SetErrorMsg(1, "x") &&
                    handler->GetDebugMsg() == nullptr && stream.str().empty() && console.str().empty();
    std::fprintf(stderr, ok ? "silent dummy after shutdown\n" : "not silent after shutdown\n");
    std::_Exit(ok ? 42 : 1);
}

TEST(LifeCycleDeathTest, AfterShutdownEveryFetchGivesTheSilentDummy) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            std::atexit(&CheckAfterShutdown);
            Fetch(7, "void A::f()", true);
            std::exit(0);
        },
        testing::ExitedWithCode(42), "silent dummy after shutdown");
}

// The "commstest" group's trace, every level on, to a string, on a
// hand-driven clock. Public: the rows of a table reach into it.
class Trace : public ::testing::Test {
public:
    void SetUp() override {
        CTheMsgHnd::IsDebugEngineRunning();
        h = Fetch(M::GROUP_COMMSTEST, "void Trace::SetUp()");
        Restart();
    }
    void TearDown() override { Level(M::DEBUG_ALL, false), h->NewDebugObject(nullptr); }
    // A new debug object at time zero, indent 0, every level on.
    void Restart() {
        FakeClock::Set(1000, 0), Level(M::DEBUG_ALL, false), h->NewDebugObject(&out), Level(M::DEBUG_ALL, true);
        out.str("");
    }
    void Level(M::DebugLevels level, bool on) { h->SetDebugLevel(level, on, M::GROUP_LOCAL); }
    void Line(unsigned level, const char* file, unsigned line, const char* text) {
        h->DebugOutputInHandler(level, false, false, "fn", file, line, "%s", text);
    }
    FakeClock clock{1000};
    std::ostringstream out;
    M* h = nullptr;
};

// The text with this thread's id, "%04lX", for each '@'.
std::string WithThread(const std::string& text) {
    char id[32];
    std::snprintf(id, sizeof id, "%04lX", static_cast<unsigned long>(pthread_self()));
    return std::regex_replace(text, std::regex("@"), id);
}

std::string WithoutThread(const std::string& line) { return line.substr(0, 9) + line.substr(line.find(' ', 9)); }

constexpr const char* kPretty = "int CWlanLiteClient::Open(unsigned int, const char*) const";
const std::string kF1 = "[000.000 @                    f(   1)] ";
const std::string kF20 = "[000.000 @                    f(  20)] [F] ";

TEST_F(Trace, LineForms) {
    const std::string x1022(1022, 'x');
    const std::vector<std::tuple<const char*, std::function<void(Trace&)>, std::string>> rows = {
        {"time, thread, file and line columns, label, message", [](Trace& t) {
             FakeClock::AdvanceMs(12345);
             t.h->DebugOutputInHandler(3, false, false, "fn", "/src/commstest/commstest_lib_intf", 52,
                                       "wlan_get_version_info(%d)", 1);
         },
         "[012.345 @   commstest_lib_intf(  52)] [B] wlan_get_version_info(1)\n"},
        {"labels by level; 4 and above 31 print nothing", [](Trace& t) {
             for (unsigned level : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 31u, 32u, 1000u}) {
                 t.h->DebugOutputInHandler(level, level == 1, false, "fn", "f", 1, "L%u", level);
             }
         },  // only level 0 moves the indent
         kF1 + "[F] L0\n" + kF1 + "[F] L1\n" + kF1 + "[E] L2\n" + kF1 + "[B] L3\n" + kF1 + "[P] L5\n" + kF1 +
             "[?] L6\n" + kF1 + "[?] L31\n"},
        {"the time wraps at a thousand seconds; zero is the debug object's creation", [](Trace& t) {
             for (long ms : {999L, 1L, 998999L, 501L}) FakeClock::AdvanceMs(ms), t.Line(3, "f", 1, "tick");
             t.h->NewDebugObject(&t.out);
             FakeClock::AdvanceMs(250), t.Line(3, "f", 1, "tick");
         },
         "[000.999 @                    f(   1)] [B] tick\n[001.000 @                    f(   1)] [B] tick\n"
         "[999.999 @                    f(   1)] [B] tick\n[000.500 @                    f(   1)] [B] tick\n"
         "[000.250 @                    f(   1)] [B] tick\n"},
        {"without timestamps; the output pane changes nothing", [](Trace& t) {
             t.h->GetDebugMsg()->SetTimeStampState(false), t.h->GetDebugMsg()->SendDebugToOutputPane();
             t.Line(2, "dir/file", 9, "plain");
         },
         "[@                 file(   9)] [E] plain\n"},
        {"the file column: base name, right-aligned, never cut", [](Trace& t) {
             t.Line(3, "a/b/c.cpp", 7, "x"), t.Line(3, "C:\\src\\x.cpp", 1234, "x"), t.Line(3, "mixed/dir\\y", 0, "x");
             t.Line(3, "a_very_long_file_name_over_twenty.cpp", 123456, "x"), t.Line(3, nullptr, 5, "x");
         },
         "[000.000 @                c.cpp(   7)] [B] x\n[000.000 @                x.cpp(1234)] [B] x\n"
         "[000.000 @                    y(   0)] [B] x\n"
         "[000.000 @ a_very_long_file_name_over_twenty.cpp(123456)] [B] x\n"
         "[000.000 @                     (   5)] [B] x\n"},
        {"an empty, CR or LF message prints nothing", [](Trace& t) {
             for (const char* text : {"", "\r", "\n", " ", "\r\r"}) t.Line(3, "f", 1, text);
             t.h->DebugOutputInHandler(3, false, false, "fn", "f", 1, nullptr);
         },
         kF1 + "[B]  \n" + kF1 + "[B] \r\r\n"},
        {"a message of 1023 characters loses its last; longer ones are formatted again", [](Trace& t) {
             for (size_t n : {1023u, 1024u, 2047u, 2048u}) t.Line(3, "f", 1, (std::string(n - 1, 'x') + "E").c_str());
         },
         kF1 + "[B] " + x1022 + "\n" + kF1 + "[B] " + x1022 + "xE\n" + kF1 + "[B] " + x1022 + x1022 + "xx\n" + kF1 +
             "[B] " + x1022 + x1022 + "xxxE\n"},
        {"a message past the 1 MiB formatting limit is printed cut there, not dropped", [](Trace& t) {
             t.Line(3, "f", 1, std::string(2 << 20, 'y').c_str());
         },
         kF1 + "[B] " + std::string((1 << 20) - 2, 'y') + "\n"},
        {"hex dump and profile, whose line column holds the group", [](Trace& t) {
             const unsigned char bytes[] = {0x01, 0x02, 0xab, 0x04, 0x05, 0xff};
             t.h->DebugOutputBuffer(3, "fn", "f", 1, "Frame", bytes, sizeof bytes);
             t.h->DebugOutputBuffer(3, "fn", "f", 1, "Empty", bytes, 0);
             t.h->DebugOutputBuffer(3, "fn", "f", 1, "Null", nullptr, 4);
             t.h->DebugOutputProfile(0x2a);
         },
         kF1 + "[B] Frame [length=0x6] (0) 01 02 ab 04 (4) 05 ff \n" + kF1 + "[B] Empty [length=0x0] \n" + kF1 +
             "[B] Null [length=0x4] \n[000.000 @          (PROFILING)(   7)] [P] (2a)\n"},
        {"error and status notices are copied in", [](Trace& t) {
             std::ostringstream status;
             t.h->NewStatusObject(&status);
             EXPECT_TRUE(t.h->SetErrorMsg(-2, "bad value"));
             t.h->NotifyStatus(M::STATUS_WARNING, "too hot");
             t.h->NotifyStatus(M::STATUS_ERROR, "gone"), t.h->NotifyStatus(static_cast<M::StatusLevels>(7), "odd");
             EXPECT_EQ(status.str(), "too hot\ngone\nodd\n");
             t.h->NewStatusObject(nullptr);
         },
         "[000.000 @          <commstest>(   0)] [B] ERROR SET: Code=-2 (0xFFFFFFFE); Text=bad value\n"
         "[000.000 @          <commstest>(   0)] [E] WARNING STATUS: too hot\n"
         "[000.000 @          <commstest>(   0)] [E] ERROR STATUS: gone\n"
         "[000.000 @          <commstest>(   0)] [E] INVALID STATUS: odd\n"},
        {"a sentry: entry, profile, what it encloses two further, exit at the entry's line", [](Trace& t) {
             CDebugSentry sentry(t.h, 54, "dir/commstest_lib_intf", kPretty);
             t.Line(3, "commstest_lib_intf", 57, "inside");
         },
         "[000.000 @   commstest_lib_intf(  54)] [F] -> CWlanLiteClient::Open\n"
         "[000.000 @          (PROFILING)(   7)] [P]   (0)\n"
         "[000.000 @   commstest_lib_intf(  57)] [B]   inside\n"
         "[000.000 @   commstest_lib_intf(  54)] [F] <- CWlanLiteClient::Open\n"},
        {"an exception passing a sentry", [](Trace& t) {
             t.Level(M::DEBUG_PROFILING, false);
             int result = 5;
             EXPECT_THROW(
                 { CDebugSentryWithReturn<int> s(t.h, 20, "f", kPretty, &result); throw std::runtime_error("x"); },
                 std::runtime_error);
         },
         kF20 + "-> CWlanLiteClient::Open\n" + kF20 + "<- CWlanLiteClient::Open !!! EXCEPTION !!!\n"},
        {"PrintExit by hand, then the destructor: one exit line; no handler: silent; no result: the plain exit",
         [](Trace& t) {
             t.Level(M::DEBUG_PROFILING, false);
             int result = 1;
             CDebugSentry none(nullptr, 1, nullptr, nullptr);
             CDebugSentryWithReturn<int> noneWithResult(nullptr, 2, nullptr, nullptr, &result);
             CDebugSentryWithReturn<int> noResult(t.h, 20, "f", "int F()", nullptr);
             CDebugSentryWithReturn<int> sentry(t.h, 20, "f", kPretty, &result);
             result = 2, sentry.PrintExit();
             result = 3, sentry.PrintExit(), sentry.CheckPrintExit();
         },
         kF20 + "-> F\n" + kF20 + "  -> CWlanLiteClient::Open\n" + kF20 + "  <- CWlanLiteClient::Open [returning 2]\n" +
             kF20 + "<- F\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::get<0>(row));
        Restart();
        std::get<1>(row)(*this);
        EXPECT_EQ(out.str(), WithThread(std::get<2>(row)));
    }
}

template <typename T>
std::string ExitLine(Trace& t, T value) {
    t.out.str("");
    {
        T result{};
        CDebugSentryWithReturn<T> sentry(t.h, 1, "f", kPretty, &result);
        result = value;  // read when the exit line is printed
    }
    return t.out.str().substr(t.out.str().rfind("] [F] <- CWlanLiteClient::Open") + 30);
}

TEST_F(Trace, ExitLineShowsTheResultByType) {
    char writable[] = "mutable";
    EXPECT_EQ(ExitLine<int>(*this, -42) + ExitLine<bool>(*this, true) + ExitLine<bool>(*this, false) +
                  ExitLine<const char*>(*this, "text") + ExitLine<const char*>(*this, nullptr) +
                  ExitLine<char*>(*this, writable) + ExitLine<unsigned long long>(*this, ~0ULL) +
                  ExitLine<std::string>(*this, "s"),
              " [returning -42]\n [returning true]\n [returning false]\n [returning \"text\"]\n"
              " [returning \"(null)\"]\n [returning \"mutable\"]\n [returning -1]\n [returning \"s\"]\n");
}

void Nest(M* h, int depth) {
    if (depth > 0) {
        CDebugSentry sentry(h, 1, "nest", "void Nest(CMessageHandler*, int)");
        Nest(h, depth - 1);
    }
}

TEST_F(Trace, IndentOfEntriesStopsAtFiftyWhileExitsKeepSteppingBackAndIsPerThread) {
    Level(M::DEBUG_PROFILING, false);
    Nest(h, 27);
    std::string indents;
    for (const std::string& line : eftest::SplitLines(out.str())) {
        const size_t message = line.find("] [F] ") + 6, indent = line.find_first_not_of(' ', message) - message;
        indents += std::to_string(indent) + line.substr(message + indent, 1);
    }
    EXPECT_EQ(indents,
              "0-2-4-6-8-10-12-14-16-18-20-22-24-26-28-30-32-34-36-38-40-42-44-46-48-50-50-"
              "48<46<44<42<40<38<36<34<32<30<28<26<24<22<20<18<16<14<12<10<8<6<4<2<0<0<0<");
    CDebugMsg* debug = h->GetDebugMsg();
    out.str("");
    debug->SetIndent(2);
    std::thread([this] { Line(3, "f", 1, "other thread"); }).join();
    EXPECT_EQ(WithoutThread(out.str()), "[000.000                     f(   1)] [B] other thread\n") << "no indent";
    Level(M::DEBUG_BASIC, false);
    EXPECT_EQ(debug->GetIndent(), 2u);
    Level(M::DEBUG_ENTRY_EXIT, false);
    EXPECT_EQ(debug->GetIndent(), 0u);
}

// Trace lines and user output lines on the same log file, from several
// threads: every line stays whole (run under ThreadSanitizer too).
TEST_F(Trace, LinesFromManyThreadsStayWhole) {
    testsupport::TempDir dir;
    std::ofstream log(dir / "log");
    CTheMsgHnd::SetLogFileStream(&log);
    h->NewDebugObject(&log), Level(M::DEBUG_ALL, true);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([this, t] {
            for (int i = 0; i < 200; ++i) {
                if (t == 0) {
                    StreamCapture quiet(std::cout);
                    h->OutputMessageHandler("user %d", 2);
                } else {
                    Line(3, "threads", 7, "one");
                }
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    CTheMsgHnd::SetLogFileStream(nullptr), h->NewDebugObject(&out), log.close();
    std::string broken;
    const auto lines = eftest::SplitLines(ReadFile(dir / "log").value_or(""));
    for (const std::string& line : lines) {
        const bool whole = line == "user 2" || WithoutThread(line) == "[000.000               threads(   7)] [B] one";
        broken += whole ? "" : line + "\n";
    }
    EXPECT_EQ(broken, "");
    EXPECT_EQ(lines.size(), 800u);
}

}  // namespace
