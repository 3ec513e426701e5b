// Message lookup with argument substitution. A message key is looked up in the process's
// catalogue (a program registers translations; an unregistered key stands for itself), then
// arguments are substituted: argument N replaces every "%N" (N from 1 to 9) in the text, or, when
// the text has no "%N", its next "%s" not yet filled. Substitution works on the looked-up text
// only, never on what an earlier argument put in: a value that itself contains "%s" or "%2"
// comes out as written.
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

    // Arguments kept for each kind; a tenth "%s" argument is dropped.
    static constexpr int kArgs = 9;

  private:
    friend ZORBAS_API void atr_SubstituteFormat(atr_translate&, int, const char*, ZORBasStringMode);
    void Render();

    char* m_template;         // the looked-up text, never rewritten
    char* m_text;             // the template with the arguments given so far
    char* m_numbered[kArgs];  // argument N for every "%N", null until given
    char* m_inOrder[kArgs];   // arguments for the template's "%s", in the order given
    int m_inOrderCount;
};

ZORBAS_API void atr_SubstituteFormat(atr_translate& message, int index, const char* value,
                                     ZORBasStringMode mode);
