// Who this process is: executable name and path, process identifier and parallel rank, kept in
// fixed static buffers so that a crash handler can read them without allocating or locking.
// The buffers are filled by Initialize() (or on first use of ExeName/ExePath), before threads
// start; reads afterwards are plain loads. Also the locale text conversions that end the process
// when the caller's buffer is too small.
#pragma once

#include <cstddef>

#include "companions/framework/zorbas_export.h"

class ZORBAS_API ZORBasOmniProcessInfo {
  public:
    // Process identifier, rank, both buffers cleared and the name determined again, then the
    // follower installed by SetInitializeFollower (the version layer above, which cannot be
    // called from this floor directly).
    static void Initialize();
    static void Finalize();

    // The executable's name without directory, cut at its first ".exe"; "inconnu" when the path
    // has no separator (for instance when the path cannot be read).
    static const char* ExeName();
    static const char* ExePath();
    static const int& ProcessId();
    // MPI_RANKID when set, otherwise PMI_RANK, each by atoi; 0 with neither. Read at Initialize.
    static const int& Rank();
    static int ThreadId();

    // Appends "--- <exe path> ---" and every environment string, one a line, to `file`. A null
    // name, or a file that cannot be opened, does nothing.
    static void SaveEnvironment(const char* file);

    // Kept for callers: each hands back `buffer` and writes nothing in it.
    static char* ProcessName(int pid, char* buffer, int size);
    static char* ProcessNameShort(int pid, char* buffer, int size);
    static char* ProcessNameFull(int pid, char* buffer, int size);

    // Called at the end of Initialize, after the name is known; null for none.
    static void SetInitializeFollower(void (*follower)());

    static constexpr size_t kNameSize = 256;
    static constexpr size_t kPathSize = 1024;

  private:
    static void DetermineExeName();
    static void DetermineRank();

    static char s_exeName[kNameSize];
    static char s_exePath[kPathSize];
    static int s_processId;
    static int s_rank;
    static void (*s_follower)();
};

// Wide text to locale text in `out` of `n` bytes, and back (`n` wide characters). Text that does
// not fit, or cannot be converted, prints "Buffer truncation in <function>" on standard error and
// ends the process with exit(-1): a truncated name would silently address the wrong file.
ZORBAS_API char* ZORBasOmniTchar2Char(wchar_t* in, char* out, size_t n);
ZORBAS_API wchar_t* ZORBasOmniWinString(const char* in, wchar_t* out, size_t n);
