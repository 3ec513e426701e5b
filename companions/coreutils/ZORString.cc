#include "companions/coreutils/ZORString.h"

#include <iconv.h>
#include <langinfo.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "companions/alloc/mem_Malloc.h"

namespace {

constexpr const char* kFile = "companions/coreutils/ZORString";
// Little-endian without a byte-order mark: the in-memory form of `unsigned short` text here.
constexpr const char* kUTF16 = "UTF-16LE";

const char* LocaleEncoding() {
    const char* cs = nl_langinfo(CODESET);
    return cs && *cs ? cs : "ANSI_X3.4-1968";
}

// A converted text in a block of the tracked heap, followed by four zero bytes (a terminator for
// any unit size). Frees the block unless released.
struct Converted {
    char* data = nullptr;
    size_t bytes = 0;
    ~Converted() { mem_Free(data); }
    char* Release() {
        char* d = data;
        data = nullptr;
        return d;
    }
};

// Converts `bytes` bytes of `in` from one encoding to another. `sourceChecked` says the input is
// already known valid, so an EILSEQ means the target cannot represent a character.
int Iconv(const char* from, const char* to, const char* in, size_t bytes, bool sourceChecked,
          Converted& out) {
    iconv_t cd = iconv_open(to, from);
    if (cd == reinterpret_cast<iconv_t>(-1)) return ZORStringNoConverter;
    size_t cap = bytes * 4 + 16;
    int result = ZORStringOK;
    for (;;) {
        out.data = static_cast<char*>(mem_Malloc(cap + 4));
        if (!out.data) {
            result = ZORStringBufferTooSmall;
            break;
        }
        char* src = const_cast<char*>(in);
        size_t left = bytes;
        char* dst = out.data;
        size_t room = cap;
        iconv(cd, nullptr, nullptr, nullptr, nullptr);
        size_t r = iconv(cd, &src, &left, &dst, &room);
        if (r != static_cast<size_t>(-1)) r = iconv(cd, nullptr, nullptr, &dst, &room);
        if (r == static_cast<size_t>(-1) && errno == E2BIG) {
            mem_Free(out.data);
            out.data = nullptr;
            cap *= 2;
            continue;
        }
        if (r == static_cast<size_t>(-1))
            result = errno == EILSEQ && sourceChecked ? ZORStringNotRepresentable
                                                      : ZORStringInvalidInput;
        out.bytes = static_cast<size_t>(dst - out.data);
        std::memset(dst, 0, 4);
        break;
    }
    iconv_close(cd);
    return result;
}

// Decodes the code point at `p` (valid UTF-8 assumed) and returns the bytes it takes.
int Lead(unsigned char c) { return c < 0x80 ? 1 : c < 0xE0 ? 2 : c < 0xF0 ? 3 : 4; }

bool IsFollow(unsigned char c) { return (c & 0xC0) == 0x80; }

// The byte offset of character `index` (clipped to the end).
int ByteOffset(const char* t, int len, int index) {
    int at = 0;
    while (index > 0 && at < len) {
        ++at;
        while (at < len && IsFollow(static_cast<unsigned char>(t[at]))) ++at;
        --index;
    }
    return at;
}

int CharCount(const char* t, int len) {
    int n = 0;
    for (int i = 0; i < len; ++i)
        if (!IsFollow(static_cast<unsigned char>(t[i]))) ++n;
    return n;
}

// True when `format` holds exactly one integer conversion and otherwise only "%%" escapes.
bool IsIntegerFormat(const char* format) {
    int conversions = 0;
    for (const char* p = format; *p; ++p) {
        if (*p != '%') continue;
        ++p;
        if (*p == '%') continue;
        while (*p && std::strchr("-+ #0", *p)) ++p;
        while (*p >= '0' && *p <= '9') ++p;
        if (*p == '.') {
            ++p;
            while (*p >= '0' && *p <= '9') ++p;
        }
        if (!*p || !std::strchr("diuxXoc", *p)) return false;
        ++conversions;
    }
    return conversions == 1;
}

size_t Utf16Length(const unsigned short* text) {
    size_t n = 0;
    while (text[n]) ++n;
    return n;
}

[[noreturn]] void ThrowConversion(const char* encoding) {
    char message[160];
    std::snprintf(message, sizeof message, "Cannot convert text to %s", encoding);
    ZORBasOsStringConversion(message).Throw(kFile, __LINE__);
}

}  // namespace

