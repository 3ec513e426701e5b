// One file's attributes (ZORBasUtlStat), a file's identity (ZORBasUtlInode) and a scratch file
// that vanishes on close (ZORBasUtlUnnamedTempFile). A stat is one statx call; a file that is
// not there is an answer (Exists() false), every other failure throws the system error.
#pragma once

#include <cstdint>

#include "companions/alloc/mem_Malloc.h"
#include "companions/framework/zorbas_export.h"
#include "zorbas/cow/cow_String.h"
#include "zorbas/errors/ZORBasUtlException.h"

struct ZORBasUtlStatRecord {
    uint64_t size;
    uint64_t fileIndex;  // the inode number
    uint32_t links;
    int64_t lastAccess;  // seconds since 1970, rounded to the nearest second
    int64_t lastWrite;
    int64_t creation;  // birth time where the file system keeps one, else the status change
    bool isDirectory;
    bool isNormal;  // a regular file
};

class ZORBAS_API ZORBasUtlStat {
  public:
    explicit ZORBasUtlStat(const cow_String& path);
    explicit ZORBasUtlStat(int descriptor);
    // `handle` carries a descriptor (as the suite's handle-taking callers pass it here).
    explicit ZORBasUtlStat(void* handle);
    ZORBasUtlStat(const ZORBasUtlStat& other);
    ZORBasUtlStat& operator=(const ZORBasUtlStat&) = delete;

    bool Exists() const { return filled != nullptr; }
    bool IsDir() const { return filled && record.isDirectory; }
    bool IsNormal() const { return filled && record.isNormal; }
    // The attributes; only meaningful while Exists().
    const ZORBasUtlStatRecord& Record() const { return record; }
    // Throws the stored error (not found) when the file was not there.
    void ThrowIfFileNotFound();

  private:
    void FromDescriptor(int descriptor);
    void Fill(const struct statx& st);

    unsigned char flags;
    ZORBasUtlStatRecord record;
    const ZORBasUtlStatRecord* filled;
    cow_SystemErrorCode error;
};

// The identity of an open file: its index, as two 32-bit words. The volume is not part of it.
class ZORBAS_API ZORBasUtlInodeImpl : public mem_AllocationOperators {
  public:
    ZORBasUtlInodeImpl(unsigned high, unsigned low) : high(high), low(low) {}
    int Compare(const ZORBasUtlInodeImpl& other) const;

  private:
    unsigned high;
    unsigned low;
};

class ZORBAS_API ZORBasUtlInode {
  public:
    ZORBasUtlInode() = default;
    ~ZORBasUtlInode();
    ZORBasUtlInode(const ZORBasUtlInode&) = delete;
    ZORBasUtlInode& operator=(const ZORBasUtlInode&) = delete;
    // Releases the old identity, then reads that of `descriptor`. A negative descriptor answers
    // false with nothing new; the caller must not Compare afterwards. (The released pointer is
    // also cleared here, so that the destructor cannot free it a second time.)
    bool Set(int descriptor);
    // 0 for two empty identities; an empty one orders first; else by high, then low word.
    int Compare(const ZORBasUtlInode& other) const;

  private:
    ZORBasUtlInodeImpl* impl = nullptr;
};

class ZORBAS_API ZORBasUtlUnnamedTempFile {
  public:
    // A read-write descriptor of a new file "Sim??????" in the first of `directory`, $TMPDIR,
    // $SCRATCH, `fallback`, "."; the file has no name left once this returns. -1 on failure.
    static int Create(const char* directory, const char* fallback);
};
