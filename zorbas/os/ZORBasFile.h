// Unbuffered binary file access by name, and a file's identity. Every operation answers 0 or -1
// and leaves errno for the caller; nothing throws except the UTF-8 check of a name
// (ZORBasOsStringConversion). Reads and writes move at most 65536 bytes per system call.
// Share modes are kept between every ZORBasFile of the machine, in this process or another, by
// advisory locks on the open file: a conflicting open fails with errno EBUSY and changes nothing.
#pragma once

#include <cstddef>
#include <cstdint>

#include "companions/alloc/mem_Malloc.h"
#include "companions/coreutils/ZORString.h"
#include "companions/framework/zorbas_export.h"

class ZORBAS_API ZORBasFileBase : public mem_AllocationOperatorsTiny {
  public:
    // What other openers may do while this one holds the file. The open forms read the value as
    // follows: OpenWrite and OpenUpdate let others read, and also write for SharingReadWrite;
    // OpenRead lets others read and write, but only read for SharingRead.
    enum Sharing { SharingDefault = 0, SharingRead = 1, SharingReadWrite = 2 };

    virtual ~ZORBasFileBase() = default;
    virtual const ZORString FileName() const = 0;
    virtual bool IsOpen() const = 0;
    virtual bool IsReadOnly() const = 0;
    virtual int Close() = 0;
    virtual int Seek(const size_t& position) = 0;
    virtual int Flush() = 0;
    virtual int Truncate(const size_t& size) = 0;
    virtual int Read(void* buffer, const size_t& bytes) = 0;
    virtual int Write(const void* buffer, const size_t& bytes) = 0;
    virtual int FileSize(size_t& size) = 0;
};

// One open file with one position. Opening twice does not close the first handle (it stays open
// until the process ends), as callers of the suite have always relied on.
class ZORBAS_API ZORBasFile : public ZORBasFileBase {
  public:
    ZORBasFile() = default;
    ~ZORBasFile() override;
    ZORBasFile(const ZORBasFile&) = delete;
    ZORBasFile& operator=(const ZORBasFile&) = delete;

    // Read and write; creates the file or empties what is there (only once the share mode is
    // granted, so a refused open leaves the old contents).
    int OpenWrite(const char* name, Sharing sharing);
    // Read only; the file must exist.
    int OpenRead(const char* name, Sharing sharing);
    // Read and write; the file must exist and keeps its contents.
    int OpenUpdate(const char* name, Sharing sharing);

    const ZORString FileName() const override { return m_name; }
    bool IsOpen() const override { return m_handle != 0; }
    bool IsReadOnly() const override { return m_readOnly; }
    // -1 when the file is not open or the system refuses; the handle is then kept.
    int Close() override;
    // Absolute position from the start, all 64 bits.
    int Seek(const size_t& position) override;
    // Succeeds at once on a read-only file; otherwise the data reach the device (fsync).
    int Flush() override;
    // Seeks to `size` and ends the file there.
    int Truncate(const size_t& size) override;
    // Reads until `bytes` came or the file ended. The end of the file is not an error: the call
    // answers 0 and the rest of the buffer stays as it was, so a caller that must know the
    // count compares positions.
    int Read(void* buffer, const size_t& bytes) override;
    // -1 at once on a read-only file, and on a failure or a write that moves nothing (a full
    // disk, the process's file size limit). A failed Write cuts back what it added and returns
    // to its starting position, so the file is as before the call; bytes it overwrote inside
    // the old size stay overwritten.
    int Write(const void* buffer, const size_t& bytes) override;
    // All ones in `size` on failure.
    int FileSize(size_t& size) override;

  private:
    void SetName(const char* name);
    int Open(const char* name, int flags, bool truncate, bool shareRead, bool shareWrite);

    ZORString m_name;
    int m_handle = 0;  // a descriptor, 0 when closed (a descriptor 0 is moved higher)
    bool m_readOnly = true;
};

// The identity of a file: the volume and the file's index on it, here the low 32 bits of the
// device number and the two halves of the inode number. Ordered by volume, then index, so it
// can key a map of files however they were named.
class ZORBAS_API ZORBasFileID {
  public:
    // A file that cannot be opened prints "ZORBasFileID file hand invalid" on standard output and
    // leaves the fields 0.
    explicit ZORBasFileID(const ZORString& name);
    ~ZORBasFileID() = default;

    uint32_t VolumeSerial() const { return m_volumeSerial; }
    uint32_t IndexHigh() const { return m_indexHigh; }
    uint32_t IndexLow() const { return m_indexLow; }

  private:
    friend ZORBAS_API bool operator<(const ZORBasFileID& a, const ZORBasFileID& b);
    uint32_t m_volumeSerial = 0;
    uint32_t m_indexHigh = 0;
    uint32_t m_indexLow = 0;
};

ZORBAS_API bool operator<(const ZORBasFileID& a, const ZORBasFileID& b);
