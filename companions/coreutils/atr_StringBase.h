// The shared byte string under cow_String: a text pointer into a counted representation, or no
// representation at all for the empty string. Copies share the representation (plain, non-atomic
// counts); every editing operation first makes the representation exclusive, so a write never
// shows through another copy. Sizes are `int`, as the suite's callers expect; 2147483647 as a
// count means "to the end".
#pragma once

#include <cstddef>
#include <cstdint>

#include "companions/framework/zorbas_export.h"

enum PreSizeEnm { PreSize = 0 };

// The representation: count and length first, then capacity and the text with its zero.
struct ZORBAS_API atr_StringRep {
    int32_t count;
    int32_t length;
    int32_t capacity;  // bytes available for text, not counting the terminating zero

    void Increment() { ++count; }
    // True when the count fell below 1: the caller then frees the representation.
    bool Decrement() { return --count < 1; }
    char* Text() { return reinterpret_cast<char*>(this + 1); }

    // A new representation with count 1, length 0 and room for `capacity` bytes; throws
    // std::bad_alloc when the heap is exhausted.
    static atr_StringRep* Make(int capacity);
};

constexpr int atr_npos = 2147483647;

class ZORBAS_API atr_StringBase {
  public:
    atr_StringBase() : m_text(nullptr), m_rep(nullptr) {}
    atr_StringBase(const char* text);
    atr_StringBase(const char* text, int len);
    explicit atr_StringBase(int value);
    explicit atr_StringBase(float value);
    explicit atr_StringBase(double value);
    // An empty string with room for `size` bytes, so appends up to that size do not reallocate.
    atr_StringBase(int size, PreSizeEnm);
    atr_StringBase(const atr_StringBase& other) : m_text(other.m_text), m_rep(other.m_rep) {
        if (m_rep) m_rep->Increment();
    }
    ~atr_StringBase() {
        if (m_rep && m_rep->Decrement()) Delete();
    }

    // Shares the source's representation. Increment first, so self-assignment is safe.
    atr_StringBase& operator=(const atr_StringBase& other) {
        if (other.m_rep) other.m_rep->Increment();
        if (m_rep && m_rep->Decrement()) Delete();
        m_text = other.m_text;
        m_rep = other.m_rep;
        return *this;
    }
    atr_StringBase& operator=(const char* text);

    const char* CStr() const { return m_rep ? m_text : s_empty; }
    int Length() const { return m_rep ? m_rep->length : 0; }
    int Compare(const atr_StringBase& other) const;
    int Compare(const char* other) const;

    char operator[](int i) const { return CStr()[i]; }
    // Makes the representation exclusive, then gives the byte.
    char& operator[](int i);

    // Splices: the source window is s[from, from + count) clipped to [0, slen).
    atr_StringBase& append(const char* s, int slen, int from, int count);
    atr_StringBase& insert(int pos, const char* s, int slen, int from, int count);
    atr_StringBase& replace(int pos, int n, const char* s, int slen, int from, int count);

    atr_StringBase& Erase(int pos, int n);
    atr_StringBase& LeftTrim(const char* set);
    atr_StringBase& RightTrim(const char* set);
    atr_StringBase& ToLower();
    // Upper-cases the first byte when it is an ASCII letter; the rest stays as it is.
    atr_StringBase& Capitalize();

    // Positions, or -1 when absent. `from` beyond the end finds nothing; rfind looks for a match
    // that starts at or before `from`.
    int Find(const char* s, int from) const;
    int rfind(const char* s, int slen, int from) const;
    // Clips [from, to) to the string and returns its length (to is exclusive; negative `to` or one
    // past the end means the end).
    int Substr(int from, int to) const;

    // References to the representation, 0 for the empty string (for tests and diagnostics).
    int References() const { return m_rep ? m_rep->count : 0; }

  protected:
    void Delete();
    // Ensures an exclusive representation with room for `capacity` bytes; keeps the text.
    void MakeExclusive(int capacity);

    char* m_text;
    atr_StringRep* m_rep;

    static const char s_empty[1];
};

// Length in bytes of the UTF-8 sequence whose lead byte is at `p` (1 for a stray byte).
ZORBAS_API int atr_utf8_len(const unsigned char* p);

// Natural order: runs of digits compare by value, everything else byte by byte.
ZORBAS_API int strnatcmp(const char* a, const char* b);
// Non-zero when the process compares strings in natural order (containers sort by it).
ZORBAS_API int atr_getNaturalOrder();
ZORBAS_API void atr_setNaturalOrder(int on);
