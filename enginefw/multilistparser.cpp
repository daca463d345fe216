#include "enginefw/multilistparser.h"

#include <strings.h>

#include "enginefw/msghandler.h"
#include "enginefw/stringutil.h"

namespace {
constexpr const char* kFile = "multilistparser";

// The sentries trace under "Unknown"; once the class is registered the
// framework sends them to "Utility".
CMessageHandler* Handler(const char* pretty) {
    return CTheMsgHnd::GetAppropriateHandler(CMessageHandler::GROUP_UNKNOWN, pretty, false);
}

bool HasWhitespace(const std::string& text) {
    for (const char c : text) {
        if (stringutil::IsWhitespace(c)) return true;
    }
    return false;
}

bool EqualNoCase(const std::string& a, const std::string& b) {
    return a.size() == b.size() && strncasecmp(a.c_str(), b.c_str(), a.size()) == 0;
}
}  // namespace

CMultiListParser::CMultiListParser() {
    // Registers the class under "Utility" and traces through that handler.
    CDebugSentry sentry(CTheMsgHnd::GetAppropriateHandler(CMessageHandler::GROUP_UTILITY, __PRETTY_FUNCTION__, true),
                        __LINE__, kFile, __PRETTY_FUNCTION__);
}

bool CMultiListParser::AddSynonym(const std::string& synonym, const std::string& replacement) {
    if (synonym.empty() || HasWhitespace(synonym) || HasWhitespace(replacement)) {
        return false;
    }
    mSynonyms.emplace(synonym, replacement);
    return true;
}

std::string CMultiListParser::GetSynonym(const std::string& statement) {
    CDebugSentry sentry(Handler(__PRETTY_FUNCTION__), __LINE__, kFile, __PRETTY_FUNCTION__);
    const auto found = mSynonyms.find(statement);
    return found != mSynonyms.end() ? found->second : statement;
}

bool CMultiListParser::ParseStatement(const std::string& statementIn, ResultType& result) {
    bool ok = false;
    CDebugSentryWithReturn<bool> sentry(Handler(__PRETTY_FUNCTION__), __LINE__, kFile, __PRETTY_FUNCTION__, &ok);
    mLastError.clear();
    result.clear();
    std::string statement = GetSynonym(statementIn);

    if (HasWhitespace(statement)) {
        mLastError = "Whitespace found.";
    } else if (mValidGroups.empty()) {
        if (statement.find_first_of(":,") != std::string::npos) {
            mLastError = "Invalid character(s) ':' or ',' found.";
        } else if (!statement.empty()) {
            result.emplace_back(std::string(), StringVectorType());
            ParseElements(statement, result.back().second);
        }
    } else {
        while (!statement.empty()) {
            std::string entry;
            const size_t comma = statement.find(',');
            if (comma == std::string::npos) {
                entry = statement;
                statement.clear();
            } else {
                entry = statement.substr(0, comma);
                statement.erase(0, comma + 1);
            }
            std::string group;
            std::string elements = entry;
            const size_t colon = entry.find(':');
            if (colon != std::string::npos) {
                group = entry.substr(0, colon);
                elements = entry.substr(colon + 1);
                if (group.empty()) {
                    mLastError = "Group identifier before ':' empty.";
                } else if (!IsPresentInCollection(group, mValidGroups)) {
                    mLastError = "Group identifier '" + group + "' found but invalid.";
                }
            }
            if (mLastError.empty()) {
                for (const std::string& name : ExtendGroupName(group)) {
                    result.emplace_back(name, StringVectorType());
                    ParseElements(elements, result.back().second);
                }
            }
        }
    }
    ok = mLastError.empty();
    if (!ok) {
        result.clear();
    }
    return ok;
}

bool CMultiListParser::ParseElements(const std::string& list, StringVectorType& out) {
    bool ok = false;
    CDebugSentryWithReturn<bool> sentry(Handler(__PRETTY_FUNCTION__), __LINE__, kFile, __PRETTY_FUNCTION__, &ok);
    out.clear();
    std::string text = list;
    char separator = '+';
    char other = '-';
    bool all = false;
    bool nothingAfterAll = false;
    if (text.size() >= 3 && strncasecmp(text.c_str(), "all", 3) == 0) {
        all = true;
        separator = '-';
        other = '+';
        text.erase(0, 3);
        nothingAfterAll = text.empty();
        if (!text.empty() && text[0] == separator) {
            text.erase(0, 1);
        }
    }
    if (!mLastError.empty()) {
        return ok;
    }
    if (text.find(other) != std::string::npos) {
        mLastError = std::string("Invalid delimeter '") + other + "' encountered.";
    }
    StringVectorType named;
    while (mLastError.empty() && !text.empty()) {
        const size_t cut = text.find(separator);
        std::string piece;
        if (cut == std::string::npos) {
            piece = text;
            text.clear();
        } else {
            piece = text.substr(0, cut);
            text.erase(0, cut + 1);
        }
        named.push_back(piece);
        if (!IsPresentInCollection(piece, mValidElements)) {
            mLastError = "The text '" + piece + "' is invalid.";
        }
    }
    if (!mLastError.empty()) {
        return ok;
    }
    // With "all" every element not named; otherwise every element named.
    const bool complement = (all && nothingAfterAll) || separator == '-';
    for (const std::string& element : mValidElements) {
        if (IsPresentInCollection(element, named) != complement) {
            out.push_back(element);
        }
    }
    ok = true;
    return ok;
}

CMultiListParser::StringVectorType CMultiListParser::ExtendGroupName(std::string group) {
    CDebugSentry sentry(Handler(__PRETTY_FUNCTION__), __LINE__, kFile, __PRETTY_FUNCTION__);
    StringVectorType names{group};
    if (EqualNoCase(group, "enhanced")) {
        names.emplace_back("basic");
    }
    return names;
}

bool CMultiListParser::IsPresentInCollection(const std::string& text, const StringVectorType& collection) {
    bool found = false;
    CDebugSentryWithReturn<bool> sentry(Handler(__PRETTY_FUNCTION__), __LINE__, kFile, __PRETTY_FUNCTION__, &found);
    for (const std::string& entry : collection) {
        if (EqualNoCase(text, entry)) {
            found = true;
            break;
        }
    }
    return found;
}

std::string CMultiListParser::GetLastError() {
    CDebugSentry sentry(Handler(__PRETTY_FUNCTION__), __LINE__, kFile, __PRETTY_FUNCTION__);
    return mLastError;
}
