#include "companions/coreutils/ZORBasException.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "companions/framework/PLXFatalError.h"

namespace {
char* CopyText(const char* text) {
    size_t n = std::strlen(text ? text : "");
    auto* p = static_cast<char*>(mem_OperatorNewThrow(n + 1));
    std::memcpy(p, text ? text : "", n + 1);
    return p;
}
}  // namespace

ZORBasException::~ZORBasException() { mem_Free(m_report); }

ZORBasException& ZORBasException::operator=(const ZORBasException& other) {
    m_file = other.m_file;
    m_line = other.m_line;
    return *this;
}

const char* ZORBasException::Keep(const char* text) const {
    char* fresh = CopyText(text);  // first: `text` may be the report being replaced
    mem_Free(m_report);
    m_report = fresh;
    return m_report;
}

const char* ZORBasException::UserReport(ZORBasStringMode mode) const {
    return Keep(AsString(mode));
}

const char* ZORBasException::DeveloperReport(ZORBasStringMode mode) const {
    const char* text = AsString(mode);
    int n = std::snprintf(nullptr, 0, "%s (code %d, file %s, line %d)", text, GetCode(),
                          m_file ? m_file : "(unknown)", m_line);
    char* buf = static_cast<char*>(mem_OperatorNewThrow(static_cast<size_t>(n) + 1));
    std::snprintf(buf, static_cast<size_t>(n) + 1, "%s (code %d, file %s, line %d)", text,
                  GetCode(), m_file ? m_file : "(unknown)", m_line);
    mem_Free(m_report);
    m_report = buf;
    return m_report;
}

void ZORBasException::Throw(const char* file, int line) {
    m_file = file;
    m_line = line;
    Propagate();
    // A class whose Propagate returns has broken the family's contract.
    PLXFatalError("AssertionFailed:Propagate does not return", nullptr, nullptr, nullptr,
                  "companions/coreutils/ZORBasException", __LINE__);
}

ZORBasMessageException::ZORBasMessageException(const char* message)
    : m_message(CopyText(message)) {}

ZORBasMessageException::ZORBasMessageException(const ZORBasMessageException& other)
    : ZORBasException(other), m_message(CopyText(other.m_message)) {}

ZORBasMessageException::~ZORBasMessageException() { mem_Free(m_message); }

void ZORBasMessageException::SetMessage(const char* message) {
    char* fresh = CopyText(message);
    mem_Free(m_message);
    m_message = fresh;
}

namespace {
constexpr const char* kModelFile = "companions/coreutils/ZORBasException";

}  // namespace

ZORBasExecException::ZORBasExecException(int error) : ZORBasMessageException(""), m_error(error) {
    char buf[96];
    std::snprintf(buf, sizeof buf, "Regular expression execution failed (error %d)", error);
    SetMessage(buf);
}

ZORBasPatternException::ZORBasPatternException(int offset, const char* detail)
    : ZORBasMessageException(""), m_offset(offset) {
    char buf[1024];
    std::snprintf(buf, sizeof buf, "Regular expression does not compile at offset %d: %s", offset,
                  detail ? detail : "");
    SetMessage(buf);
}

void ZORBasExceptionModel::throwExecException(int error) {
    ZORBasExecException(error).Throw(kModelFile, __LINE__);
}

void ZORBasExceptionModel::throwPatternException(int offset, const char* detail) {
    ZORBasPatternException(offset, detail).Throw(kModelFile, __LINE__);
}

bool ZORBasBexAssertFormalize() {
    static const bool formal = std::getenv("ZOR_BEX_ASSERT_FORMAL") != nullptr;
    return formal;
}
