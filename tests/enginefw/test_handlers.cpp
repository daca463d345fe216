#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <unistd.h>

#include "enginefw/msghandler.h"
#include "tests/enginefw/ef_test_support.h"

namespace {

using Group = CMessageHandler::GroupEnum;

CMessageHandler* Fetch(unsigned group, const char* pretty, bool registerClass = false) {
    return CTheMsgHnd::GetAppropriateHandler(static_cast<Group>(group), pretty, registerClass);
}

TEST(FunctionNames, QualifiedNameAndClass) {
    struct Case {
        const char* pretty;
        bool stripTemplate;
        const char* qualified;
        const char* className;
    };
    const Case cases[] = {
        {"int CWlanLiteClient::Open(unsigned int)", false, "CWlanLiteClient::Open", "CWlanLiteClient"},
        {"static bool storedsettings::GetString(std::string, std::string, std::string&)", false,
         "storedsettings::GetString", "storedsettings"},
        {"void CountedPointer<T>::clr() [with T = UARTAbstraction]", true, "CountedPointer::clr", "CountedPointer"},
        {"void CountedPointer<T>::clr() [with T = UARTAbstraction]", false, "CountedPointer<T>::clr",
         "CountedPointer<T>"},
        // The blank inside "> >" counts as the one before the name.
        {"void A<B<C> >::Run()", true, ">::Run", ">"},
        {"void A<B<C>>::Run()", true, "A::Run", "A"},
        {"int wlan_tx_start()", false, "wlan_tx_start", ""},
        {"main", false, "main", ""},
        {"CDebugHandler::CDebugHandler()", false, "CDebugHandler::CDebugHandler", "CDebugHandler"},
        {"void odd>order<()", true, "odd>order<", ""},
        {"", false, "", ""},
        {nullptr, true, "", ""},
    };
    for (const Case& c : cases) {
        const std::string qualified = DetermineQualifiedFnName(c.pretty, c.stripTemplate);
        EXPECT_EQ(qualified, c.qualified) << (c.pretty != nullptr ? c.pretty : "(null)");
        EXPECT_EQ(FindClassName(qualified), c.className) << qualified;
    }
}

TEST(GetAppropriateHandler, OneHandlerPerGroupNeverNull) {
    CMessageHandler* a = Fetch(7, "void X::f()");
    EXPECT_EQ(CTheMsgHnd::GetLifeCycleState(), 1u) << "the singleton lives once a handler was asked for";
    CMessageHandler* b = Fetch(7, "void Y::g()");
    CMessageHandler* c = Fetch(104, nullptr);
    ASSERT_NE(a, nullptr);
    ASSERT_NE(c, nullptr);
    EXPECT_EQ(a, b);
    EXPECT_NE(a, c);
    EXPECT_EQ(CTheMsgHnd::GetLocalGroup(a), CMessageHandler::GROUP_COMMSTEST);
    EXPECT_EQ(CTheMsgHnd::GetLocalGroup(c), CMessageHandler::GROUP_UNKNOWN);
    EXPECT_EQ(CTheMsgHnd::GetLocalGroup(nullptr), CMessageHandler::GROUP_LOCAL);
    EXPECT_NE(a->GetErrorMessages(), nullptr) << "a handler made on demand gets an error object";
    EXPECT_EQ(a->GetDebugMsg(), nullptr);
    EXPECT_EQ(a->GetStatusMsg(), nullptr);
    EXPECT_EQ(a->GetParagraphString(), "\n");
}

TEST(GetAppropriateHandler, ARegisteredClassTracesToItsGroup) {
    CMessageHandler* utility = Fetch(102, "bool CMultiListParser::ParseStatement(std::string)", true);
    EXPECT_EQ(CTheMsgHnd::GetLocalGroup(utility), CMessageHandler::GROUP_UTILITY);

    struct Case {
        unsigned group;
        const char* pretty;
        bool registerClass;
        unsigned expectedGroup;
        const char* why;
    };
    Fetch(104, "void Setup::f()");  // group 104 has a handler from here on
    const Case cases[] = {
        {104, "bool CMultiListParser::ExtendGroupName()", false, 104,
         "the fast path: group 104 has a handler and registration is not asked for"},
        {3, "bool CMultiListParser::ExtendGroupName()", false, 102,
         "group 3 has no handler yet: the registration decides"},
        {104, "bool CMultiListParser::ExtendGroupName()", true, 102,
         "asking to register again still finds the first registration"},
        {8, "void CountedPointer<T>::clr() [with T = X]", true, 8, "template arguments are stripped"},
        {9, "void CountedPointer<Y>::set()", false, 8, "the same class under other arguments"},
        {101, "int free_function(int)", true, 101, "no class: nothing to register"},
        {120, "void GroupAll::f()", false, 120, "GROUP_ALL never takes the fast path and becomes a key"},
    };
    for (const Case& c : cases) {
        CMessageHandler* handler = Fetch(c.group, c.pretty, c.registerClass);
        ASSERT_NE(handler, nullptr);
        EXPECT_EQ(CTheMsgHnd::GetLocalGroup(handler), static_cast<Group>(c.expectedGroup)) << c.why;
    }
    // Group 3 was not created by the registered lookup.
    CTheMsgHnd::CreateGroup(static_cast<Group>(3));
    EXPECT_EQ(Fetch(3, "void Z::f()")->GetErrorMessages(), nullptr)
        << "group 3 exists only through CreateGroup, which gives no error object";
}

TEST(GetAppropriateHandler, AHandlerInNoMapIgnoresGroupOperations) {
    CMessageHandler loose(CMessageHandler::GROUP_XML);
    EXPECT_EQ(CTheMsgHnd::GetLocalGroup(&loose), CMessageHandler::GROUP_LOCAL);
    std::ostringstream stream;
    loose.SetDebugLevel(CMessageHandler::DEBUG_ALL, true, CMessageHandler::GROUP_XML);
    loose.NewDebugObject(&stream, CMessageHandler::GROUP_XML);
    loose.NewStatusObject(&stream, CMessageHandler::GROUP_XML);
    loose.NewProgressObject(CMessageHandler::GROUP_XML);
    loose.NewErrorObject(CMessageHandler::GROUP_XML);
    loose.SendAllNonDebugOutputToTheConsole();
    EXPECT_FALSE(loose.IsDebugLevelEnabled(CMessageHandler::DEBUG_BASIC, CMessageHandler::GROUP_ALL));
    EXPECT_EQ(loose.GetDebugMsg(), nullptr);
    EXPECT_EQ(loose.GetStatusMsg(), nullptr);
    EXPECT_EQ(loose.GetErrorMessages(), nullptr);
    loose.DebugOutputInHandler(3, false, false, "f", "f", 1, "nothing");
    loose.NotifyStatus(CMessageHandler::STATUS_ERROR, "nothing");
    loose.NotifyProgress(50);
    // Had any of these created group 103, it would exist without an error object.
    CMessageHandler* xml = Fetch(103, "void Xml::f()");
    EXPECT_NE(xml->GetErrorMessages(), nullptr) << "group 103 was first made by this fetch";
    EXPECT_EQ(stream.str(), "");
}

TEST(CMessageHandler, DecoratedGroupNames) {
    struct Case {
        unsigned group;
        const char* expected;
    };
    const Case cases[] = {{0, "<LinkTransport>"}, {1, "<CmdLine>"},   {7, "<commstest>"}, {9, "<T32Api>"},
                          {100, "<Application>"}, {104, "<Unknown>"}, {10, "<unknown>"},  {120, "<unknown>"},
                          {121, "<unknown>"},     {4000000000u, "<unknown>"}};
    for (const Case& c : cases) {
        CMessageHandler handler(static_cast<Group>(c.group));
        EXPECT_EQ(handler.GetDecoratedGroupName(), c.expected) << c.group;
    }
    EXPECT_EQ(CMessageHandler().GetDecoratedGroupName(), "<unknown>");
    EXPECT_EQ(EF_GROUP_COUNT, 15u);
}

TEST(CMessageHandler, CreateGroupAllMakesEveryNamedGroup) {
    CTheMsgHnd::CreateGroup(CMessageHandler::GROUP_LOCAL);
    CTheMsgHnd::CreateGroup(CMessageHandler::GROUP_ALL);
    for (const EfGroupInfo& row : EF_GROUP_INFO) {
        CMessageHandler* handler = Fetch(row.group, "void Rows::f()");
        EXPECT_EQ(CTheMsgHnd::GetLocalGroup(handler), row.group) << row.elementName;
        EXPECT_EQ(handler->GetErrorMessages(), nullptr) << row.elementName << " came from CreateGroup";
    }
}

TEST(CMessageHandler, DebugLevelsFollowTheSelector) {
    CTheMsgHnd::IsDebugEngineRunning();
    CMessageHandler* h7 = Fetch(7, "void Levels::f()");
    CMessageHandler* h100 = Fetch(100, "void Levels::f()");
    std::ostringstream out;
    h7->NewDebugObject(&out, CMessageHandler::GROUP_ALL);
    EXPECT_TRUE(CTheMsgHnd::IsDebugActivated());
    EXPECT_TRUE(CTheMsgHnd::IsDebugEngineRunning());
    EXPECT_FALSE(h7->IsDebugLevelEnabled(CMessageHandler::DEBUG_BASIC, CMessageHandler::GROUP_ALL));

    h7->SetDebugLevel(CMessageHandler::DEBUG_BASIC, true, CMessageHandler::GROUP_LOCAL);
    EXPECT_TRUE(h7->IsDebugLevelEnabled(CMessageHandler::DEBUG_BASIC, CMessageHandler::GROUP_LOCAL));
    EXPECT_TRUE(h100->IsDebugLevelEnabled(CMessageHandler::DEBUG_BASIC, CMessageHandler::GROUP_COMMSTEST));
    EXPECT_FALSE(h100->IsDebugLevelEnabled(CMessageHandler::DEBUG_BASIC, CMessageHandler::GROUP_LOCAL));
    EXPECT_TRUE(h100->IsDebugLevelEnabled(CMessageHandler::DEBUG_BASIC, CMessageHandler::GROUP_ALL));

    h100->SetDebugLevel(CMessageHandler::DEBUG_ALL, true, CMessageHandler::GROUP_APPLICATION);
    EXPECT_EQ(h100->GetDebugMsg()->GetLevelMask(), ~0UL);
    EXPECT_FALSE(h100->IsDebugLevelEnabled(CMessageHandler::DEBUG_ALL, CMessageHandler::GROUP_LOCAL))
        << "level 4 is never a level of a line";

    // A new debug object keeps the old mask.
    std::ostringstream second;
    h100->NewDebugObject(&second, CMessageHandler::GROUP_LOCAL);
    EXPECT_EQ(h100->GetDebugMsg()->GetLevelMask(), ~0UL);
    EXPECT_EQ(h100->GetDebugMsg()->GetStream(), &second);
    EXPECT_EQ(h7->GetDebugMsg()->GetStream(), &out);

    h7->SetDebugLevel(CMessageHandler::DEBUG_ALL, false, CMessageHandler::GROUP_ALL);
    EXPECT_FALSE(h100->IsDebugLevelEnabled(CMessageHandler::DEBUG_PROFILING, CMessageHandler::GROUP_ALL));
    h7->NewDebugObject(nullptr, CMessageHandler::GROUP_ALL);
}

TEST(CMessageHandler, StatusAndProgressObjects) {
    CTheMsgHnd::IsDebugEngineRunning();
    CMessageHandler* h7 = Fetch(7, "void Status::f()");
    CMessageHandler* h100 = Fetch(100, "void Status::f()");
    std::ostringstream stream;

    // Only the asking handler's status queue is replaced, whatever the selector.
    // (Option processing has given every group a status queue by now.)
    const CStatusMsg* const h100Status = h100->GetStatusMsg();
    h7->NewStatusObject(&stream, CMessageHandler::GROUP_ALL);
    ASSERT_NE(h7->GetStatusMsg(), nullptr);
    EXPECT_EQ(h7->GetStatusMsg()->GetStream(), &stream);
    EXPECT_EQ(h100->GetStatusMsg(), h100Status);
    h7->NotifyStatus(CMessageHandler::STATUS_INFO, "plain notice");
    EXPECT_EQ(stream.str(), "plain notice\n");

    h7->SetStatusLevel(CMessageHandler::STATUS_INFO, false, CMessageHandler::GROUP_LOCAL);
    h7->NewStatusObject(&stream, CMessageHandler::GROUP_LOCAL);
    EXPECT_FALSE(h7->GetStatusMsg()->IsLevelEnabled(0)) << "the new queue keeps the old mask";

    h100->SendAllNonDebugOutputToTheConsole();
    for (CMessageHandler* handler : {h7, h100}) {
        EXPECT_NE(dynamic_cast<CConsoleStatusMsg*>(handler->GetStatusMsg()), nullptr);
        EXPECT_EQ(dynamic_cast<CLogFileStatusMsg*>(handler->GetStatusMsg()), nullptr);
        EXPECT_NE(dynamic_cast<CConsoleProgressMsg*>(handler->GetProgressMsg()), nullptr);
        EXPECT_NE(handler->GetErrorMessages(), nullptr);
        EXPECT_TRUE(handler->GetStatusMsg()->IsLevelEnabled(0)) << "the console queue starts with every level";
    }
    EXPECT_NE(Fetch(9, "void Status::f()")->GetStatusMsg(), nullptr) << "every named group was made";

    // Levels 0 and 4 also switch the progress object's silent mode.
    h7->SetStatusLevel(CMessageHandler::STATUS_INFO, false, CMessageHandler::GROUP_ALL);
    EXPECT_TRUE(h100->GetProgressMsg()->IsSilent());
    h7->SetStatusLevel(CMessageHandler::STATUS_WARNING, true, CMessageHandler::GROUP_ALL);
    EXPECT_TRUE(h100->GetProgressMsg()->IsSilent());
    h7->SetStatusLevel(CMessageHandler::STATUS_ALL, true, CMessageHandler::GROUP_ALL);
    EXPECT_FALSE(h100->GetProgressMsg()->IsSilent());
    EXPECT_EQ(h100->GetStatusMsg()->GetLevelMask(), ~0UL);

    h7->NewProgressObject(CMessageHandler::GROUP_LOCAL);
    EXPECT_EQ(dynamic_cast<CConsoleProgressMsg*>(h100->GetProgressMsg()), nullptr) << "every handler gets a new one";
    h100->NotifyProgress(55);
    EXPECT_EQ(h100->GetProgressMsg()->GetPercent(), 55);

    h7->SendAllNonDebugOutputToLogFile();
    EXPECT_NE(dynamic_cast<CLogFileStatusMsg*>(h100->GetStatusMsg()), nullptr);
    EXPECT_EQ(dynamic_cast<CConsoleProgressMsg*>(h100->GetProgressMsg()), nullptr) << "progress stays";

    // Notices reach only the console form, never the log file.
    eftest::TempLogFile file("ef_notify_");
    ASSERT_TRUE(file.Ok());
    std::ofstream log(file.Path(), std::ios::trunc);
    CTheMsgHnd::SetLogFileStream(&log);
    {
        eftest::StreamCapture out(std::cout);
        eftest::StreamCapture err(std::cerr);
        h100->NotifyStatus(CMessageHandler::STATUS_ERROR, "dead", "pre: ");
        EXPECT_EQ(err.Text(), std::string(78, '=') + "\npre: ERROR: dead\n" + std::string(78, '=') + "\n");
    }
    CTheMsgHnd::SetLogFileStream(nullptr);
    log.close();
    std::ifstream in(file.Path());
    std::stringstream content;
    content << in.rdbuf();
    EXPECT_EQ(content.str(), "");
}

TEST(CMessageHandler, OutputMessageHandlerWritesConsoleAndLog) {
    eftest::TempLogFile file("ef_output_");
    ASSERT_TRUE(file.Ok());
    std::ofstream log(file.Path(), std::ios::trunc);
    const std::string longText(1500, 'y');
    std::string console;
    {
        eftest::StreamCapture out(std::cout);
        CMessageHandler::OutputMessageHandler("value %d", 42);
        CTheMsgHnd::SetLogFileStream(&log);
        CMessageHandler::OutputMessageHandler("%s", longText.c_str());
        CTheMsgHnd::SetLogFileStream(nullptr);
        CMessageHandler::OutputMessageHandler(nullptr);
        console = out.Text();
    }
    log.close();
    std::ifstream in(file.Path());
    std::stringstream content;
    content << in.rdbuf();
    const std::string cut = longText.substr(0, 1023) + "\n";
    EXPECT_EQ(console, "value 42\n" + cut);
    EXPECT_EQ(content.str(), cut);
}

// After the framework has been destroyed at exit, every fetch gives the silent
// dummy handler. The check runs from an exit handler registered before the
// singleton, so it runs after the singleton's destructor.
CMessageHandler* gHandlerBeforeExit = nullptr;

void CheckAfterShutdown() {
    int failures = 0;
    if (CTheMsgHnd::GetLifeCycleState() != 2) {
        std::fprintf(stderr, "state is %u\n", CTheMsgHnd::GetLifeCycleState());
        ++failures;
    }
    CMessageHandler* handler = CTheMsgHnd::GetAppropriateHandler(CMessageHandler::GROUP_COMMSTEST, "void A::f()", true);
    CMessageHandler* again = CTheMsgHnd::GetAppropriateHandler(CMessageHandler::GROUP_UNKNOWN, "void B::f()", false);
    if (handler == nullptr || handler != again || handler == gHandlerBeforeExit) {
        std::fprintf(stderr, "not the dummy handler\n");
        ++failures;
    }
    if (handler != nullptr) {
        if (CTheMsgHnd::GetLocalGroup(handler) != CMessageHandler::GROUP_LOCAL) {
            ++failures;
        }
        std::ostringstream stream;
        handler->NewDebugObject(&stream, CMessageHandler::GROUP_ALL);
        handler->SetDebugLevel(CMessageHandler::DEBUG_ALL, true, CMessageHandler::GROUP_ALL);
        handler->DebugOutputInHandler(3, false, false, "f", "f", 1, "silent");
        handler->NotifyStatus(CMessageHandler::STATUS_ERROR, "silent");
        if (handler->SetErrorMsg(1, "x") || handler->GetDebugMsg() != nullptr || !stream.str().empty()) {
            std::fprintf(stderr, "the dummy handler is not silent\n");
            ++failures;
        }
        CDebugSentry sentry(handler, 1, "f", "void C::f()");
    }
    std::stringstream captured;
    std::streambuf* const old = std::cout.rdbuf(captured.rdbuf());
    CMessageHandler::OutputMessageHandler("must not appear");
    std::cout.rdbuf(old);
    if (!captured.str().empty()) {
        std::fprintf(stderr, "OutputMessageHandler wrote after shutdown\n");
        ++failures;
    }
    std::fprintf(stderr, failures == 0 ? "dummy after shutdown ok\n" : "dummy after shutdown FAILED\n");
    std::_Exit(failures == 0 ? 42 : 1);
}

TEST(LifeCycleDeathTest, AfterShutdownOnlyTheSilentDummy) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            std::atexit(&CheckAfterShutdown);
            gHandlerBeforeExit = CTheMsgHnd::GetAppropriateHandler(CMessageHandler::GROUP_COMMSTEST, "void A::f()", true);
            std::ostringstream stream;
            gHandlerBeforeExit->NewDebugObject(&stream, CMessageHandler::GROUP_ALL);
            gHandlerBeforeExit->NewDebugObject(nullptr, CMessageHandler::GROUP_ALL);
            std::exit(0);
        },
        testing::ExitedWithCode(42), "dummy after shutdown ok");
}

}  // namespace
