// The check of the harness's test functions. UTS_ASSERT(expr) counts one check on the test's
// monitor; when expr is false it counts a failure and prints "<file> (<line>) : assertion failed
// : <expr>" (and, with the verbose monitor, the evaluated expression). It never throws, so a test
// function goes on after a failed check. Use it inside a member function of a uts_UnitTest.
#pragma once

#include "zorbas/testcore/uts_UnitTest.h"

inline bool uts_Check(uts_UnitTestMonitor* monitor, bool ok, const char* file, int line,
                      const char* text) {
    monitor->incrementUnitAssertCount();
    if (!ok) {
        monitor->incrementUnitAssertFailureCount();
        monitor->errorPrint(file, line, text);
        monitor->exprPrint(file, line, text);
    }
    return ok;
}

#define UTS_ASSERT(expr) \
    uts_Check(this->getUnitTestMonitor(), static_cast<bool>(expr), __FILE__, __LINE__, #expr)
