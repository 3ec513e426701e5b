// The process's command line as an argc/argv pair in locale text, for programs whose own main
// did not keep it. All arguments live in one block from the tracked heap, each with its zero;
// mArgv[mArgc] is null. When the command line cannot be read the object is empty (0, null).
#pragma once

#include "companions/alloc/mem_Malloc.h"
#include "companions/framework/zorbas_export.h"

class ZORBAS_API ZORBasGetCommandArgs : public mem_AllocationOperators {
  public:
    // Reads /proc/self/cmdline: the arguments exactly as the process was started with them,
    // already in the bytes of the locale, so no conversion is needed on this platform.
    ZORBasGetCommandArgs();
    ~ZORBasGetCommandArgs();
    ZORBasGetCommandArgs(const ZORBasGetCommandArgs&) = delete;
    ZORBasGetCommandArgs& operator=(const ZORBasGetCommandArgs&) = delete;

    int Argc() const { return mArgc; }
    char** Argv() const { return mArgv; }

  private:
    int mArgc = 0;
    char** mArgv = nullptr;
    char* mStrings = nullptr;
};
