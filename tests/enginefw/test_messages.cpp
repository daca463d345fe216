// The output side of the framework: level masks, per-thread errors, handlers
// and their groups, and the trace line itself.

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

M* Fetch(unsigned group, const char* pretty, bool registerClass = false) {
    return CTheMsgHnd::GetAppropriateHandler(static_cast<Group>(group), pretty, registerClass);
}

TEST(CMsgQueue, LevelMaskAndOutput) {
    std::ostringstream out;
    CMsgQueue queue(CMsgQueue::STATUS_QUEUE, &out, false);
    queue.OutputMsg(3, "hidden", ""), queue.LevelEnable(3, true), queue.LevelEnable(31, true);
    EXPECT_EQ(queue.GetLevelMask(), 0x80000008UL);
    queue.OutputMsg(3, "shown", "extra is not printed");
    EXPECT_EQ(out.str(), "shown\n");
    queue.LevelEnable(32, true), queue.LevelEnable(4, false);  // 32: every level
    EXPECT_EQ(queue.GetLevelMask(), ~0x10UL);
    queue.LevelEnable(1000, false);  // beyond 32: every level as well
    EXPECT_EQ(queue.GetLevelMask(), 0UL);
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
    M* h7 = nullptr;
    M* h100 = nullptr;
};

TEST_F(Errors, EachThreadKeepsItsLastErrorAndTheNewestOfAllIsFound) {
    using Steps = std::function<void(Errors&)>;
    // what, steps, this thread's last error, the newest of any thread
    const std::vector<std::tuple<const char*, Steps, const char*, const char*>> rows = {
        {"other threads", [](Errors& e) { e.SetOnOtherThread(11, "a"), e.SetOnOtherThread(12, "b"); }, "none", "12:b"},
        {"own and newest", [](Errors& e) { e.Set(13, "main"), e.SetOnOtherThread(14, "b"); }, "13:main", "14:b"},
        {"a new error object clears the creating thread only",
         [](Errors& e) { e.SetOnOtherThread(21, "kept"), e.Set(22, "main"), e.h7->NewErrorObject(M::GROUP_ALL); },
         "none", "21:kept"},
        {"ClearErrors clears the calling thread only",
         [](Errors& e) { e.SetOnOtherThread(31, "a"), e.Set(32, "b"), CTheMsgHnd::ClearErrors(); }, "none", "31:a"},
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
             {"void Ptr<T>::clr() [with T = U]", "Ptr::clr", "Ptr<T>::clr", "Ptr"},
             {"void A<B<C> >::Run()", ">::Run", ">::Run", ">"},  // the blank inside "> >" is the last one
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
        {"level 4 and those above 31 print nothing", [](Trace& t) {
             for (unsigned level : {4u, 31u, 32u, 1000u}) t.h->DebugOutputInHandler(level, false, false, "fn", "f", 1, "L");
         },
         kF1 + "[?] L\n"},
        {"the file column: base name, never cut; no file", [](Trace& t) {
             t.Line(3, "a\\b/a_very_long_file_name_over_twenty.cpp", 123456, "x"), t.Line(3, nullptr, 5, "x");
         },
         "[000.000 @ a_very_long_file_name_over_twenty.cpp(123456)] [B] x\n"
         "[000.000 @                     (   5)] [B] x\n"},
        {"an empty, CR, LF or null message prints nothing", [](Trace& t) {
             for (const char* text : {"", "\r", "\n"}) t.Line(3, "f", 1, text);
             t.h->DebugOutputInHandler(3, false, false, "fn", "f", 1, nullptr);
         },
         ""},
        {"a message of 1023 characters loses its last; longer ones are formatted again", [](Trace& t) {
             for (size_t n : {1023u, 1024u, 2047u, 2048u}) t.Line(3, "f", 1, (std::string(n - 1, 'x') + "E").c_str());
         },
         kF1 + "[B] " + x1022 + "\n" + kF1 + "[B] " + x1022 + "xE\n" + kF1 + "[B] " + x1022 + x1022 + "xx\n" + kF1 +
             "[B] " + x1022 + x1022 + "xxxE\n"},
        {"a message past the 1 MiB formatting limit is printed cut there, not dropped", [](Trace& t) {
             t.Line(3, "f", 1, std::string(2 << 20, 'y').c_str());
         },
         kF1 + "[B] " + std::string((1 << 20) - 2, 'y') + "\n"},
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
        {"the result is read at the exit; a null text; no handler: silent", [](Trace& t) {
             t.Level(M::DEBUG_PROFILING, false);
             int number = 1;
             const char* text = "text";
             CDebugSentry none(nullptr, 1, nullptr, nullptr);
             CDebugSentryWithReturn<int> noneWithResult(nullptr, 2, nullptr, nullptr, &number);
             CDebugSentryWithReturn<const char*> textSentry(t.h, 20, "f", "int F()", &text);
             CDebugSentryWithReturn<int> sentry(t.h, 20, "f", kPretty, &number);
             number = -42, text = nullptr;
         },
         kF20 + "-> F\n" + kF20 + "  -> CWlanLiteClient::Open\n" + kF20 +
             "  <- CWlanLiteClient::Open [returning -42]\n" + kF20 + "<- F [returning \"(null)\"]\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::get<0>(row));
        Restart();
        std::get<1>(row)(*this);
        EXPECT_EQ(out.str(), WithThread(std::get<2>(row)));
    }
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
    out.str("");
    h->GetDebugMsg()->SetIndent(2);
    std::thread([this] { Line(3, "f", 1, "other thread"); }).join();
    EXPECT_EQ(WithoutThread(out.str()), "[000.000                     f(   1)] [B] other thread\n") << "no indent";
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
