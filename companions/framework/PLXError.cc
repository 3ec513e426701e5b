#include "companions/framework/PLXError.h"

#include <string>

namespace {
struct LastError {
    bool set = false;
    long code = 0;
    std::string text;
};
thread_local LastError t_last;
}  // namespace

PLXUnicodeString::PLXUnicodeString(const char* text) : m_text(text ? text : "") {}
PLXUnicodeString::~PLXUnicodeString() = default;
PLXUnicodeString::PLXUnicodeString(const PLXUnicodeString&) = default;
PLXUnicodeString& PLXUnicodeString::operator=(const PLXUnicodeString&) = default;

PLXUnicodeString& PLXUnicodeString::Append(const PLXUnicodeString& other) {
    m_text += other.m_text;
    return *this;
}

void PLXError::PLXSetLastError(long code, const char* text) {
    t_last.set = true;
    t_last.code = code;
    t_last.text = text ? text : "";
}

PLXErrorObject* PLXError::PLXGetLastError(long code, IUnknown*) {
    if (!t_last.set || (code != 0 && code != t_last.code)) return nullptr;
    return new PLXErrorObject(t_last.code, t_last.text.c_str());
}

void PLXError::PLXCleanLastError() { t_last = LastError{}; }

PLXUnicodeString PLYSysGetPackagingVersionLongName() {
    return PLXUnicodeString(ZORBAS_PACKAGING_LONG_NAME);
}

PLXUnicodeString PLYSysGetPackagingVersionShortName() {
    return PLXUnicodeString(ZORBAS_PACKAGING_SHORT_NAME);
}
