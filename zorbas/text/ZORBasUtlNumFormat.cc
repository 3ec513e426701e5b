#include "zorbas/text/ZORBasUtlNumFormat.h"

#include <charconv>
#include <cmath>
#include <cstring>

#include "companions/framework/PLXFatalError.h"

namespace {

constexpr const char* kSourcePath = "ZORBase/ZORBasUtils.m/src/ZORBasUtlNumFormat";

// Appends "E", the sign and at least two digits of `exponent`.
char* PutExponent(char* p, int exponent) {
    *p++ = 'E';
    *p++ = exponent < 0 ? '-' : '+';
    unsigned e = static_cast<unsigned>(exponent < 0 ? -exponent : exponent);
    if (e >= 100) *p++ = static_cast<char>('0' + e / 100);
    *p++ = static_cast<char>('0' + e / 10 % 10);
    *p++ = static_cast<char>('0' + e % 10);
    return p;
}

// The standard library writes "e+05"; the suite's files show "E+05". Its exponent always has at
// least two digits, so only the letter changes.
void UpperExponent(char* begin, char* end) {
    for (char* p = end - 1; p > begin; --p)
        if (*p == 'e') {
            *p = 'E';
            return;
        }
}

// Rewrites the scientific text [begin, end) ("-d.ddde+XX") with the exponent a multiple of 3.
char* ToEngineering(char* begin, char* end) {
    char digits[24];
    int count = 0;
    char* p = begin;
    bool negative = *p == '-';
    if (negative) ++p;
    for (; *p != 'e'; ++p)
        if (*p != '.') digits[count++] = *p;
    int exponent = 0;
    std::from_chars(p + 1 + (p[1] == '+'), end, exponent);
    int shift = ((exponent % 3) + 3) % 3;
    int lead = 1 + shift;
    char* out = begin + negative;
    for (int i = 0; i < lead; ++i) *out++ = i < count ? digits[i] : '0';
    if (count > lead) {
        *out++ = '.';
        std::memcpy(out, digits + lead, static_cast<size_t>(count - lead));
        out += count - lead;
    }
    return PutExponent(out, exponent - shift);
}

}  // namespace

ZORBasUtlNumFormat::ZORBasUtlNumFormat(Form form, int digits, int width)
    : m_form(form), m_digits(digits), m_width(width) {
    ZORBAS_ASSERT(form >= Automatic && form <= Fixed, kSourcePath, __LINE__);
    ZORBAS_ASSERT(digits >= (form == Fixed ? 0 : 1) && digits <= kMaxDigits, kSourcePath, __LINE__);
    ZORBAS_ASSERT(width >= 0 && width <= kMaxWidth, kSourcePath, __LINE__);
}

int ZORBasUtlNumFormat::Format(double value, char* out) const {
    char* end;
    if (std::isnan(value)) {
        std::memcpy(out, "NaN", 3);
        end = out + 3;
    } else if (std::isinf(value)) {
        const char* text = value < 0 ? "-Infinity" : "Infinity";
        size_t length = value < 0 ? 9 : 8;
        std::memcpy(out, text, length);
        end = out + length;
    } else {
        char* limit = out + kBufferSize - 1;
        switch (m_form) {
            case Scientific:
                end = std::to_chars(out, limit, value, std::chars_format::scientific, m_digits - 1)
                          .ptr;
                UpperExponent(out, end);
                break;
            case Engineering:
                end = std::to_chars(out, limit, value, std::chars_format::scientific, m_digits - 1)
                          .ptr;
                end = ToEngineering(out, end);
                break;
            case Fixed:
                end = std::to_chars(out, limit, value, std::chars_format::fixed, m_digits).ptr;
                break;
            default:
                end = std::to_chars(out, limit, value, std::chars_format::general, m_digits).ptr;
                UpperExponent(out, end);
                break;
        }
    }
    int length = static_cast<int>(end - out);
    if (length < m_width) {
        int pad = m_width - length;
        std::memmove(out + pad, out, static_cast<size_t>(length));
        std::memset(out, ' ', static_cast<size_t>(pad));
        length = m_width;
    }
    out[length] = 0;
    return length;
}

cow_String ZORBasUtlNumFormat::Text(double value) const {
    char text[kBufferSize];
    int length = Format(value, text);
    return cow_String(text, length);
}
