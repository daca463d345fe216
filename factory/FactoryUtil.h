// Free string helpers of the factory service. They deliberately avoid the C
// library's conversions: the AT grammar depends on their exact quirks.
#pragma once

// Cuts `s` at its first line end: within the first `n` characters (or up to
// the terminator, whichever comes first) every CR and LF becomes NUL.
void trim(char* s, int n);

// 0 when `c` is a decimal or hexadecimal digit of either case, 1 otherwise.
// The inverted sense is what every caller expects.
int isNumChar(char c);

// Decimal reading that also takes a-f/A-F as digits weighted by their
// distance from '0' ("1a" is 59). Leading blanks are skipped, one '-' makes
// it negative, anything else ends the number. Overflow wraps.
int str2num(const char* s);

void reverse_array(char* s, int n);

// Decimal text of `v` with a leading '-' when negative. `out` needs 12 bytes.
void num2str(int v, char* out);