bool atr_IsValidUTF8(const char* text, size_t bytes) {
    const auto* p = reinterpret_cast<const unsigned char*>(text);
    size_t i = 0;
    while (i < bytes) {
        unsigned char c = p[i];
        if (c < 0x80) {
            ++i;
            continue;
        }
        int n;
        unsigned cp;
        if (c >= 0xC2 && c <= 0xDF) {
            n = 1;
            cp = c & 0x1F;
        } else if (c >= 0xE0 && c <= 0xEF) {
            n = 2;
            cp = c & 0x0F;
        } else if (c >= 0xF0 && c <= 0xF4) {
            n = 3;
            cp = c & 0x07;
        } else {
            return false;  // a stray follow byte, an overlong lead (C0, C1) or beyond F4
        }
        if (i + static_cast<size_t>(n) >= bytes) return false;  // truncated sequence
        for (int k = 1; k <= n; ++k) {
            if (!IsFollow(p[i + k])) return false;
            cp = (cp << 6) | (p[i + k] & 0x3F);
        }
        if ((n == 2 && cp < 0x800) || (n == 3 && cp < 0x10000) || cp > 0x10FFFF ||
            (cp >= 0xD800 && cp <= 0xDFFF))
            return false;
        i += static_cast<size_t>(n) + 1;
    }
    return true;
}

ZORString::~ZORString() = default;

int ZORString::Take(const char* fromEncoding, const char* text, size_t bytes) {
    Converted out;
    int r = Iconv(fromEncoding, "UTF-8", text, bytes, false, out);
    if (r != ZORStringOK) return r;
    if (!atr_IsValidUTF8(out.data, out.bytes)) return ZORStringInvalidInput;
    if (out.bytes > static_cast<size_t>(atr_npos - 64)) return ZORStringBufferTooSmall;
    atr_StringBase fresh(out.data, static_cast<int>(out.bytes));
    atr_StringBase::operator=(fresh);
    m_utf8 = true;
    return ZORStringOK;
}

int ZORString::BuildFromUTF8(const char* text) {
    size_t n = text ? std::strlen(text) : 0;
    if (!atr_IsValidUTF8(text, n)) return ZORStringInvalidInput;
    if (n > static_cast<size_t>(atr_npos - 64)) return ZORStringBufferTooSmall;
    atr_StringBase fresh(text, static_cast<int>(n));
    atr_StringBase::operator=(fresh);
    m_utf8 = true;
    return ZORStringOK;
}

int ZORString::BuildFromLocale(const char* text) {
    return BuildFromEncoding(text, LocaleEncoding());
}

int ZORString::BuildFromEncoding(const char* text, const char* encoding) {
    if (!encoding) return ZORStringNoConverter;
    return Take(encoding, text ? text : "", text ? std::strlen(text) : 0);
}

int ZORString::BuildFromWChar(const unsigned short* text) {
    return BuildFromUTF16(text, text ? Utf16Length(text) : 0);
}

int ZORString::BuildFromUTF16(const unsigned short* text, size_t count) {
    if (!text) count = 0;
    static const unsigned short kNone[1] = {0};
    return Take(kUTF16, reinterpret_cast<const char*>(text ? text : kNone),
                count * sizeof(unsigned short));
}

int ZORString::BuildFromNum(int value, const char* format) {
    if (!format) format = "%d";
    if (!IsIntegerFormat(format)) return ZORStringBadFormat;
    char buf[512];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    int n = std::snprintf(buf, sizeof buf, format, value);
#pragma GCC diagnostic pop
    if (n < 0 || static_cast<size_t>(n) >= sizeof buf) return ZORStringBufferTooSmall;
    return BuildFromUTF8(buf);
}

