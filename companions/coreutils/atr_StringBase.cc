#include "companions/coreutils/atr_StringBase.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <new>

#include "companions/alloc/mem_Malloc.h"

const char atr_StringBase::s_empty[1] = {0};

namespace {

std::atomic<int> g_natural_order{0};

// Growth keeps appends amortised constant: at least half again the current capacity.
int GrownCapacity(int current, int needed) {
    long long grown = static_cast<long long>(current) + current / 2;
    long long want = std::max<long long>(needed, grown);
    return static_cast<int>(std::min<long long>(want, atr_npos - 64));
}

// Clips the window [from, from + count) of a source of length slen.
void ClipWindow(int slen, int& from, int& count) {
    if (slen < 0) slen = 0;
    if (from < 0) from = 0;
    if (from > slen) from = slen;
    long long end = count < 0 ? from : static_cast<long long>(from) + count;
    if (end > slen) end = slen;
    count = static_cast<int>(end - from);
}

int BoundedLength(const char* s, int slen) {
    if (!s) return 0;
    if (slen >= 0) return slen;
    size_t n = std::strlen(s);
    return n > static_cast<size_t>(atr_npos) ? atr_npos : static_cast<int>(n);
}

}  // namespace

atr_StringRep* atr_StringRep::Make(int capacity) {
    if (capacity < 0) capacity = 0;
    auto* rep = static_cast<atr_StringRep*>(
        mem_OperatorNewThrow(sizeof(atr_StringRep) + static_cast<size_t>(capacity) + 1));
    rep->count = 1;
    rep->length = 0;
    rep->capacity = capacity;
    rep->Text()[0] = 0;
    return rep;
}

atr_StringBase::atr_StringBase(const char* text) : atr_StringBase(text, -1) {}

atr_StringBase::atr_StringBase(const char* text, int len) : m_text(nullptr), m_rep(nullptr) {
    if (!text) return;
    // A bounded text stops at its first zero, like strnlen.
    int n = len < 0 ? BoundedLength(text, -1)
                    : static_cast<int>(strnlen(text, static_cast<size_t>(len)));
    if (n == 0) return;
    m_rep = atr_StringRep::Make(n);
    std::memcpy(m_rep->Text(), text, static_cast<size_t>(n));
    m_rep->Text()[n] = 0;
    m_rep->length = n;
    m_text = m_rep->Text();
}

namespace {
template <class Num>
atr_StringBase NumberText(Num value) {
    char buf[64];
    auto res = std::to_chars(buf, buf + sizeof buf, value);
    return atr_StringBase(buf, static_cast<int>(res.ptr - buf));
}
}  // namespace

atr_StringBase::atr_StringBase(int value) : atr_StringBase(NumberText(value)) {}
atr_StringBase::atr_StringBase(float value) : atr_StringBase(NumberText(value)) {}
atr_StringBase::atr_StringBase(double value) : atr_StringBase(NumberText(value)) {}

atr_StringBase::atr_StringBase(int size, PreSizeEnm) : m_text(nullptr), m_rep(nullptr) {
    if (size <= 0) return;
    m_rep = atr_StringRep::Make(size);
    m_text = m_rep->Text();
}

void atr_StringBase::Delete() {
    mem_Free(m_rep);
    m_rep = nullptr;
    m_text = nullptr;
}

atr_StringBase& atr_StringBase::operator=(const char* text) {
    atr_StringBase fresh(text);
    *this = fresh;
    return *this;
}

int atr_StringBase::Compare(const atr_StringBase& other) const {
    return std::strcmp(CStr(), other.CStr());
}

int atr_StringBase::Compare(const char* other) const {
    return std::strcmp(CStr(), other ? other : s_empty);
}

void atr_StringBase::MakeExclusive(int capacity) {
    if (m_rep && m_rep->count == 1 && m_rep->capacity >= capacity) return;
    int len = Length();
    int cap = m_rep && m_rep->count == 1 ? GrownCapacity(m_rep->capacity, capacity)
                                         : std::max(capacity, len);
    atr_StringRep* rep = atr_StringRep::Make(cap);
    if (len) std::memcpy(rep->Text(), m_text, static_cast<size_t>(len));
    rep->Text()[len] = 0;
    rep->length = len;
    if (m_rep && m_rep->Decrement()) Delete();
    m_rep = rep;
    m_text = rep->Text();
}

char& atr_StringBase::operator[](int i) {
    MakeExclusive(Length());
    return m_text[i];
}

