// A held operating-system error code (an errno value) and its text. Copies are independent; the
// text is rendered on demand into the object's own buffer.
#pragma once

#include "companions/framework/zorbas_export.h"

class ZORBAS_API ZORBasSystemError {
  public:
    explicit ZORBasSystemError(int code);
    ZORBasSystemError(const ZORBasSystemError& other);
    ZORBasSystemError& operator=(const ZORBasSystemError& other);
    ~ZORBasSystemError();

    int Code() const { return m_code; }
    // The system's text for the code, e.g. "No such file or directory".
    const char* AsString() const;

  private:
    int m_code;
    mutable char m_text[256];
};
