#include "zorbas/os/ZORBasUtlStat.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

int64_t Seconds(const struct statx_timestamp& t) {
    return static_cast<int64_t>(static_cast<double>(t.tv_sec) + t.tv_nsec / 1e9 + 0.5);
}

[[noreturn]] void ThrowSystemError(int code) {
    errno = code;
    ZORBasUtlExceptionModel::throwSystemErrorException(cow_SystemErrorCode(ErrorCodeSystem));
}

}  // namespace

ZORBasUtlStat::ZORBasUtlStat(const cow_String& path)
    : flags(0), record(), filled(nullptr), error(omi_SystemErrorCode(0, 0)) {
    struct statx st;
    if (::statx(AT_FDCWD, path.CStr(), 0, STATX_BASIC_STATS | STATX_BTIME, &st) != 0) {
        error = cow_SystemErrorCode(ErrorCodeSystem);
        if (error.SystemCode() != ENOENT) ZORBasUtlExceptionModel::throwSystemErrorException(error);
        return;
    }
    Fill(st);
}

ZORBasUtlStat::ZORBasUtlStat(int descriptor)
    : flags(0), record(), filled(nullptr), error(omi_SystemErrorCode(0, 0)) {
    FromDescriptor(descriptor);
}

ZORBasUtlStat::ZORBasUtlStat(void* handle)
    : flags(0), record(), filled(nullptr), error(omi_SystemErrorCode(0, 0)) {
    FromDescriptor(static_cast<int>(reinterpret_cast<intptr_t>(handle)));
}

ZORBasUtlStat::ZORBasUtlStat(const ZORBasUtlStat& other)
    : flags(0),
      record(other.record),
      filled(other.filled ? &record : nullptr),
      error(other.error) {}

void ZORBasUtlStat::FromDescriptor(int descriptor) {
    if (descriptor < 0) ThrowSystemError(EBADF);
    struct statx st;
    if (::statx(descriptor, "", AT_EMPTY_PATH, STATX_BASIC_STATS | STATX_BTIME, &st) != 0) {
        error = cow_SystemErrorCode(ErrorCodeSystem);
        ZORBasUtlExceptionModel::throwSystemErrorException(error);
    }
    Fill(st);
}

void ZORBasUtlStat::Fill(const struct statx& st) {
    record.size = st.stx_size;
    record.fileIndex = st.stx_ino;
    record.links = st.stx_nlink;
    record.lastAccess = Seconds(st.stx_atime);
    record.lastWrite = Seconds(st.stx_mtime);
    record.creation = Seconds((st.stx_mask & STATX_BTIME) ? st.stx_btime : st.stx_ctime);
    record.isDirectory = S_ISDIR(st.stx_mode);
    record.isNormal = S_ISREG(st.stx_mode);
    filled = &record;
}

void ZORBasUtlStat::ThrowIfFileNotFound() {
    if (!Exists()) ZORBasUtlExceptionModel::throwSystemErrorException(error);
}

int ZORBasUtlInodeImpl::Compare(const ZORBasUtlInodeImpl& other) const {
    if (high != other.high) return high < other.high ? -1 : 1;
    if (low != other.low) return low < other.low ? -1 : 1;
    return 0;
}

ZORBasUtlInode::~ZORBasUtlInode() { delete impl; }

bool ZORBasUtlInode::Set(int descriptor) {
    delete impl;
    impl = nullptr;
    if (descriptor < 0) return false;
    ZORBasUtlStat st(descriptor);
    const uint64_t index = st.Record().fileIndex;
    impl = new ZORBasUtlInodeImpl(static_cast<unsigned>(index >> 32),
                                  static_cast<unsigned>(index & 0xffffffffu));
    return true;
}

int ZORBasUtlInode::Compare(const ZORBasUtlInode& other) const {
    if (!impl) return other.impl ? -1 : 0;
    if (!other.impl) return 1;
    return impl->Compare(*other.impl);
}

int ZORBasUtlUnnamedTempFile::Create(const char* directory, const char* fallback) {
    const char* dir = directory;
    if (!dir) dir = std::getenv("TMPDIR");
    if (!dir) dir = std::getenv("SCRATCH");
    if (!dir) dir = fallback;
    if (!dir) dir = ".";
    cow_String name(dir);
    name += "/SimXXXXXX";
    int fd = ::mkostemp(&name[0], O_CLOEXEC);
    if (fd < 0) return -1;
    ::unlink(name.CStr());
    return fd;
}