atr_StringBase& atr_StringBase::replace(int pos, int n, const char* s, int slen, int from,
                                        int count) {
    int len = Length();
    pos = std::clamp(pos, 0, len);
    n = std::clamp(n, 0, len - pos);
    slen = BoundedLength(s, slen);
    ClipWindow(slen, from, count);
    if (n == 0 && count == 0) return *this;

    // The source may lie inside this string's own text; keep it alive and unmoved until the
    // splice is done by holding a reference to the old representation.
    atr_StringBase keep(*this);
    long long newLen = static_cast<long long>(len) - n + count;
    if (newLen > atr_npos - 64) throw std::bad_alloc();
    atr_StringRep* rep = m_rep;
    bool inPlace =
        rep && rep->count == 2 && rep->capacity >= newLen && !(s >= m_text && s < m_text + len);
    if (inPlace) {
        char* t = rep->Text();
        std::memmove(t + pos + count, t + pos + n, static_cast<size_t>(len - pos - n));
        std::memcpy(t + pos, s + from, static_cast<size_t>(count));
        rep->length = static_cast<int>(newLen);
        t[newLen] = 0;
        return *this;
    }
    int cap = static_cast<int>(newLen);
    if (rep && rep->count == 2) cap = GrownCapacity(rep->capacity, cap);
    atr_StringRep* fresh = atr_StringRep::Make(cap);
    char* t = fresh->Text();
    const char* old = CStr();
    std::memcpy(t, old, static_cast<size_t>(pos));
    std::memcpy(t + pos, s + from, static_cast<size_t>(count));
    std::memcpy(t + pos + count, old + pos + n, static_cast<size_t>(len - pos - n));
    t[newLen] = 0;
    fresh->length = static_cast<int>(newLen);
    if (m_rep && m_rep->Decrement()) Delete();
    m_rep = fresh;
    m_text = t;
    if (newLen == 0) {
        Delete();
    }
    return *this;
}

atr_StringBase& atr_StringBase::append(const char* s, int slen, int from, int count) {
    return replace(Length(), 0, s, slen, from, count);
}

atr_StringBase& atr_StringBase::insert(int pos, const char* s, int slen, int from, int count) {
    return replace(pos, 0, s, slen, from, count);
}

atr_StringBase& atr_StringBase::Erase(int pos, int n) { return replace(pos, n, "", 0, 0, 0); }

atr_StringBase& atr_StringBase::LeftTrim(const char* set) {
    const char* t = CStr();
    size_t skip = std::strspn(t, set ? set : " \t\r\n");
    return skip ? Erase(0, static_cast<int>(skip)) : *this;
}

atr_StringBase& atr_StringBase::RightTrim(const char* set) {
    const char* chars = set ? set : " \t\r\n";
    const char* t = CStr();
    int end = Length();
    while (end > 0 && std::strchr(chars, t[end - 1]) && t[end - 1] != 0) --end;
    return end < Length() ? Erase(end, atr_npos) : *this;
}

atr_StringBase& atr_StringBase::ToLower() {
    int len = Length();
    const char* t = CStr();
    int i = 0;
    while (i < len && !std::isupper(static_cast<unsigned char>(t[i]))) ++i;
    if (i == len) return *this;  // nothing to change: stay shared
    MakeExclusive(len);
    for (; i < len; ++i)
        m_text[i] = static_cast<char>(std::tolower(static_cast<unsigned char>(m_text[i])));
    return *this;
}

atr_StringBase& atr_StringBase::Capitalize() {
    if (Length() == 0 || !std::islower(static_cast<unsigned char>(CStr()[0]))) return *this;
    MakeExclusive(Length());
    m_text[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(m_text[0])));
    return *this;
}

int atr_StringBase::Find(const char* s, int from) const {
    int len = Length();
    if (!s || from > len) return -1;
    if (from < 0) from = 0;
    const char* t = CStr();
    const char* hit = std::strstr(t + from, s);
    return hit ? static_cast<int>(hit - t) : -1;
}

int atr_StringBase::rfind(const char* s, int slen, int from) const {
    int len = Length();
    slen = BoundedLength(s, slen);
    if (!s || slen > len) return -1;
    int start = std::min(from < 0 ? len : from, len - slen);
    const char* t = CStr();
    for (int i = start; i >= 0; --i)
        if (std::memcmp(t + i, s, static_cast<size_t>(slen)) == 0) return i;
    return -1;
}

int atr_StringBase::Substr(int from, int to) const {
    int len = Length();
    from = std::clamp(from, 0, len);
    if (to < 0 || to > len) to = len;
    return to > from ? to - from : 0;
}

int atr_utf8_len(const unsigned char* p) {
    unsigned char c = *p;
    if (c < 0x80) return 1;
    if ((c & 0xE0) == 0xC0) return 2;
    if ((c & 0xF0) == 0xE0) return 3;
    if ((c & 0xF8) == 0xF0) return 4;
    return 1;
}

int strnatcmp(const char* a, const char* b) {
    auto isdig = [](char c) { return c >= '0' && c <= '9'; };
    while (*a && *b) {
        if (isdig(*a) && isdig(*b)) {
            while (*a == '0' && isdig(a[1])) ++a;
            while (*b == '0' && isdig(b[1])) ++b;
            const char* ea = a;
            const char* eb = b;
            while (isdig(*ea)) ++ea;
            while (isdig(*eb)) ++eb;
            if (ea - a != eb - b) return ea - a < eb - b ? -1 : 1;
            int c = std::strncmp(a, b, static_cast<size_t>(ea - a));
            if (c) return c < 0 ? -1 : 1;
            a = ea;
            b = eb;
            continue;
        }
        if (*a != *b)
            return static_cast<unsigned char>(*a) < static_cast<unsigned char>(*b) ? -1 : 1;
        ++a;
        ++b;
    }
    if (*a == *b) return 0;
    return *a ? 1 : -1;
}

int atr_getNaturalOrder() { return g_natural_order.load(std::memory_order_relaxed); }
void atr_setNaturalOrder(int on) { g_natural_order.store(on, std::memory_order_relaxed); }
