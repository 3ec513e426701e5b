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
