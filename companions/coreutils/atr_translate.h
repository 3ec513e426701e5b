// Message lookup with argument substitution. A message key is looked up in the process's
// catalogue (a program registers translations; an unregistered key stands for itself), then
// arguments are substituted: argument N replaces every "%N" (N from 1 to 9) in the text, or,
// when the text has no "%N", its first remaining "%s".
#pragma once

#include "companions/coreutils/ZORBasException.h"
#include "companions/framework/zorbas_export.h"

class ZORBAS_API atr_translate {
  public:
    atr_translate(const char* key, ZORBasStringMode mode);
    ~atr_translate();
    atr_translate(const atr_translate&) = delete;
    atr_translate& operator=(const atr_translate&) = delete;

    // The text with the arguments substituted so far; valid while this object lives.
    const char* Result(ZORBasStringMode mode) const;

    // Registers `text` as the translation of `key` for the whole process (copied).
    static void Register(const char* key, const char* text);

  private:
    friend ZORBAS_API void atr_SubstituteFormat(atr_translate&, int, const char*, ZORBasStringMode);
    char* m_text;
};

ZORBAS_API void atr_SubstituteFormat(atr_translate& message, int index, const char* value,
                                     ZORBasStringMode mode);
