// Text streams over the C streams. Output is formatted by stdio, so a stream can be shared with
// code that writes through the FILE* directly; a width set by aio_setwidth applies to the next
// item only, as with iostreams. Input streams read text files line by line.
#pragma once

#include <cstdio>

#include "companions/framework/zorbas_export.h"

// The state shared by every stream: the C stream, whether this object opened it (and so closes
// it), and the end-of-file and failure flags.
class ZORBAS_API aio_ios {
  public:
    aio_ios() : m_file(nullptr) {}
    explicit aio_ios(FILE* file) : m_file(file) {}
    virtual ~aio_ios();
    aio_ios(const aio_ios&) = delete;
    aio_ios& operator=(const aio_ios&) = delete;

    // Closes the file when this stream opened it; a borrowed C stream is only let go.
    void close();
    bool is_open() const { return m_file != nullptr; }
    bool good() const { return m_file && !m_eof && !m_fail; }
    bool eof() const { return m_eof; }
    bool fail() const { return m_fail; }
    explicit operator bool() const { return !m_fail; }
    FILE* File() const { return m_file; }

  protected:
    FILE* m_file;
    bool m_owned = false;
    bool m_eof = false;
    bool m_fail = false;
};

class ZORBAS_API aio_ostream : public aio_ios {
  public:
    explicit aio_ostream(FILE* file) : aio_ios(file) {}

    aio_ostream& print(const char* text);
    aio_ostream& print_int(int value);
    aio_ostream& print_double(double value);
    aio_ostream& print_u_int64(unsigned long long value);
    aio_ostream& put(char c);
    aio_ostream& flush();

    aio_ostream& operator<<(const char* text) { return print(text); }
    aio_ostream& operator<<(int value) { return print_int(value); }
    aio_ostream& operator<<(double value) { return print_double(value); }
    aio_ostream& operator<<(unsigned long long value) { return print_u_int64(value); }
    aio_ostream& operator<<(char c) { return put(c); }

    void SetWidth(int width) { m_width = width; }

  protected:
    int m_width = 0;

  private:
    int TakeWidth() {
        int w = m_width;
        m_width = 0;
        return w;
    }
};

class ZORBAS_API aio_istream : public aio_ios {
  public:
    aio_istream() = default;
    explicit aio_istream(FILE* file) : aio_ios(file) {}

    // Reads one line into `buf` (at most size - 1 bytes and a zero) without its "\n" or "\r\n".
    // The rest of a longer line is skipped. At the end of the file with nothing read, the stream
    // fails and `buf` is empty. gcount() gives the bytes stored.
    aio_istream& getline(char* buf, int size);
    int gcount() const { return m_count; }

  private:
    int m_count = 0;
};

class ZORBAS_API aio_ifstream : public aio_istream {
  public:
    aio_ifstream() = default;
    explicit aio_ifstream(const char* path) { open(path); }

    // Opens the file for reading (closing one opened before); the stream fails when it cannot.
    void open(const char* path);
};

// Sets the field width of the next item written to `stream`.
ZORBAS_API aio_ostream& aio_setwidth(aio_ostream& stream, int width);

ZORBAS_API extern aio_ostream aio_cout;
ZORBAS_API extern aio_ostream aio_cerr;
