#include "enginefw/stringwrappers.h"

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <strings.h>

std::wstring iwiden(const std::string& text) {
    std::wstring out;
    out.reserve(text.size());
    for (const char c : text) out += static_cast<wchar_t>(static_cast<unsigned char>(c));
    return out;
}

std::string inarrow(const std::wstring& text) {
    std::string out;
    out.reserve(text.size());
    for (const wchar_t c : text) {
        out += (c >= 0 && c <= 0xFF) ? static_cast<char>(static_cast<unsigned char>(c)) : '?';
    }
    return out;
}

std::string inarrow(const std::string& text) { return text; }
std::wstring iwiden_filename(const std::string& text) { return iwiden(text); }
std::string inarrow_filename(const std::wstring& text) { return inarrow(text); }

wchar_t* iwidendup(const char* text) {
    if (text == nullptr) return nullptr;
    const std::wstring wide = iwiden(text);
    return wcsdup(wide.c_str());
}

char* iinarrowdupA(const char* text) { return text != nullptr ? strdup(text) : nullptr; }

char* iinarrowdupW(const wchar_t* text) {
    if (text == nullptr) return nullptr;
    return strdup(inarrow(std::wstring(text)).c_str());
}

namespace {
int CharArg(int c) { return c == EOF ? EOF : static_cast<unsigned char>(c); }
}  // namespace

