// The running process as the utility layer sees it: executable, identifier, kernel version, and
// two slots through which higher layers that know their own ranks and threads answer Rank() and
// ThreadID(). Both slots are null at load; setting them is not synchronised (do it at start).
#pragma once

#include "companions/framework/zorbas_export.h"
#include "zorbas/cow/cow_String.h"

class ZORBAS_API ZORBasUtlProcess {
  public:
    // The executable's full path, or "UNKNOWN" with "*** Error: OpenProcess() failed with error
    // code <errno>" (the process's own /proc entry cannot be opened) or "*** Error:
    // GetProcessImage() failed with error code <errno>" (its image cannot be read) on standard
    // error.
    static cow_String ExePath();
    // The last component of ExePath(), or "UNKNOWN".
    static cow_String ExeName();
    static int ProcessID();
    // The running kernel's release, "6.1.0-18-amd64" giving 6 and 1; 0 when unknown.
    static int OSVerMajor();
    static int OSVerMinor();
    // The slot's answer, or 0 without one.
    static int Rank();
    static int ThreadID();
    static void SetGetRankPointer(int (*rank)());
    static void SetGetThreadIdPointer(int (*threadId)());

  private:
    static int (*s_rank)();
    static int (*s_threadId)();
};
