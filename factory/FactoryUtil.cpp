#include "factory/FactoryUtil.h"

void trim(char* s, int n) {
    if (s == nullptr) return;
    for (int i = 0; i < n; ++i) {
        const char c = s[i];
        if (c == '\0') break;
        if (c == '\r' || c == '\n') s[i] = '\0';
    }
}

int isNumChar(char c) {
    if (c >= '0' && c <= '9') return 0;
    if (c >= 'a' && c <= 'f') return 0;
    if (c >= 'A' && c <= 'F') return 0;
    return 1;
}

int str2num(const char* s) {
    if (s == nullptr) return 0;
    while (*s == ' ' || *s == '\t') ++s;
    bool negative = false;
    if (*s == '-') {
        negative = true;
        ++s;
    }
    // Unsigned arithmetic: a long run of digits wraps instead of overflowing.
    unsigned int value = 0;
    while (*s != '\0' && isNumChar(*s) == 0) {
        value = value * 10u + static_cast<unsigned int>(*s - '0');
        ++s;
    }
    if (negative) value = 0u - value;
    return static_cast<int>(value);
}

void reverse_array(char* s, int n) {
    if (s == nullptr) return;
    for (int i = 0, j = n - 1; i < j; ++i, --j) {
        const char t = s[i];
        s[i] = s[j];
        s[j] = t;
    }
}

void num2str(int v, char* out) {
    if (out == nullptr) return;
    // The magnitude is taken unsigned so that INT_MIN has one too.
    unsigned int magnitude = v < 0 ? 0u - static_cast<unsigned int>(v) : static_cast<unsigned int>(v);
    int n = 0;
    do {
        out[n++] = static_cast<char>('0' + magnitude % 10u);
        magnitude /= 10u;
    } while (magnitude != 0u);
    if (v < 0) out[n++] = '-';
    out[n] = '\0';
    reverse_array(out, n);
}
