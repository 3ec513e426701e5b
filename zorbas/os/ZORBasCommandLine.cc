#include "zorbas/os/ZORBasCommandLine.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstring>

#include "companions/framework/PLXFatalError.h"

namespace {

constexpr const char* kFile = "ZORBase/ZORBasUtils.m/src/ZORBasCommandLine";

// The whole of /proc/self/cmdline in a tracked block, its length in `size`; null on failure.
char* ReadCommandLine(size_t& size) {
    int fd = open("/proc/self/cmdline", O_RDONLY | O_CLOEXEC);
    if (fd < 0) return nullptr;
    size_t room = 4096;
    size = 0;
    char* text = static_cast<char*>(mem_Malloc(room));
    for (ssize_t got = 1; text && got > 0;) {
        if (size == room) {
            char* bigger = static_cast<char*>(mem_Realloc(text, room *= 2));
            if (!bigger) mem_Free(text);
            text = bigger;
            if (!text) break;
        }
        got = read(fd, text + size, room - size);
        if (got < 0) {
            mem_Free(text);
            text = nullptr;
        } else {
            size += static_cast<size_t>(got);
        }
    }
    close(fd);
    return text;
}

}  // namespace

ZORBasGetCommandArgs::ZORBasGetCommandArgs() {
    size_t size = 0;
    char* line = ReadCommandLine(size);
    if (!line) return;
    // Every argument ends in a zero; a process that rewrote its arguments may have lost the
    // last one's zero.
    int count = 0;
    for (size_t i = 0; i < size; ++i) count += line[i] == '\0';
    if (size > 0 && line[size - 1] != '\0') ++count;
    const size_t ubufLen = size + (size > 0 && line[size - 1] != '\0');

    mStrings = static_cast<char*>(mem_Malloc(ubufLen ? ubufLen : 1));
    mArgv = static_cast<char**>(mem_Malloc(sizeof(char*) * static_cast<size_t>(count + 1)));
    if (!mStrings || !mArgv) {
        mem_Free(mStrings);
        mem_Free(mArgv);
        mem_Free(line);
        mStrings = nullptr;
        mArgv = nullptr;
        return;
    }
    char* c = mStrings;
    for (size_t at = 0; at < size; ++mArgc) {
        mArgv[mArgc] = c;
        size_t len = strnlen(line + at, size - at);
        std::memcpy(c, line + at, len);
        c += len;
        *c++ = '\0';
        at += len + 1;
    }
    mArgv[mArgc] = nullptr;
    mem_Free(line);
    ZORBAS_ASSERT(c == mStrings + ubufLen, kFile, 140);
}

ZORBasGetCommandArgs::~ZORBasGetCommandArgs() {
    mem_Free(mArgv);
    mem_Free(mStrings);
}