int ZORString::ConvertToEncoding(const char* encoding, char* out, size_t* size) const {
    if (!size || !encoding) return ZORStringBufferTooSmall;
    if (!atr_IsValidUTF8(CStr(), static_cast<size_t>(Length()))) return ZORStringInvalidInput;
    Converted conv;
    int r = Iconv("UTF-8", encoding, CStr(), static_cast<size_t>(Length()), true, conv);
    if (r != ZORStringOK) return r;
    size_t room = *size;
    *size = conv.bytes;
    if (!out || room < conv.bytes + 1) return ZORStringBufferTooSmall;
    std::memcpy(out, conv.data, conv.bytes);
    out[conv.bytes] = 0;
    return ZORStringOK;
}

int ZORString::ConvertToLocale(char* out, size_t* size) const {
    return ConvertToEncoding(LocaleEncoding(), out, size);
}

int ZORString::GetLengthInWChar() const {
    int units = 0;
    const char* t = CStr();
    for (int i = 0; i < Length(); i += Lead(static_cast<unsigned char>(t[i])))
        units += Lead(static_cast<unsigned char>(t[i])) == 4 ? 2 : 1;
    return units;
}

int ZORString::ConvertToWChar(unsigned short* out) const {
    if (!out || !atr_IsValidUTF8(CStr(), static_cast<size_t>(Length()))) return -1;
    Converted conv;
    if (Iconv("UTF-8", kUTF16, CStr(), static_cast<size_t>(Length()), true, conv) != ZORStringOK)
        return -1;
    std::memcpy(out, conv.data, conv.bytes);
    size_t units = conv.bytes / sizeof(unsigned short);
    out[units] = 0;
    return static_cast<int>(units);
}

int ZORString::GetLengthInChar() const { return CharCount(CStr(), Length()); }

ZORString& ZORString::Append(const ZORString& other) {
    append(other.CStr(), other.Length(), 0, atr_npos);
    return *this;
}

int ZORString::FindPosition(const ZORString& what, int from) const {
    if (from < 0) from = 0;
    int start = ByteOffset(CStr(), Length(), from);
    if (from > 0 && start >= Length() && what.Length() > 0) return -1;
    int at = Find(what.CStr(), start);
    return at < 0 ? -1 : CharCount(CStr(), at);
}

ZORString ZORString::SubString(int from, int count) const {
    const char* t = CStr();
    int len = Length();
    int begin = ByteOffset(t, len, from < 0 ? 0 : from);
    int end = count < 0 ? len : ByteOffset(t + begin, len - begin, count) + begin;
    ZORString part;
    if (end > begin) part.append(t + begin, end - begin, 0, atr_npos);
    return part;
}

ZOROsString::ZOROsString(const char* utf8, OsType type) : m_text(nullptr), m_type(type) {
    Convert(utf8 ? utf8 : "", utf8 ? std::strlen(utf8) : 0);
}

ZOROsString::ZOROsString(const ZORString& text, OsType type) : m_text(nullptr), m_type(type) {
    Convert(text.CStr(), static_cast<size_t>(text.Length()));
}

ZOROsString::~ZOROsString() { mem_Free(m_text); }

void ZOROsString::Convert(const char* utf8, size_t bytes) {
    const char* target = m_type == Locale ? LocaleEncoding() : m_type == WChar ? kUTF16 : "UTF-8";
    if (m_type != UTF8 && m_type != WChar && m_type != Locale) ThrowConversion("an unknown type");
    if (!atr_IsValidUTF8(utf8, bytes)) ThrowConversion(target);
    Converted conv;
    if (Iconv("UTF-8", target, utf8, bytes, true, conv) != ZORStringOK) ThrowConversion(target);
    m_text = conv.Release();
}

const char* ZOROsString::ToLocale() const {
    if (m_type != Locale) ZORBasOsStringCast("Locale").Throw(kFile, __LINE__);
    return static_cast<const char*>(m_text);
}

const unsigned short* ZOROsString::ToWChar() const {
    if (m_type != WChar) ZORBasOsStringCast("WChar").Throw(kFile, __LINE__);
    return static_cast<const unsigned short*>(m_text);
}

const char* ZOROsString::ToUTF8() const {
    if (m_type != UTF8) ZORBasOsStringCast("UTF8").Throw(kFile, __LINE__);
    return static_cast<const char*>(m_text);
}
