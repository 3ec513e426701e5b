#include "zorbas/cow/cow_String.h"

#include <cstring>

namespace {
int CappedLength(const char* text) {
    size_t n = text ? std::strlen(text) : 0;
    return n > static_cast<size_t>(atr_npos) ? atr_npos : static_cast<int>(n);
}
}  // namespace

cow_String& cow_String::Append(const cow_String& other) {
    append(other.CStr(), other.Length(), 0, atr_npos);
    return *this;
}

cow_String& cow_String::Append(const char* text) {
    append(text, CappedLength(text), 0, atr_npos);
    return *this;
}

int cow_String::RFind(const char* s, int from) const { return rfind(s, CappedLength(s), from); }

cow_String cow_String::Substr(int from, int to) const {
    int n = atr_StringBase::Substr(from, to);
    if (n == 0) return cow_String();
    if (from < 0) from = 0;
    return cow_String(CStr() + from, n);
}

cow_String& cow_String::Erase() { return Erase(0, atr_npos); }

cow_String& cow_String::Erase(int pos, int n) {
    atr_StringBase::Erase(pos, n);
    return *this;
}

cow_String& cow_String::Insert(int pos, const char* text, int count) {
    insert(pos, text, CappedLength(text), 0, count);
    return *this;
}

cow_String& cow_String::Replace(int pos, int n, const cow_String& with) {
    replace(pos, n, with.CStr(), with.Length(), 0, atr_npos);
    return *this;
}

cow_String& cow_String::LeftTrim(const char* set) {
    atr_StringBase::LeftTrim(set);
    return *this;
}

cow_String& cow_String::RightTrim(const char* set) {
    atr_StringBase::RightTrim(set);
    return *this;
}

cow_String& cow_String::ToLower() {
    atr_StringBase::ToLower();
    return *this;
}

cow_String& cow_String::Capitalize() {
    atr_StringBase::Capitalize();
    return *this;
}

aio_ostream& operator<<(aio_ostream& out, const cow_String& s) { return out.print(s.CStr()); }

int BtreeCompare(const cow_String& a, const cow_String& b) {
    return atr_getNaturalOrder() ? strnatcmp(b.CStr(), a.CStr()) : std::strcmp(b.CStr(), a.CStr());
}
