// The library's string value: bytes with a terminating zero, shared by reference count. A face
// over atr_StringBase with no fields of its own; copies are two pointer copies and an increment,
// and the first edit of a shared string copies it. No encoding conversion happens here
// (ZORBasI18n does that). Comparison is plain byte order (strcmp); only BtreeCompare follows the
// process's natural-order setting.
#pragma once

#include "companions/coreutils/aio_stream.h"
#include "companions/coreutils/atr_StringBase.h"
#include "companions/framework/zorbas_export.h"

class ZORBAS_API cow_String : public atr_StringBase {
  public:
    cow_String() = default;
    cow_String(const cow_String& other) = default;
    cow_String(const atr_StringBase& other) : atr_StringBase(other) {}
    explicit cow_String(int value) : atr_StringBase(value) {}
    explicit cow_String(float value) : atr_StringBase(value) {}
    explicit cow_String(double value) : atr_StringBase(value) {}
    cow_String(const char* text) : atr_StringBase(text) {}
    cow_String(const char* text, int length) : atr_StringBase(text, length) {}
    cow_String(int size, PreSizeEnm p) : atr_StringBase(size, p) {}

    cow_String& operator=(const cow_String& other) {
        atr_StringBase::operator=(other);
        return *this;
    }
    cow_String& operator=(const char* text) {
        atr_StringBase::operator=(text);
        return *this;
    }
    cow_String& operator+=(const cow_String& other) { return Append(other); }
    cow_String& operator+=(const char* text) { return Append(text); }
    cow_String& Append(const cow_String& other);
    cow_String& Append(const char* text);

    using atr_StringBase::CStr;
    using atr_StringBase::Length;
    bool Empty() const { return Length() == 0; }
    using atr_StringBase::operator[];
    int Compare(const cow_String& other) const { return atr_StringBase::Compare(other); }
    int Compare(const char* other) const { return atr_StringBase::Compare(other); }
    int Find(const cow_String& s, int from = 0) const {
        return atr_StringBase::Find(s.CStr(), from);
    }
    int Find(const char* s, int from = 0) const { return atr_StringBase::Find(s, from); }
    int RFind(const char* s, int from = atr_npos) const;
    // A new, unshared string of [from, to), clipped to this one.
    cow_String Substr(int from, int to) const;

    cow_String& Erase();
    cow_String& Erase(int pos, int n);
    cow_String& Insert(int pos, const char* text, int count = atr_npos);
    cow_String& Replace(int pos, int n, const cow_String& with);
    cow_String& LeftTrim(const char* set = " \t\r\n");
    cow_String& RightTrim(const char* set = " \t\r\n");
    cow_String& ToLower();
    cow_String& Capitalize();
};

inline bool operator==(const cow_String& a, const cow_String& b) { return a.Compare(b) == 0; }
inline bool operator==(const cow_String& a, const char* b) { return a.Compare(b) == 0; }
inline bool operator!=(const cow_String& a, const cow_String& b) { return a.Compare(b) != 0; }
inline bool operator!=(const cow_String& a, const char* b) { return a.Compare(b) != 0; }
inline bool operator<(const cow_String& a, const cow_String& b) { return a.Compare(b) < 0; }
inline bool operator>(const cow_String& a, const cow_String& b) { return a.Compare(b) > 0; }
// The left side is taken by value and appended to.
inline cow_String operator+(cow_String a, const cow_String& b) { return a.Append(b); }
inline cow_String operator+(cow_String a, const char* b) { return a.Append(b); }
ZORBAS_API aio_ostream& operator<<(aio_ostream& out, const cow_String& s);

// The order of `b` against `a` (note the reversed sense, on which the ordered containers rest):
// strnatcmp when the process asks for natural order, strcmp otherwise.
ZORBAS_API int BtreeCompare(const cow_String& a, const cow_String& b);
