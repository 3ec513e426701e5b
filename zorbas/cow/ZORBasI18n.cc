#include "zorbas/cow/ZORBasI18n.h"

#include "companions/coreutils/ZORBasException.h"
#include "companions/coreutils/ZORString.h"

namespace {

constexpr const char* kFile = "ZORBase/ZORBasUtils.m/src/ZORBasI18n";

template <class Convert>
cow_List<cow_String> ConvertList(const cow_List<cow_String>& texts, Convert convert) {
    cow_List<cow_String> result(cow_ListPreSize, texts.Length());
    for (cow_ListIter<cow_String> it(texts); it.NotDone(); it.Next())
        result.Append(convert(it.CurrentItem()));
    return result;
}

template <class Convert>
void ConvertMap(const cow_Map<cow_String, cow_String>& in, cow_Map<cow_String, cow_String>& out,
                Convert convert) {
    if (in.IsEmpty()) return;
    cow_ConstMapSortedIt<cow_String, cow_String> it(in);
    for (it.First(); !it.IsDone(); it.Next()) {
        cow_String value = convert(it.CurrentValue());
        out.Insert(convert(it.CurrentKey()), value);
    }
}

}  // namespace

cow_String ZORBasI18n::ToUTF8(const cow_String& text) {
    ZORString utf8;
    if (utf8.BuildFromLocale(text.CStr()) != 0)
        ZORBasToUTF8Exception(text.CStr()).Throw(kFile, __LINE__);
    return cow_String(static_cast<const atr_StringBase&>(utf8));
}

cow_String ZORBasI18n::ToLocale(const cow_String& text) {
    ZOROsString local(text.CStr(), ZOROsString::Locale);
    return cow_String(local.ToLocale());
}

cow_List<cow_String> ZORBasI18n::ToUTF8(const cow_List<cow_String>& texts) {
    return ConvertList(texts, [](const cow_String& s) { return ToUTF8(s); });
}

cow_List<cow_String> ZORBasI18n::ToLocale(const cow_List<cow_String>& texts) {
    return ConvertList(texts, [](const cow_String& s) { return ToLocale(s); });
}

void ZORBasI18n::ToUTF8(const cow_Map<cow_String, cow_String>& in,
                        cow_Map<cow_String, cow_String>& out) {
    ConvertMap(in, out, [](const cow_String& s) { return ToUTF8(s); });
}

void ZORBasI18n::ToLocale(const cow_Map<cow_String, cow_String>& in,
                          cow_Map<cow_String, cow_String>& out) {
    ConvertMap(in, out, [](const cow_String& s) { return ToLocale(s); });
}
