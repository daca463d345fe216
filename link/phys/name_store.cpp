#include "link/phys/name_store.h"

#include <cstring>

char* clone(const char* text) {
    if (text == nullptr) {
        return nullptr;
    }
    char* copy = new char[std::strlen(text) + 1];
    std::strcpy(copy, text);
    return copy;
}

wchar_t* clone(const wchar_t* text) {
    if (text == nullptr) {
        return nullptr;
    }
    wchar_t* copy = new wchar_t[std::wcslen(text) + 1];
    std::wcscpy(copy, text);
    return copy;
}

name_store& name_store::operator=(const name_store& other) {
    if (this != &other) {
        char* narrow = clone(other.mNarrow);
        wchar_t* wide = clone(other.mWide);
        delete[] mNarrow;
        delete[] mWide;
        mNarrow = narrow;
        mWide = wide;
    }
    return *this;
}

name_store::~name_store() {
    delete[] mNarrow;
    delete[] mWide;
}
