// Output for crash paths: text formatted into one static buffer and written with write(2), to a
// descriptor or to a file opened in append mode with open(2). Nothing allocates, nothing takes
// stdio's locks, so a fault inside printf or malloc cannot hang the report. Not reentrant: two
// threads that crash at once may mix their text, as the report's contract allows.
#pragma once

#include <cstdarg>
#include <cstddef>

namespace omn_detail {

// Formats and writes to `fd`; returns the bytes written, or -1 when the write failed. A text
// longer than the static buffer (16 KiB) is cut.
int FdPrintf(int fd, const char* format, ...) __attribute__((format(printf, 2, 3)));
int FdVPrintf(int fd, const char* format, va_list args);
// Writes `text` whole, however long; -1 on failure.
int FdWrite(int fd, const char* text, size_t length);
int FdWrite(int fd, const char* text);

// A file that a crash path appends to.
class CrashFile {
  public:
    CrashFile() = default;
    ~CrashFile() { Close(); }
    CrashFile(const CrashFile&) = delete;
    CrashFile& operator=(const CrashFile&) = delete;

    // Opens (creating with mode 0644) for appending; false when that fails.
    bool OpenAppend(const char* path);
    bool IsOpen() const { return m_fd >= 0; }
    int Fd() const { return m_fd; }
    int Printf(const char* format, ...) __attribute__((format(printf, 2, 3)));
    int Write(const char* text);
    // Writes are unbuffered, so what was written survives a second fault; there is no flush.
    void Close();

  private:
    int m_fd = -1;
};

// UTF-8 and wide text, converted without the locale into the caller's buffer (always
// terminated); returns the length written.
size_t WideToUtf8(const wchar_t* text, char* out, size_t capacity);
size_t Utf8ToWide(const char* text, wchar_t* out, size_t capacity);

// Copies `text` into `out` (always terminated, cut at capacity - 1); returns the length.
size_t CopyText(char* out, size_t capacity, const char* text);

}  // namespace omn_detail
