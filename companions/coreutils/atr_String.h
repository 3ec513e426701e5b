// The companion's own string value: the same shared byte string as cow_String, with no fields of
// its own, for callers of the text layer. Copies share the representation; comparison is byte
// order, and BtreeCompare follows the process's natural-order setting with its reversed sense.
#pragma once

#include <cstring>

#include "companions/coreutils/atr_StringBase.h"

class ZORBAS_API atr_String : public atr_StringBase {
  public:
    atr_String() = default;
    atr_String(const atr_String& other) = default;
    atr_String(const atr_StringBase& other) : atr_StringBase(other) {}
    atr_String(const char* text) : atr_StringBase(text) {}
    atr_String(const char* text, int length) : atr_StringBase(text, length) {}

    atr_String& operator=(const atr_String& other) {
        atr_StringBase::operator=(other);
        return *this;
    }
    atr_String& operator=(const char* text) {
        atr_StringBase::operator=(text);
        return *this;
    }
};

inline bool operator==(const atr_String& a, const atr_String& b) { return a.Compare(b) == 0; }
inline bool operator==(const atr_String& a, const char* b) { return a.Compare(b) == 0; }
inline bool operator!=(const atr_String& a, const atr_String& b) { return a.Compare(b) != 0; }
inline bool operator<(const atr_String& a, const atr_String& b) { return a.Compare(b) < 0; }
inline bool operator>(const atr_String& a, const atr_String& b) { return a.Compare(b) > 0; }

// The order of `b` against `a`: strnatcmp under natural order, strcmp otherwise.
inline int BtreeCompare(const atr_String& a, const atr_String& b) {
    return atr_getNaturalOrder() ? strnatcmp(b.CStr(), a.CStr()) : std::strcmp(b.CStr(), a.CStr());
}
