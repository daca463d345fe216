// Parses a statement that names, for each of several groups, a list of
// elements, against a vocabulary its owner supplies, as in
// "full:all-cmdline-linktransport,enhanced:application+linktransport".
//
//   statement    entry ("," entry)*           (a bare element list when no
//                                              valid groups are declared)
//   entry        group ":" element-list       (an entry without ":" is a pair
//                                              with an empty group name)
//   element-list "all" ("-" element)*  |  element ("+" element)*
//
// No whitespace anywhere. A synonym replaces a whole statement, once, before
// parsing; synonym keys are case-sensitive, group and element names and the
// "all" prefix are not. The group "enhanced" implies the group "basic". The
// resolved elements come in the order they were added to the vocabulary, not
// the order of the statement.
//
// A failed parse answers false, empties the result, and GetLastError() tells
// why in a text meant for the user. The parser stays usable. An instance
// belongs to one thread.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

class CMultiListParser {
public:
    using StringVectorType = std::vector<std::string>;
    using ResultType = std::vector<std::pair<std::string, StringVectorType>>;

    CMultiListParser();

    void AddValidGroup(const std::string& group) { mValidGroups.push_back(group); }
    void AddValidElement(const std::string& element) { mValidElements.push_back(element); }
    // False for an empty synonym or whitespace in either text; a key that
    // exists keeps its first replacement.
    bool AddSynonym(const std::string& synonym, const std::string& replacement);
    std::string GetSynonym(const std::string& statement);

    bool ParseStatement(const std::string& statement, ResultType& result);
    bool ParseElements(const std::string& list, StringVectorType& out);

    // The group and, behind "enhanced" (any case), "basic".
    StringVectorType ExtendGroupName(std::string group);
    bool IsPresentInCollection(const std::string& text, const StringVectorType& collection);
    std::string GetLastError();

private:
    std::map<std::string, std::string> mSynonyms;
    StringVectorType mValidElements;
    StringVectorType mValidGroups;
    std::string mLastError;
};
