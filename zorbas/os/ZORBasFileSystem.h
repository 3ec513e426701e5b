// Whole-file operations and the name-taking forms of the C runtime's file calls. Names are UTF-8;
// on Linux the system takes them as bytes, so the forms that convert (through ZOROsString, which
// rejects text that is not UTF-8 with ZORBasOsStringConversion) end in the same byte string.
// Results follow the runtime's habit: 0 or a descriptor on success, -1 with errno set.
#pragma once

#include <cstdio>

#include "companions/coreutils/ZORString.h"
#include "companions/framework/zorbas_export.h"
#include "zorbas/cow/cow_String.h"

class ZORBAS_API ZORBasFileSystem {
  public:
    // unlink(2): 0, or -1 with errno.
    static int RemoveFile(const char* name);
    // Whether the system has attributes for the path (anything stat(2) finds: files, folders).
    static bool FileExists(const char* name);
    // Copies `source` over `target`, which is created or replaced (with the source's permission
    // bits). Takes the names as bytes and allocates nothing, so the crash layer may call it from
    // a signal handler. A failure with errno set prints "*** Error: CopyFile failed: <text>" on
    // standard error and answers false; a failure that left errno 0 answers true, as the suite
    // always has. Copying a file onto itself fails (EINVAL) without touching it.
    static bool CopyFile(const char* source, const char* target);
    // The text "\\": callers build names for the suite's other platform with it; native Linux
    // paths are built by ZORBasUtlFilePath.
    static const char* PathSeparator();
};

// Flat form of ZORBasFileSystem::RemoveFile.
ZORBAS_API int ZORBasFileRemove(const char* name);

// fopen, open and unlink for each kind of name the suite holds. A ZOROsString of any type is
// accepted; the others are converted as UTF-8.
namespace ZORBasFileOps {
ZORBAS_API FILE* Fopen(const ZORString& name, const char* mode);
ZORBAS_API FILE* Fopen(const ZOROsString& name, const char* mode);
ZORBAS_API FILE* Fopen(const cow_String& name, const char* mode);
ZORBAS_API FILE* Fopen(const char* name, const char* mode);
ZORBAS_API int Open(const ZORString& name, int flags, int mode);
ZORBAS_API int Open(const ZOROsString& name, int flags, int mode);
ZORBAS_API int Open(const cow_String& name, int flags, int mode);
ZORBAS_API int Open(const char* name, int flags, int mode);
ZORBAS_API int Unlink(const ZORString& name);
}  // namespace ZORBasFileOps
