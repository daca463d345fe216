// A device name that is either narrow or wide, as the link's configurations
// carry it. Copies clone both strings; a null stays null.
#pragma once

#include <cwchar>

char* clone(const char* text);
wchar_t* clone(const wchar_t* text);

class name_store {
public:
    explicit name_store(const char* name) : mNarrow(clone(name)) {}
    explicit name_store(const wchar_t* name) : mWide(clone(name)) {}
    name_store(const name_store& other) : mNarrow(clone(other.mNarrow)), mWide(clone(other.mWide)) {}
    name_store& operator=(const name_store& other);
    virtual ~name_store();

    const char* getA() const { return mNarrow; }
    const wchar_t* getW() const { return mWide; }
    const char* get(const char*& name) const { return name = mNarrow; }
    const wchar_t* get(const wchar_t*& name) const { return name = mWide; }

private:
    char* mNarrow = nullptr;
    wchar_t* mWide = nullptr;
};
