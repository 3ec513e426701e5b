// Thin wrappers of three process services that the crash handlers, the resource monitor and the
// paths share: a sleep that a signal does not cut short, the working directory, and the
// environment. They allocate nothing and take no lock.
#pragma once

#include <cstddef>

#include "companions/framework/zorbas_export.h"

// Sleeps for `milliseconds`; 0 or less returns at once. A signal handled during the sleep does not
// shorten it: the sleep goes on for the time that remains. Async-signal-safe, so a crash handler
// may sleep by rank to let the ranks of a parallel job print one after the other.
ZORBAS_API void ZORBasUtlsleep(int milliseconds);

// The longest working directory that ZORBasUtlgetcwd names, with its terminating zero.
inline constexpr size_t ZORBasUtlCwdBytes = 4096;

// The working directory, in a buffer of the calling thread that its next call overwrites. "" when
// the system cannot name it (the directory was removed, or its path is longer than the buffer):
// callers take the result as the root of relative paths, for which "" means the same directory.
ZORBAS_API const char* ZORBasUtlgetcwd();

// The value of the environment variable `name`, or null when it is not set; a null or empty name,
// or one with '=', is never set. The text is the environment's own, valid until the variable
// changes.
ZORBAS_API const char* ZORBasGetEnv(const char* name);
