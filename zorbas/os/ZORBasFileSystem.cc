#include "zorbas/os/ZORBasFileSystem.h"

#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "companions/coreutils/ZORBasSystemError.h"

int ZORBasFileSystem::RemoveFile(const char* name) {
    ZOROsString os(name, ZOROsString::UTF8);
    return unlink(os.ToUTF8());
}

bool ZORBasFileSystem::FileExists(const char* name) {
    ZOROsString os(name, ZOROsString::UTF8);
    struct stat st;
    return stat(os.ToUTF8(), &st) == 0;
}

const char* ZORBasFileSystem::PathSeparator() { return "\\"; }

int ZORBasFileRemove(const char* name) { return ZORBasFileSystem::RemoveFile(name); }

namespace {

// Moves the whole of `in` to `out`: in-kernel copy where the file systems allow it, sendfile
// otherwise, and a small stack buffer as the last resort (the caller may run on a signal stack).
// A method that refuses, or that reports an empty source before anything moved (copy_file_range
// does so for /proc files), hands over to the next one.
bool CopyContents(int in, int out) {
    int method = 0;  // 0 copy_file_range, 1 sendfile, 2 read and write
    bool moved = false;
    for (;;) {
        ssize_t n;
        if (method == 0) {
            n = copy_file_range(in, nullptr, out, nullptr, 1 << 30, 0);
        } else if (method == 1) {
            n = sendfile(out, in, nullptr, 1 << 30);
        } else {
            char buffer[4096];
            n = read(in, buffer, sizeof buffer);
            for (ssize_t done = 0; n > 0 && done < n;) {
                ssize_t w = write(out, buffer + done, static_cast<size_t>(n - done));
                if (w < 0 && errno == EINTR) continue;
                if (w <= 0) return false;
                done += w;
            }
        }
        bool refused =
            n < 0 && (errno == EXDEV || errno == ENOSYS || errno == EINVAL || errno == EOPNOTSUPP);
        if (method < 2 && !moved && (n == 0 || refused)) {
            ++method;
            continue;
        }
        if (n == 0) return true;
        if (n > 0) moved = true;
        if (n < 0 && errno != EINTR) return false;
    }
}

bool CopyFileOnce(const char* source, const char* target) {
    int in = open(source, O_RDONLY | O_CLOEXEC);
    if (in < 0) return false;
    struct stat from;
    if (fstat(in, &from) != 0) {
        int saved = errno;
        close(in);
        errno = saved;
        return false;
    }
    // Opened without O_TRUNC so that a copy onto the source itself can be refused intact.
    int out = open(target, O_WRONLY | O_CREAT | O_CLOEXEC, from.st_mode & 07777);
    bool ok = out >= 0;
    struct stat to;
    if (ok && fstat(out, &to) == 0 && to.st_dev == from.st_dev && to.st_ino == from.st_ino) {
        errno = EINVAL;
        ok = false;
    }
    ok = ok && ftruncate(out, 0) == 0 && CopyContents(in, out);
    int saved = errno;
    if (out >= 0 && close(out) != 0 && ok) {
        saved = errno;
        ok = false;
    }
    close(in);
    errno = saved;
    return ok;
}

}  // namespace

bool ZORBasFileSystem::CopyFile(const char* source, const char* target) {
    errno = 0;
    if (CopyFileOnce(source, target)) return true;
    if (errno == 0) return true;
    ZORBasSystemError error(errno);
    std::fprintf(stderr, "*** Error: CopyFile failed: %s\n", error.AsString());
    return false;
}

namespace ZORBasFileOps {

namespace {
// The bytes of an OS string of any type; WChar text is brought back to UTF-8 in `keep`.
const char* Bytes(const ZOROsString& name, ZORString& keep) {
    switch (name.Type()) {
        case ZOROsString::UTF8:
            return name.ToUTF8();
        case ZOROsString::Locale:
            return name.ToLocale();
        default:
            if (keep.BuildFromWChar(name.ToWChar()) != ZORStringOK)
                ZORBasOsStringConversion("UTF8").Throw(__FILE__, __LINE__);
            return keep.CStr();
    }
}
}  // namespace

FILE* Fopen(const ZOROsString& name, const char* mode) {
    ZORString keep;
    return std::fopen(Bytes(name, keep), mode);
}
FILE* Fopen(const char* name, const char* mode) {
    return Fopen(ZOROsString(name, ZOROsString::UTF8), mode);
}
FILE* Fopen(const ZORString& name, const char* mode) {
    return Fopen(ZOROsString(name, ZOROsString::UTF8), mode);
}
FILE* Fopen(const cow_String& name, const char* mode) { return Fopen(name.CStr(), mode); }

int Open(const ZOROsString& name, int flags, int mode) {
    ZORString keep;
    return open(Bytes(name, keep), flags, mode);
}
int Open(const char* name, int flags, int mode) {
    return Open(ZOROsString(name, ZOROsString::UTF8), flags, mode);
}
int Open(const ZORString& name, int flags, int mode) {
    return Open(ZOROsString(name, ZOROsString::UTF8), flags, mode);
}
int Open(const cow_String& name, int flags, int mode) { return Open(name.CStr(), flags, mode); }

int Unlink(const ZORString& name) { return unlink(ZOROsString(name, ZOROsString::UTF8).ToUTF8()); }

}  // namespace ZORBasFileOps
