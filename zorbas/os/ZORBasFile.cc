#include "zorbas/os/ZORBasFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <tuple>

namespace {

constexpr size_t kStep = 65536;

// Share modes as open-file-description locks on bytes far beyond any data: a holder takes a
// shared lock on the byte of each access it has and of each access it denies, and an opener
// asks whether anyone holds the bytes it would conflict with. The check and the claim run under
// flock on the same file, which is independent of these locks and works on a read-only
// descriptor. Only read locks are taken, so every descriptor can hold them.
constexpr off_t kLockBase = 0x7fffffffffff0000LL;
enum LockByte : off_t { kAccessRead = 0, kAccessWrite = 1, kDenyRead = 2, kDenyWrite = 3 };

bool Held(int fd, off_t byte) {
    struct flock fl = {};
    fl.l_type = F_WRLCK;
    fl.l_whence = SEEK_SET;
    fl.l_start = kLockBase + byte;
    fl.l_len = 1;
    return fcntl(fd, F_OFD_GETLK, &fl) == 0 && fl.l_type != F_UNLCK;
}

bool Hold(int fd, off_t byte) {
    struct flock fl = {};
    fl.l_type = F_RDLCK;
    fl.l_whence = SEEK_SET;
    fl.l_start = kLockBase + byte;
    fl.l_len = 1;
    return fcntl(fd, F_OFD_SETLK, &fl) == 0;
}

bool ClaimShare(int fd, bool canWrite, bool shareRead, bool shareWrite) {
    while (flock(fd, LOCK_EX) != 0)
        if (errno != EINTR) return false;
    bool conflict = Held(fd, kDenyRead) || (canWrite && Held(fd, kDenyWrite)) ||
                    (!shareRead && Held(fd, kAccessRead)) ||
                    (!shareWrite && Held(fd, kAccessWrite));
    bool ok = !conflict && Hold(fd, kAccessRead) && (!canWrite || Hold(fd, kAccessWrite)) &&
              (shareRead || Hold(fd, kDenyRead)) && (shareWrite || Hold(fd, kDenyWrite));
    int saved = conflict ? EBUSY : errno;
    flock(fd, LOCK_UN);
    errno = saved;
    return ok;
}

void CloseKeepingErrno(int fd) {
    int saved = errno;
    close(fd);
    errno = saved;
}

}  // namespace

ZORBasFile::~ZORBasFile() {
    if (m_handle != 0) Close();
}

void ZORBasFile::SetName(const char* name) { m_name = ZORString(name ? name : ""); }

int ZORBasFile::Open(const char* name, int flags, bool truncate, bool shareRead, bool shareWrite) {
    SetName(name);
    ZOROsString os(m_name, ZOROsString::UTF8);
    m_handle = 0;
    int fd = open(os.ToUTF8(), flags | O_CLOEXEC, 0666);
    if (fd == 0) {
        fd = fcntl(0, F_DUPFD_CLOEXEC, 3);
        CloseKeepingErrno(0);
    }
    if (fd < 0) return -1;
    if (!ClaimShare(fd, (flags & O_ACCMODE) != O_RDONLY, shareRead, shareWrite) ||
        (truncate && ftruncate(fd, 0) != 0)) {
        CloseKeepingErrno(fd);
        return -1;
    }
    m_handle = fd;
    return 0;
}

int ZORBasFile::OpenWrite(const char* name, Sharing sharing) {
    m_readOnly = false;
    return Open(name, O_RDWR | O_CREAT, true, true, sharing == SharingReadWrite);
}

int ZORBasFile::OpenRead(const char* name, Sharing sharing) {
    m_readOnly = true;
    return Open(name, O_RDONLY, false, true, sharing != SharingRead);
}

int ZORBasFile::OpenUpdate(const char* name, Sharing sharing) {
    m_readOnly = false;
    return Open(name, O_RDWR, false, true, sharing == SharingReadWrite);
}

