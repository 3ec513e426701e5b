#include "companions/coreutils/aio_stream.h"

aio_ostream aio_cout(stdout);
aio_ostream aio_cerr(stderr);

aio_ostream& aio_ostream::print(const char* text) {
    std::fprintf(m_file, "%*s", TakeWidth(), text ? text : "");
    return *this;
}

aio_ostream& aio_ostream::print_int(int value) {
    std::fprintf(m_file, "%*d", TakeWidth(), value);
    return *this;
}

aio_ostream& aio_ostream::print_double(double value) {
    std::fprintf(m_file, "%*g", TakeWidth(), value);
    return *this;
}

aio_ostream& aio_ostream::print_u_int64(unsigned long long value) {
    std::fprintf(m_file, "%*llu", TakeWidth(), value);
    return *this;
}

aio_ostream& aio_ostream::put(char c) {
    std::fputc(c, m_file);
    return *this;
}

aio_ostream& aio_ostream::flush() {
    std::fflush(m_file);
    return *this;
}

aio_ostream& aio_setwidth(aio_ostream& stream, int width) {
    stream.SetWidth(width);
    return stream;
}

aio_ios::~aio_ios() { close(); }

void aio_ios::close() {
    if (m_file && m_owned) std::fclose(m_file);
    m_file = nullptr;
    m_owned = false;
}

void aio_ifstream::open(const char* path) {
    close();
    m_eof = false;
    m_fail = false;
    m_file = path ? std::fopen(path, "r") : nullptr;
    m_owned = m_file != nullptr;
    if (!m_file) m_fail = true;
}

aio_istream& aio_istream::getline(char* buf, int size) {
    m_count = 0;
    if (!buf || size <= 0) {
        m_fail = true;
        return *this;
    }
    buf[0] = 0;
    if (!m_file || m_fail || m_eof) {
        m_fail = true;
        return *this;
    }
    int c = EOF;
    bool any = false;
    while ((c = std::fgetc(m_file)) != EOF) {
        any = true;
        if (c == '\n') break;
        if (m_count < size - 1) buf[m_count++] = static_cast<char>(c);
    }
    if (m_count > 0 && buf[m_count - 1] == '\r') --m_count;
    buf[m_count] = 0;
    if (c == EOF) {
        m_eof = true;
        if (!any) m_fail = true;
    }
    return *this;
}
