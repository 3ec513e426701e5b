// The framework's last-error object, per thread. A framework call that fails records a code and a
// text; PLXGetLastError hands out a counted object holding them, which the caller releases.
#pragma once

#include "companions/framework/PLXUnicodeString.h"
#include "companions/framework/zorbas_export.h"

struct IUnknown;

class ZORBAS_API PLXErrorObject {
  public:
    PLXErrorObject(long code, const char* text) : m_code(code), m_text(text) {}
    long Code() const { return m_code; }
    const PLXUnicodeString& Text() const { return m_text; }
    // Frees the object; the handle from PLXGetLastError is the only owner.
    void Release() { delete this; }

  private:
    ~PLXErrorObject() = default;
    long m_code;
    PLXUnicodeString m_text;
};

class ZORBAS_API PLXError {
  public:
    // Records the calling thread's last error, replacing the one before.
    static void PLXSetLastError(long code, const char* text);
    // A new object for the last error when its code matches `code` (or `code` is 0); null when
    // there is none. The caller releases it.
    static PLXErrorObject* PLXGetLastError(long code, IUnknown* context);
    static void PLXCleanLastError();
};

// The suite's packaging version names, fixed when the library is built.
ZORBAS_API PLXUnicodeString PLYSysGetPackagingVersionLongName();
ZORBAS_API PLXUnicodeString PLYSysGetPackagingVersionShortName();
