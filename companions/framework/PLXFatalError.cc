#include "companions/framework/PLXFatalError.h"

#include <cstdio>
#include <cstdlib>

void PLXFatalError(const char* what, const char*, const char*, const char*, const char* file,
                   int line) {
    std::fprintf(stderr, "*** Error: %s, file %s, line %d\n", what ? what : "",
                 file ? file : "(unknown)", line);
    std::fflush(stderr);
    std::abort();
}

void zorbas_wassert(const char* expr, const char* file, int line) {
    std::fprintf(stderr, "Assertion failed: %s, file %s, line %d\n", expr, file, line);
    std::fflush(stderr);
    std::abort();
}
