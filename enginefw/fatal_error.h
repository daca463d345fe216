// The one way this layer reports a failed lock, condition or key call: such a
// failure is a programming error, so the process ends.
#pragma once

// Prints "<text>: <strerror(errnum)>" to standard error and aborts. Never
// returns. One shared function serves every unit of the threads layer.
[[noreturn]] void fatal_error(const char* text, int errnum);
