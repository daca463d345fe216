#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "enginefw/multilistparser.h"

namespace {

// "group=[e1 e2];group=[...]", so that a whole result compares in one line.
std::string Render(const CMultiListParser::ResultType& result) {
    std::string text;
    for (const auto& pair : result) {
        if (!text.empty()) text += ";";
        text += pair.first + "=[";
        for (size_t i = 0; i < pair.second.size(); ++i) {
            text += (i == 0 ? "" : " ") + pair.second[i];
        }
        text += "]";
    }
    return text;
}

struct Case {
    const char* statement;
    bool ok;
    const char* expected;  // rendered result on success, error text on failure
};

void RunCases(CMultiListParser& parser, const std::vector<Case>& cases) {
    for (const Case& c : cases) {
        CMultiListParser::ResultType result{{"stale", {"stale"}}};
        const bool ok = parser.ParseStatement(c.statement, result);
        EXPECT_EQ(ok, c.ok) << "statement: \"" << c.statement << "\"";
        if (c.ok) {
            EXPECT_EQ(Render(result), c.expected) << "statement: \"" << c.statement << "\"";
            EXPECT_EQ(parser.GetLastError(), "") << "statement: \"" << c.statement << "\"";
        } else {
            EXPECT_EQ(parser.GetLastError(), c.expected) << "statement: \"" << c.statement << "\"";
            EXPECT_TRUE(result.empty()) << "statement: \"" << c.statement << "\"";
        }
    }
}

class ParserWithGroups : public ::testing::Test {
protected:
    void SetUp() override {
        for (const char* group : {"none", "basic", "enhanced", "full"}) parser.AddValidGroup(group);
        for (const char* element : {"x", "y", "commstest", "CmdLine"}) parser.AddValidElement(element);
    }
    CMultiListParser parser;
};

TEST_F(ParserWithGroups, GrammarAndErrorTexts) {
    RunCases(parser, {
        {"basic:all", true, "basic=[x y commstest CmdLine]"},
        {"basic:ALL", true, "basic=[x y commstest CmdLine]"},
        {"basic:all-x", true, "basic=[y commstest CmdLine]"},
        {"basic:allx", true, "basic=[y commstest CmdLine]"},
        {"basic:all-x-cmdline", true, "basic=[y commstest]"},
        {"basic:all-", true, "basic=[x y commstest CmdLine]"},
        {"basic:cmdline+X", true, "basic=[x CmdLine]"},
        {"basic:", true, "basic=[]"},
        {"BASIC:y", true, "BASIC=[y]"},
        {"enhanced:x", true, "enhanced=[x];basic=[x]"},
        {"Enhanced:x", true, "Enhanced=[x];basic=[x]"},
        {",basic:all", true, "=[];basic=[x y commstest CmdLine]"},
        {"basic:all,", true, "basic=[x y commstest CmdLine]"},
        {"commstest", true, "=[commstest]"},
        {"full:x,none:y", true, "full=[x];none=[y]"},
        {"", true, ""},
        {"basic:all+x", false, "Invalid delimeter '+' encountered."},
        {"basic:x+y-commstest", false, "Invalid delimeter '-' encountered."},
        {"basic:x-y", false, "Invalid delimeter '-' encountered."},
        {"basic:w", false, "The text 'w' is invalid."},
        {"basic:x++y", false, "The text '' is invalid."},
        {"basic:alla", false, "The text 'a' is invalid."},
        {":all", false, "Group identifier before ':' empty."},
        {"bogus:all", false, "Group identifier 'bogus' found but invalid."},
        {"basic :x", false, "Whitespace found."},
        {"basic:x\t", false, "Whitespace found."},
        {"basic:x\r", false, "Whitespace found."},
        {"\vbasic:x", false, "Whitespace found."},
        // A later group error overwrites an element error ...
        {"basic:w,Bogus:all", false, "Group identifier 'Bogus' found but invalid."},
        // ... but once an error stands, later element lists are not looked at.
        {"basic:w,full:z", false, "The text 'w' is invalid."},
    });
}

TEST_F(ParserWithGroups, SynonymsReplaceTheWholeStatementOnce) {
    EXPECT_TRUE(parser.AddSynonym("std", "basic:all,none:cmdline"));
    EXPECT_TRUE(parser.AddSynonym("loop", "std"));
    EXPECT_TRUE(parser.AddSynonym("std", "full:all")) << "accepted, but the first replacement stays";
    RunCases(parser, {
        {"std", true, "basic=[x y commstest CmdLine];none=[CmdLine]"},
        {"loop", false, "The text 'std' is invalid."},
        {"STD", false, "The text 'STD' is invalid."},
        {"std,", false, "The text 'std' is invalid."},
    });
}

TEST(MultiListParser, AddSynonymRefusesEmptyAndWhitespace) {
    CMultiListParser parser;
    struct SynonymCase {
        const char* synonym;
        const char* replacement;
        bool accepted;
    };
    const SynonymCase cases[] = {
        {"", "x", false},      {"a b", "x", false}, {"a", "x y", false}, {"a\n", "x", false},
        {"a", "x\f", false},   {"a", "", true},     {"b", "basic:all", true},
    };
    for (const SynonymCase& c : cases) {
        EXPECT_EQ(parser.AddSynonym(c.synonym, c.replacement), c.accepted) << c.synonym << " -> " << c.replacement;
    }
    EXPECT_EQ(parser.GetSynonym("a"), "");
    EXPECT_EQ(parser.GetSynonym("b"), "basic:all");
    EXPECT_EQ(parser.GetSynonym("B"), "B");
    EXPECT_EQ(parser.GetSynonym("a b"), "a b");
}

TEST(MultiListParser, WithoutGroupsAStatementIsOneElementList) {
    CMultiListParser parser;
    for (const char* element : {"x", "y", "z"}) parser.AddValidElement(element);
    RunCases(parser, {
        {"z+x", true, "=[x z]"},
        {"all", true, "=[x y z]"},
        {"all-y", true, "=[x z]"},
        {"", true, ""},
        {"basic:x", false, "Invalid character(s) ':' or ',' found."},
        {"x,y", false, "Invalid character(s) ':' or ',' found."},
        {"x y", false, "Whitespace found."},
        {"q", false, "The text 'q' is invalid."},
    });
}

TEST(MultiListParser, StaysUsableAfterAFailure) {
    CMultiListParser parser;
    parser.AddValidElement("x");
    CMultiListParser::ResultType result;
    EXPECT_FALSE(parser.ParseStatement("q", result));
    EXPECT_EQ(parser.GetLastError(), "The text 'q' is invalid.");
    EXPECT_TRUE(parser.ParseStatement("x", result));
    EXPECT_EQ(parser.GetLastError(), "");
    EXPECT_EQ(Render(result), "=[x]");
}

TEST(MultiListParser, ElementsAndHelpers) {
    CMultiListParser parser;
    for (const char* element : {"Alpha", "Beta"}) parser.AddValidElement(element);
    CMultiListParser::StringVectorType out{"stale"};
    EXPECT_TRUE(parser.ParseElements("beta+ALPHA", out));
    EXPECT_EQ(out, (CMultiListParser::StringVectorType{"Alpha", "Beta"}));
    EXPECT_FALSE(parser.ParseElements("gamma", out));
    EXPECT_EQ(parser.GetLastError(), "The text 'gamma' is invalid.");
    EXPECT_FALSE(parser.ParseElements("alpha", out)) << "an error that stands stops ParseElements";
    EXPECT_TRUE(out.empty());

    EXPECT_EQ(parser.ExtendGroupName("ENHANCED"), (CMultiListParser::StringVectorType{"ENHANCED", "basic"}));
    EXPECT_EQ(parser.ExtendGroupName("basic"), (CMultiListParser::StringVectorType{"basic"}));
    EXPECT_EQ(parser.ExtendGroupName("enhanced2"), (CMultiListParser::StringVectorType{"enhanced2"}));
    EXPECT_TRUE(parser.IsPresentInCollection("aLpHa", {"x", "Alpha"}));
    EXPECT_FALSE(parser.IsPresentInCollection("Alph", {"x", "Alpha"}));
    EXPECT_FALSE(parser.IsPresentInCollection("", {}));
}

}  // namespace
