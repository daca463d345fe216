// Thin "i" wrappers over the C string, character and stdio calls, in a narrow
// (A) and a wide (W) form, so that code written for both text widths reads
// the same. Each forwards to the matching C library call, with two bounded
// exceptions of ours: isprintfA/W take the buffer size and forward to
// vsnprintf/vswprintf (an unbounded sprintf has no place here), and the
// character tests and case changes of the A form take the value as an
// unsigned char (EOF passes through), as the C calls require.
//
// Narrow <-> wide text: each byte widens to the code point of the same value
// (Latin-1); a wide character above 0xFF narrows to '?'. The file-name forms
// pass their text through unchanged in the same way. inarrow of a std::string
// is a plain copy. The dup forms return malloc'd text for free(); null in gives
// null out.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <ctime>
#include <cwchar>
#include <string>

std::wstring iwiden(const std::string& text);
std::string inarrow(const std::wstring& text);
std::string inarrow(const std::string& text);
std::wstring iwiden_filename(const std::string& text);
std::string inarrow_filename(const std::wstring& text);
wchar_t* iwidendup(const char* text);
char* iinarrowdupA(const char* text);
char* iinarrowdupW(const wchar_t* text);

size_t istrlenA(const char* s);
size_t istrlenW(const wchar_t* s);
char* istrcpyA(char* d, const char* s);
wchar_t* istrcpyW(wchar_t* d, const wchar_t* s);
char* istrncpyA(char* d, const char* s, size_t n);
wchar_t* istrncpyW(wchar_t* d, const wchar_t* s, size_t n);
char* istrcatA(char* d, const char* s);
wchar_t* istrcatW(wchar_t* d, const wchar_t* s);
const char* istrchrA(const char* s, int c);
const wchar_t* istrchrW(const wchar_t* s, wint_t c);
const char* istrrchrA(const char* s, int c);
const wchar_t* istrrchrW(const wchar_t* s, wint_t c);
const char* istrstrA(const char* s, const char* n);
const wchar_t* istrstrW(const wchar_t* s, const wchar_t* n);
int istrcmpA(const char* a, const char* b);
int istrcmpW(const wchar_t* a, const wchar_t* b);
int istricmpA(const char* a, const char* b);
int istricmpW(const wchar_t* a, const wchar_t* b);
int istrncmpA(const char* a, const char* b, size_t n);
int istrncmpW(const wchar_t* a, const wchar_t* b, size_t n);
int istrnicmpA(const char* a, const char* b, size_t n);
int istrnicmpW(const wchar_t* a, const wchar_t* b, size_t n);
char* istrdupA(const char* s);
wchar_t* istrdupW(const wchar_t* s);
int iisdigitA(int c);
int iisdigitW(wint_t c);
int iisspaceA(int c);
int iisspaceW(wint_t c);
int itoupperA(int c);
wint_t itoupperW(wint_t c);
int itolowerA(int c);
wint_t itolowerW(wint_t c);
int ivprintfA(const char* f, va_list a);
int ivprintfW(const wchar_t* f, va_list a);
int ivfprintfA(FILE* o, const char* f, va_list a);
int ivfprintfW(FILE* o, const wchar_t* f, va_list a);
char* ifgetsA(char* s, int n, FILE* i);
wchar_t* ifgetsW(wchar_t* s, int n, FILE* i);
int ifputsA(const char* s, FILE* o);
int ifputsW(const wchar_t* s, FILE* o);
long istrtolA(const char* s, char** e, int b);
long istrtolW(const wchar_t* s, wchar_t** e, int b);
unsigned long istrtoulA(const char* s, char** e, int b);
unsigned long istrtoulW(const wchar_t* s, wchar_t** e, int b);
long long istrtollA(const char* s, char** e, int b);
long long istrtollW(const wchar_t* s, wchar_t** e, int b);
unsigned long long istrtoullA(const char* s, char** e, int b);
unsigned long long istrtoullW(const wchar_t* s, wchar_t** e, int b);
size_t istrftimeA(char* s, size_t n, const char* f, const struct tm* t);
size_t istrftimeW(wchar_t* s, size_t n, const wchar_t* f, const struct tm* t);
char* istrtokA(char* s, const char* delimiters);
wchar_t* istrtokW(wchar_t* s, const wchar_t* delimiters, wchar_t** state);
int iprintfA(const char* f, ...) __attribute__((format(printf, 1, 2)));
int iprintfW(const wchar_t* f, ...);
int ifprintfA(FILE* o, const char* f, ...) __attribute__((format(printf, 2, 3)));
int ifprintfW(FILE* o, const wchar_t* f, ...);
int isprintfA(char* s, size_t n, const char* f, ...) __attribute__((format(printf, 3, 4)));
int isprintfW(wchar_t* s, size_t n, const wchar_t* f, ...);
int iatoiA(const char* s);
long iatolA(const char* s);
int isystemA(const char* command);
const char* igetenvA(const char* name);
FILE* ifopenA(const char* path, const char* mode);
