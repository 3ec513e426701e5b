// For tests whose checks run in a child process (death tests, forks): a failed check ends the child
// with exit status 1 and the condition, file and line on standard error, which the parent's
// EXPECT_EXIT shows; so a child that fails says which condition it was, not only that it failed.
#pragma once

#include <cstdio>
#include <cstdlib>

#define ZORBAS_CHILD_CHECK(condition)                                                      \
    do {                                                                                   \
        if (!(condition)) {                                                                \
            std::fprintf(stderr, "child check failed: %s (%s:%d)\n", #condition, __FILE__, \
                         __LINE__);                                                        \
            std::fflush(stderr);                                                           \
            std::_Exit(1);                                                                 \
        }                                                                                  \
    } while (0)
