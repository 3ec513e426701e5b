#include "companions/coreutils/ZORBasSystemError.h"

#include <cstdio>
#include <cstring>

ZORBasSystemError::ZORBasSystemError(int code) : m_code(code) { m_text[0] = 0; }
ZORBasSystemError::ZORBasSystemError(const ZORBasSystemError& other) : m_code(other.m_code) {
    m_text[0] = 0;
}
ZORBasSystemError& ZORBasSystemError::operator=(const ZORBasSystemError& other) {
    m_code = other.m_code;
    m_text[0] = 0;
    return *this;
}
ZORBasSystemError::~ZORBasSystemError() = default;

const char* ZORBasSystemError::AsString() const {
    // The GNU strerror_r may return a static text instead of filling the buffer.
    const char* text = strerror_r(m_code, m_text, sizeof m_text);
    if (text != m_text) std::snprintf(m_text, sizeof m_text, "%s", text);
    return m_text;
}
