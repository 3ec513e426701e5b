// Text streams over the C streams. Output is formatted by stdio, so a stream can be shared with
// code that writes through the FILE* directly; a width set by aio_setwidth applies to the next
// item only, as with iostreams.
#pragma once

#include <cstdio>

#include "companions/framework/zorbas_export.h"

class ZORBAS_API aio_ostream {
  public:
    explicit aio_ostream(FILE* file) : m_file(file) {}
    virtual ~aio_ostream() = default;

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
    FILE* File() const { return m_file; }

  protected:
    FILE* m_file;
    int m_width = 0;

  private:
    int TakeWidth() {
        int w = m_width;
        m_width = 0;
        return w;
    }
};

// Sets the field width of the next item written to `stream`.
ZORBAS_API aio_ostream& aio_setwidth(aio_ostream& stream, int width);

ZORBAS_API extern aio_ostream aio_cout;
ZORBAS_API extern aio_ostream aio_cerr;
