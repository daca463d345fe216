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

// Value of a hexadecimal digit of either case; 0 for anything else.
int hex2num(char c);

// Reads up to `n` hexadecimal digits, stopping at NUL or at the first
// character isNumChar rejects. Each digit shifts the value four bits left.
int hexstr2num(char* s, int n);

// Index of the first occurrence of `needle` in `text`, or -1; -1 also when
// either is empty or `needle` is longer than `text`.
int findString(const char* text, const char* needle);

// Ends every process whose name (the last column of `ps`) equals `name`,
// with `kill`. -1 when `ps` could not be run, else 0.
int KillProcess(const char* name);

// The pid that KillProcess ends for one row of `ps` below the header: the
// second column, when the row has all nine columns, the pid is above 0 and
// fits an int, and the last column equals `name`; 0 otherwise.
int PsRowPid(const char* row, const char* name);

// Runs `command` and copies each line of its output to the log. -1 when the
// command could not be started, else 0. Nothing calls it at present.
int _RunShellCmd(const char* command);