size_t istrlenA(const char* s) { return strlen(s); }
size_t istrlenW(const wchar_t* s) { return wcslen(s); }
char* istrcpyA(char* d, const char* s) { return strcpy(d, s); }
wchar_t* istrcpyW(wchar_t* d, const wchar_t* s) { return wcscpy(d, s); }
char* istrncpyA(char* d, const char* s, size_t n) { return strncpy(d, s, n); }
wchar_t* istrncpyW(wchar_t* d, const wchar_t* s, size_t n) { return wcsncpy(d, s, n); }
char* istrcatA(char* d, const char* s) { return strcat(d, s); }
wchar_t* istrcatW(wchar_t* d, const wchar_t* s) { return wcscat(d, s); }
const char* istrchrA(const char* s, int c) { return strchr(s, c); }
const wchar_t* istrchrW(const wchar_t* s, wint_t c) { return wcschr(s, c); }
const char* istrrchrA(const char* s, int c) { return strrchr(s, c); }
const wchar_t* istrrchrW(const wchar_t* s, wint_t c) { return wcsrchr(s, c); }
const char* istrstrA(const char* s, const char* n) { return strstr(s, n); }
const wchar_t* istrstrW(const wchar_t* s, const wchar_t* n) { return wcsstr(s, n); }
int istrcmpA(const char* a, const char* b) { return strcmp(a, b); }
int istrcmpW(const wchar_t* a, const wchar_t* b) { return wcscmp(a, b); }
int istricmpA(const char* a, const char* b) { return strcasecmp(a, b); }
int istricmpW(const wchar_t* a, const wchar_t* b) { return wcscasecmp(a, b); }
int istrncmpA(const char* a, const char* b, size_t n) { return strncmp(a, b, n); }
int istrncmpW(const wchar_t* a, const wchar_t* b, size_t n) { return wcsncmp(a, b, n); }
int istrnicmpA(const char* a, const char* b, size_t n) { return strncasecmp(a, b, n); }
int istrnicmpW(const wchar_t* a, const wchar_t* b, size_t n) { return wcsncasecmp(a, b, n); }
char* istrdupA(const char* s) { return strdup(s); }
wchar_t* istrdupW(const wchar_t* s) { return wcsdup(s); }
int iisdigitA(int c) { return std::isdigit(CharArg(c)); }
int iisdigitW(wint_t c) { return std::iswdigit(c); }
int iisspaceA(int c) { return std::isspace(CharArg(c)); }
int iisspaceW(wint_t c) { return std::iswspace(c); }
int itoupperA(int c) { return std::toupper(CharArg(c)); }
wint_t itoupperW(wint_t c) { return std::towupper(c); }
int itolowerA(int c) { return std::tolower(CharArg(c)); }
wint_t itolowerW(wint_t c) { return std::towlower(c); }
int ivprintfA(const char* f, va_list a) { return std::vprintf(f, a); }
int ivprintfW(const wchar_t* f, va_list a) { return std::vwprintf(f, a); }
int ivfprintfA(FILE* o, const char* f, va_list a) { return std::vfprintf(o, f, a); }
int ivfprintfW(FILE* o, const wchar_t* f, va_list a) { return std::vfwprintf(o, f, a); }
char* ifgetsA(char* s, int n, FILE* i) { return std::fgets(s, n, i); }
wchar_t* ifgetsW(wchar_t* s, int n, FILE* i) { return std::fgetws(s, n, i); }
int ifputsA(const char* s, FILE* o) { return std::fputs(s, o); }
int ifputsW(const wchar_t* s, FILE* o) { return std::fputws(s, o); }
long istrtolA(const char* s, char** e, int b) { return std::strtol(s, e, b); }
long istrtolW(const wchar_t* s, wchar_t** e, int b) { return std::wcstol(s, e, b); }
unsigned long istrtoulA(const char* s, char** e, int b) { return std::strtoul(s, e, b); }
unsigned long istrtoulW(const wchar_t* s, wchar_t** e, int b) { return std::wcstoul(s, e, b); }
long long istrtollA(const char* s, char** e, int b) { return std::strtoll(s, e, b); }
long long istrtollW(const wchar_t* s, wchar_t** e, int b) { return std::wcstoll(s, e, b); }
unsigned long long istrtoullA(const char* s, char** e, int b) { return std::strtoull(s, e, b); }
unsigned long long istrtoullW(const wchar_t* s, wchar_t** e, int b) { return std::wcstoull(s, e, b); }
size_t istrftimeA(char* s, size_t n, const char* f, const struct tm* t) { return std::strftime(s, n, f, t); }
size_t istrftimeW(wchar_t* s, size_t n, const wchar_t* f, const struct tm* t) { return std::wcsftime(s, n, f, t); }
char* istrtokA(char* s, const char* delimiters) { return std::strtok(s, delimiters); }
wchar_t* istrtokW(wchar_t* s, const wchar_t* delimiters, wchar_t** state) { return std::wcstok(s, delimiters, state); }
int iprintfA(const char* f, ...) {
    va_list a;
    va_start(a, f);
    const int r = std::vprintf(f, a);
    va_end(a);
    return r;
}
int iprintfW(const wchar_t* f, ...) {
    va_list a;
    va_start(a, f);
    const int r = std::vwprintf(f, a);
    va_end(a);
    return r;
}
int ifprintfA(FILE* o, const char* f, ...) {
    va_list a;
    va_start(a, f);
    const int r = std::vfprintf(o, f, a);
    va_end(a);
    return r;
}
int ifprintfW(FILE* o, const wchar_t* f, ...) {
    va_list a;
    va_start(a, f);
    const int r = std::vfwprintf(o, f, a);
    va_end(a);
    return r;
}
int isprintfA(char* s, size_t n, const char* f, ...) {
    va_list a;
    va_start(a, f);
    const int r = std::vsnprintf(s, n, f, a);
    va_end(a);
    return r;
}
int isprintfW(wchar_t* s, size_t n, const wchar_t* f, ...) {
    va_list a;
    va_start(a, f);
    const int r = std::vswprintf(s, n, f, a);
    va_end(a);
    return r;
}
int iatoiA(const char* s) { return std::atoi(s); }
long iatolA(const char* s) { return std::atol(s); }
int isystemA(const char* command) { return std::system(command); }
const char* igetenvA(const char* name) { return std::getenv(name); }
FILE* ifopenA(const char* path, const char* mode) { return std::fopen(path, mode); }
