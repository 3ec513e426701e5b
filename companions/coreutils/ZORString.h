// Text that is always UTF-8, with conversions to and from the process's locale encoding and
// UTF-16 ("wide" text, `unsigned short`, as the suite's other platform has it). A ZORString is an
// atr_StringBase plus one flag, so copies share the representation like cow_String.
// Conversions go through iconv (one descriptor opened per call) and never trust their input:
// invalid or truncated sequences make a Build function return non-zero and leave the string as
// it was. Positions and counts of FindPosition and SubString are in characters.
#pragma once

#include <cstddef>

#include "companions/coreutils/ZORBasException.h"
#include "companions/coreutils/atr_StringBase.h"
#include "companions/framework/zorbas_export.h"

// Results of the Build and Convert functions.
enum ZORStringResult {
    ZORStringOK = 0,
    ZORStringInvalidInput = 1,      // the text is not valid in its claimed encoding
    ZORStringNotRepresentable = 2,  // the target encoding has no form for a character
    ZORStringBufferTooSmall = 3,
    ZORStringBadFormat = 4,    // BuildFromNum's format is not one integer conversion
    ZORStringNoConverter = 5,  // iconv knows no converter for the encoding
};

class ZORBAS_API ZORString : public atr_StringBase {
  public:
    ZORString() : m_utf8(true) {}
    // Takes UTF-8 text as it is (use BuildFromUTF8 to validate).
    explicit ZORString(const char* utf8) : atr_StringBase(utf8), m_utf8(true) {}
    ZORString(const ZORString& other) = default;
    ZORString& operator=(const ZORString& other) = default;
    ~ZORString();

    int BuildFromUTF8(const char* text);
    // From the encoding of the process's current LC_CTYPE locale.
    int BuildFromLocale(const char* text);
    // From zero-terminated UTF-16.
    int BuildFromWChar(const unsigned short* text);
    // From `count` UTF-16 units.
    int BuildFromUTF16(const unsigned short* text, size_t count);
    // From any encoding iconv names ("ISO-8859-1", "CP1252", ...).
    int BuildFromEncoding(const char* text, const char* encoding);
    // The decimal (or other) text of `value`: `format` is a printf format with exactly one
    // integer conversion (d, i, u, x, X, o or c, with flags, width and precision but no length
    // modifier) and "%%" escapes; null means "%d".
    int BuildFromNum(int value, const char* format);

    // Writes the text in the locale encoding with a terminating zero. On entry *size is the
    // buffer's size in bytes; on return it is the bytes of the converted text (zero excluded),
    // also when the buffer was too small or null (then nothing but the size is written).
    int ConvertToLocale(char* out, size_t* size) const;
    int ConvertToEncoding(const char* encoding, char* out, size_t* size) const;
    // Writes UTF-16 with a terminating zero; the caller sizes `out` for GetLengthInWChar() + 1
    // units. Returns the number of units written (zero excluded), or -1 when the text is not
    // valid UTF-8.
    int ConvertToWChar(unsigned short* out) const;
    int GetLengthInWChar() const;

    int GetLengthInByte() const { return Length(); }
    int GetLengthInChar() const;
    ZORString& Append(const ZORString& other);
    // The character position of the first occurrence of `what` at or after character `from`,
    // or -1.
    int FindPosition(const ZORString& what, int from) const;
    // Up to `count` characters from character `from` (negative count: to the end), clipped.
    ZORString SubString(int from, int count) const;

    bool IsUTF8() const { return m_utf8; }

  private:
    int Take(const char* fromEncoding, const char* text, size_t bytes);
    bool m_utf8;
};

// True when `text` (of `bytes` bytes) is well-formed UTF-8: shortest forms only, no surrogates,
// nothing above U+10FFFF.
ZORBAS_API bool atr_IsValidUTF8(const char* text, size_t bytes);

// UTF-8 text converted to a system encoding, held as long as the object. The conversion fails
// with ZORBasOsStringConversion; reading the text as another encoding than the one it holds
// throws ZORBasOsStringCast with the name of the encoding asked for.
class ZORBAS_API ZOROsString : public mem_AllocationOperators {
  public:
    enum OsType { UTF8 = 0, WChar = 1, Locale = 2 };

    ZOROsString(const char* utf8, OsType type);
    ZOROsString(const ZORString& text, OsType type);
    ~ZOROsString();
    ZOROsString(const ZOROsString&) = delete;
    ZOROsString& operator=(const ZOROsString&) = delete;

    OsType Type() const { return m_type; }
    // The locale text; throws ZORBasOsStringCast("Locale") unless the type is Locale.
    const char* ToLocale() const;
    // The UTF-16 text; throws ZORBasOsStringCast("WChar") unless the type is WChar.
    const unsigned short* ToWChar() const;
    // The UTF-8 text; throws ZORBasOsStringCast("UTF8") unless the type is UTF8.
    const char* ToUTF8() const;

  private:
    void Convert(const char* utf8, size_t bytes);
    void* m_text;
    OsType m_type;
};
