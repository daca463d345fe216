#include "enginefw/fatal_error.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

void fatal_error(const char* text, int errnum) {
    // The text is printed exactly as "%s: %s"; standard error is unbuffered,
    // so nothing is lost before the abort.
    std::fprintf(stderr, "%s: %s", text != nullptr ? text : "", std::strerror(errnum));
    std::fflush(stderr);
    std::abort();
}