// Every operation but Flush on a read-only file needs an open handle; the handle 0
// of a closed file must not reach the system, where it would be standard input.
#define ZORBAS_FILE_REQUIRE_OPEN() \
    if (m_handle == 0) {           \
        errno = EBADF;             \
        return -1;                 \
    }

int ZORBasFile::Close() {
    ZORBAS_FILE_REQUIRE_OPEN();
    if (close(m_handle) != 0 && errno != EINTR) return -1;
    m_handle = 0;
    return 0;
}

int ZORBasFile::Seek(const size_t& position) {
    ZORBAS_FILE_REQUIRE_OPEN();
    return lseek(m_handle, static_cast<off_t>(position), SEEK_SET) == -1 ? -1 : 0;
}

int ZORBasFile::Flush() {
    if (m_readOnly) return 0;
    ZORBAS_FILE_REQUIRE_OPEN();
    return fsync(m_handle) == 0 ? 0 : -1;
}

int ZORBasFile::Truncate(const size_t& size) {
    if (Seek(size) != 0) return -1;
    return ftruncate(m_handle, static_cast<off_t>(size)) == 0 ? 0 : -1;
}

int ZORBasFile::Read(void* buffer, const size_t& bytes) {
    ZORBAS_FILE_REQUIRE_OPEN();
    char* at = static_cast<char*>(buffer);
    for (size_t left = bytes; left > 0;) {
        ssize_t got = read(m_handle, at, left < kStep ? left : kStep);
        if (got < 0) {
            if (errno == EINTR) continue;
            return -1;
        }
        if (got == 0) return 0;
        at += got;
        left -= static_cast<size_t>(got);
    }
    return 0;
}

int ZORBasFile::Write(const void* buffer, const size_t& bytes) {
    if (m_readOnly) {
        errno = EBADF;
        return -1;
    }
    ZORBAS_FILE_REQUIRE_OPEN();
    // The starting point, to undo a partial write: two system calls per Write, not per step.
    const off_t start = lseek(m_handle, 0, SEEK_CUR);
    struct stat before;
    if (start < 0 || fstat(m_handle, &before) != 0) return -1;
    const char* at = static_cast<const char*>(buffer);
    for (size_t left = bytes; left > 0;) {
        ssize_t put = write(m_handle, at, left < kStep ? left : kStep);
        if (put < 0 && errno == EINTR) continue;
        if (put <= 0) {
            int saved = put == 0 ? ENOSPC : errno;
            if (at != buffer) {
                struct stat now;
                if (fstat(m_handle, &now) == 0 && now.st_size > before.st_size)
                    std::ignore = ftruncate(m_handle, before.st_size);
                lseek(m_handle, start, SEEK_SET);
            }
            errno = saved;
            return -1;
        }
        at += put;
        left -= static_cast<size_t>(put);
    }
    return 0;
}

int ZORBasFile::FileSize(size_t& size) {
    size = ~size_t(0);
    ZORBAS_FILE_REQUIRE_OPEN();
    struct stat st;
    if (fstat(m_handle, &st) != 0) return -1;
    size = static_cast<size_t>(st.st_size);
    return 0;
}

ZORBasFileID::ZORBasFileID(const ZORString& name) {
    ZOROsString os(name, ZOROsString::UTF8);
    // A probe that takes no access takes no part in share modes either.
    int fd = open(os.ToUTF8(), O_PATH | O_CLOEXEC);
    if (fd < 0) std::printf("ZORBasFileID file hand invalid\n");
    struct stat st;
    if (fstat(fd, &st) == 0) {
        m_volumeSerial = static_cast<uint32_t>(st.st_dev);
        m_indexHigh = static_cast<uint32_t>(static_cast<uint64_t>(st.st_ino) >> 32);
        m_indexLow = static_cast<uint32_t>(st.st_ino);
    }
    if (fd >= 0) close(fd);
}

bool operator<(const ZORBasFileID& a, const ZORBasFileID& b) {
    return std::tie(a.m_volumeSerial, a.m_indexHigh, a.m_indexLow) <
           std::tie(b.m_volumeSerial, b.m_indexHigh, b.m_indexLow);
}
