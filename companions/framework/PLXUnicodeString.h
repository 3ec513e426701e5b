// The framework's unicode string: UTF-8 text owned by value. Only error and version texts pass
// through it, so it favours simplicity over speed.
#pragma once

#include <string>

#include "companions/framework/zorbas_export.h"

class ZORBAS_API PLXUnicodeString {
  public:
    PLXUnicodeString(const char* text = "");
    ~PLXUnicodeString();
    PLXUnicodeString(const PLXUnicodeString&);
    PLXUnicodeString& operator=(const PLXUnicodeString&);

    PLXUnicodeString& Append(const PLXUnicodeString& other);
    const char* CastToCharPtr() const { return m_text.c_str(); }
    operator const char*() const { return m_text.c_str(); }

  private:
    std::string m_text;
};
