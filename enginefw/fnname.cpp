#include <string>

#include "enginefw/themsghnd.h"

std::string DetermineQualifiedFnName(const char* prettyFunction, bool stripTemplate) {
    if (prettyFunction == nullptr) {
        return std::string();
    }
    std::string name(prettyFunction);
    const size_t paren = name.find('(');
    if (paren != std::string::npos) {
        name.erase(paren);
    }
    const size_t blank = name.rfind(' ');
    if (blank != std::string::npos) {
        name.erase(0, blank + 1);
    }
    if (stripTemplate) {
        const size_t open = name.find('<');
        const size_t close = name.rfind('>');
        if (open != std::string::npos && close != std::string::npos && close > open) {
            name.erase(open, close - open + 1);
        }
    }
    return name;
}

std::string FindClassName(const std::string& qualifiedName) {
    const size_t colons = qualifiedName.find("::");
    if (colons == std::string::npos) {
        return std::string();
    }
    return qualifiedName.substr(0, colons);
}
