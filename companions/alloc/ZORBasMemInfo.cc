#include "companions/alloc/ZORBasMemInfo.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

const char* VEL_PARALLEL_DEBUG = std::getenv("VEL_PARALLEL_DEBUG");

namespace {

// Reads a small file whole into `buf` (zero-terminated); false when it cannot be read.
bool ReadFile(const char* path, char* buf, size_t cap) {
    int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    size_t at = 0;
    while (at + 1 < cap) {
        ssize_t n = read(fd, buf + at, cap - 1 - at);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        at += static_cast<size_t>(n);
    }
    close(fd);
    buf[at] = 0;
    return at > 0;
}

// The value of a "Key:   <n> kB" line, in bytes; 0 when absent.
size_t KibField(const char* path, const char* key) {
    char buf[8192];
    if (!ReadFile(path, buf, sizeof buf)) return 0;
    size_t keylen = std::strlen(key);
    for (const char* line = buf; line && *line;) {
        if (std::strncmp(line, key, keylen) == 0 && line[keylen] == ':')
            return static_cast<size_t>(std::strtoull(line + keylen + 1, nullptr, 10)) * 1024;
        line = std::strchr(line, '\n');
        if (line) ++line;
    }
    return 0;
}

// A limit file's value: "max" and values above 2^60 (v1's way of saying none) are UNLIMITED.
size_t LimitValue(const char* path) {
    char buf[64];
    if (!ReadFile(path, buf, sizeof buf)) return ZORBasMemInfo::UNLIMITED;
    if (std::strncmp(buf, "max", 3) == 0) return ZORBasMemInfo::UNLIMITED;
    char* end = nullptr;
    unsigned long long v = std::strtoull(buf, &end, 10);
    if (end == buf || v >= (1ULL << 60)) return ZORBasMemInfo::UNLIMITED;
    return static_cast<size_t>(v);
}

size_t Min(size_t a, size_t b) { return a < b ? a : b; }

// The tightest memory.max on the cgroup v2 path of this process, from its cgroup up to the root.
size_t CgroupV2Limit() {
    char cg[4096];
    if (!ReadFile("/proc/self/cgroup", cg, sizeof cg)) return ZORBasMemInfo::UNLIMITED;
    const char* line = std::strstr(cg, "0::");
    if (line != cg && !(line && line[-1] == '\n')) return ZORBasMemInfo::UNLIMITED;
    line += 3;
    char rel[2048];
    size_t n = std::strcspn(line, "\n");
    if (n >= sizeof rel) return ZORBasMemInfo::UNLIMITED;
    std::memcpy(rel, line, n);
    rel[n] = 0;
    size_t limit = ZORBasMemInfo::UNLIMITED;
    char path[4096];
    for (;;) {
        std::snprintf(path, sizeof path, "/sys/fs/cgroup%s/memory.max",
                      std::strcmp(rel, "/") == 0 ? "" : rel);
        limit = Min(limit, LimitValue(path));
        char* slash = std::strrchr(rel, '/');
        if (!slash || slash == rel) {
            if (std::strcmp(rel, "/") == 0 || rel[0] == 0) break;
            std::strcpy(rel, "/");
            continue;
        }
        *slash = 0;
    }
    return limit;
}

// cgroup v1: the memory controller's limit for this process's group when its directory is
// visible, else the limit at the root of the hierarchy (what a container sees as its own).
size_t CgroupV1Limit() {
    char cg[4096];
    char path[4096];
    if (ReadFile("/proc/self/cgroup", cg, sizeof cg)) {
        for (const char* line = cg; line && *line;) {
            const char* field = std::strchr(line, ':');
            size_t n = std::strcspn(line, "\n");
            if (field && std::strncmp(field, ":memory:", 8) == 0) {
                const char* rel = field + 8;
                int len = static_cast<int>(line + n - rel);
                std::snprintf(path, sizeof path, "/sys/fs/cgroup/memory%.*s/memory.limit_in_bytes",
                              len, rel);
                if (access(path, R_OK) == 0) return LimitValue(path);
                break;
            }
            line = line[n] ? line + n + 1 : nullptr;
        }
    }
    return LimitValue("/sys/fs/cgroup/memory/memory.limit_in_bytes");
}

}  // namespace

ZORBasMemInfo::ZORBasMemInfo() = default;
ZORBasMemInfo::~ZORBasMemInfo() = default;

size_t ZORBasMemInfo::Current() const { return KibField("/proc/self/status", "VmSize"); }
size_t ZORBasMemInfo::Resident() const { return KibField("/proc/self/status", "VmRSS"); }
size_t ZORBasMemInfo::PeakCurrent() const { return KibField("/proc/self/status", "VmPeak"); }
size_t ZORBasMemInfo::PeakResident() const { return KibField("/proc/self/status", "VmHWM"); }

size_t ZORBasMemInfo::Physical() {
    size_t total = KibField("/proc/meminfo", "MemTotal");
    if (total) return total;
    long pages = sysconf(_SC_PHYS_PAGES);
    long page = sysconf(_SC_PAGESIZE);
    return pages > 0 && page > 0 ? static_cast<size_t>(pages) * static_cast<size_t>(page) : 0;
}

size_t ZORBasMemInfo::CgroupLimit() {
    size_t v2 = CgroupV2Limit();
    if (v2 != UNLIMITED) return v2;
    return CgroupV1Limit();
}

size_t ZORBasMemInfo::Accessible() { return Min(Physical(), CgroupLimit()); }

int ZORBasMemInfo::CoreSize(size_t bytes) {
    struct rlimit lim;
    if (getrlimit(RLIMIT_CORE, &lim) != 0) return errno;
    rlim_t want = bytes == UNLIMITED ? RLIM_INFINITY : static_cast<rlim_t>(bytes);
    if (lim.rlim_max != RLIM_INFINITY && (want == RLIM_INFINITY || want > lim.rlim_max))
        want = lim.rlim_max;
    lim.rlim_cur = want;
    return setrlimit(RLIMIT_CORE, &lim) == 0 ? 0 : errno;
}
