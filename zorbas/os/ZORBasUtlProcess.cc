#include "zorbas/os/ZORBasUtlProcess.h"

#include <fcntl.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

int (*ZORBasUtlProcess::s_rank)() = nullptr;
int (*ZORBasUtlProcess::s_threadId)() = nullptr;

cow_String ZORBasUtlProcess::ExePath() {
    cow_String path("UNKNOWN");
    int self = open("/proc/self", O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (self < 0) {
        std::fprintf(stderr, "*** Error: OpenProcess() failed with error code %d\n", errno);
        return path;
    }
    char image[1025];
    ssize_t n = readlinkat(self, "exe", image, 1024);
    int error = errno;
    close(self);
    if (n < 0) {
        std::fprintf(stderr, "*** Error: GetProcessImage() failed with error code %d\n", error);
        return path;
    }
    return cow_String(image, static_cast<int>(n));
}

cow_String ZORBasUtlProcess::ExeName() {
    cow_String path = ExePath();
    int slash = path.RFind("/");
    return slash < 0 ? path : path.Substr(slash + 1, path.Length());
}

int ZORBasUtlProcess::ProcessID() { return static_cast<int>(getpid()); }

namespace {
// The first two numbers of the kernel release.
void KernelVersion(int& major, int& minor) {
    major = minor = 0;
    struct utsname u;
    if (uname(&u) != 0) return;
    char* end = nullptr;
    major = static_cast<int>(std::strtol(u.release, &end, 10));
    if (end && *end == '.') minor = static_cast<int>(std::strtol(end + 1, nullptr, 10));
}
}  // namespace

int ZORBasUtlProcess::OSVerMajor() {
    int major, minor;
    KernelVersion(major, minor);
    return major;
}

int ZORBasUtlProcess::OSVerMinor() {
    int major, minor;
    KernelVersion(major, minor);
    return minor;
}

int ZORBasUtlProcess::Rank() { return s_rank ? s_rank() : 0; }
int ZORBasUtlProcess::ThreadID() { return s_threadId ? s_threadId() : 0; }
void ZORBasUtlProcess::SetGetRankPointer(int (*rank)()) { s_rank = rank; }
void ZORBasUtlProcess::SetGetThreadIdPointer(int (*threadId)()) { s_threadId = threadId; }
