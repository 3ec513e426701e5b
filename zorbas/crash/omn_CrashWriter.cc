#include "zorbas/crash/detail/omn_CrashWriter.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace omn_detail {

namespace {
char g_format[16 * 1024];
}

int FdWrite(int fd, const char* text, size_t length) {
    size_t done = 0;
    while (done < length) {
        ssize_t w = ::write(fd, text + done, length - done);
        if (w < 0 && errno == EINTR) continue;
        if (w <= 0) return -1;
        done += static_cast<size_t>(w);
    }
    return static_cast<int>(done);
}

int FdWrite(int fd, const char* text) { return FdWrite(fd, text, std::strlen(text)); }

int FdVPrintf(int fd, const char* format, va_list args) {
    int n = std::vsnprintf(g_format, sizeof g_format, format, args);
    if (n < 0) return -1;
    size_t length =
        static_cast<size_t>(n) < sizeof g_format ? static_cast<size_t>(n) : sizeof g_format - 1;
    return FdWrite(fd, g_format, length);
}

int FdPrintf(int fd, const char* format, ...) {
    va_list args;
    va_start(args, format);
    int n = FdVPrintf(fd, format, args);
    va_end(args);
    return n;
}

bool CrashFile::OpenAppend(const char* path) {
    Close();
    do {
        m_fd = ::open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    } while (m_fd < 0 && errno == EINTR);
    return m_fd >= 0;
}

int CrashFile::Printf(const char* format, ...) {
    if (m_fd < 0) return -1;
    va_list args;
    va_start(args, format);
    int n = FdVPrintf(m_fd, format, args);
    va_end(args);
    return n;
}

int CrashFile::Write(const char* text) { return m_fd < 0 ? -1 : FdWrite(m_fd, text); }

void CrashFile::Close() {
    if (m_fd >= 0) ::close(m_fd);
    m_fd = -1;
}

size_t WideToUtf8(const wchar_t* text, char* out, size_t capacity) {
    size_t at = 0;
    if (capacity == 0) return 0;
    for (; text && *text; ++text) {
        unsigned c = static_cast<unsigned>(*text);
        char bytes[4];
        size_t n;
        if (c < 0x80) {
            bytes[0] = static_cast<char>(c);
            n = 1;
        } else if (c < 0x800) {
            bytes[0] = static_cast<char>(0xC0 | (c >> 6));
            bytes[1] = static_cast<char>(0x80 | (c & 0x3F));
            n = 2;
        } else if (c < 0x10000) {
            bytes[0] = static_cast<char>(0xE0 | (c >> 12));
            bytes[1] = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            bytes[2] = static_cast<char>(0x80 | (c & 0x3F));
            n = 3;
        } else {
            bytes[0] = static_cast<char>(0xF0 | ((c >> 18) & 0x07));
            bytes[1] = static_cast<char>(0x80 | ((c >> 12) & 0x3F));
            bytes[2] = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            bytes[3] = static_cast<char>(0x80 | (c & 0x3F));
            n = 4;
        }
        if (at + n >= capacity) break;
        std::memcpy(out + at, bytes, n);
        at += n;
    }
    out[at] = 0;
    return at;
}

size_t Utf8ToWide(const char* text, wchar_t* out, size_t capacity) {
    size_t at = 0;
    if (capacity == 0) return 0;
    const unsigned char* p = reinterpret_cast<const unsigned char*>(text ? text : "");
    while (*p && at + 1 < capacity) {
        unsigned c = *p++;
        int more = c >= 0xF0 ? 3 : c >= 0xE0 ? 2 : c >= 0xC0 ? 1 : 0;
        if (more) c &= 0x3Fu >> more;
        for (; more > 0 && (*p & 0xC0) == 0x80; --more) c = (c << 6) | (*p++ & 0x3Fu);
        out[at++] = static_cast<wchar_t>(c);
    }
    out[at] = 0;
    return at;
}

size_t CopyText(char* out, size_t capacity, const char* text) {
    size_t n = 0;
    if (capacity == 0) return 0;
    for (; text && text[n] && n + 1 < capacity; ++n) out[n] = text[n];
    out[n] = 0;
    return n;
}

}  // namespace omn_detail
