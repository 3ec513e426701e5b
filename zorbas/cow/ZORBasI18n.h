// Conversions of the library's string values between the process's locale encoding and UTF-8.
// cow_String itself never converts: its bytes are in whatever encoding their writer used, and
// these functions are where a caller says which. Each call converts the whole text through the
// companion's ZORString / ZOROsString (iconv), so the cost is one conversion per string.
#pragma once

#include "companions/framework/zorbas_export.h"
#include "zorbas/cow/cow_List.h"
#include "zorbas/cow/cow_Map.h"
#include "zorbas/cow/cow_String.h"

class ZORBAS_API ZORBasI18n {
  public:
    // Locale text to UTF-8; throws ZORBasToUTF8Exception, with the text as its message, when the
    // text isn't valid in the locale encoding. The result shares the converted representation.
    static cow_String ToUTF8(const cow_String& text);
    // UTF-8 text to the locale encoding, a new copy of the bytes; throws
    // ZORBasOsStringConversion when a character has no form in the locale encoding.
    static cow_String ToLocale(const cow_String& text);

    // A new list, converted element by element in order.
    static cow_List<cow_String> ToUTF8(const cow_List<cow_String>& texts);
    static cow_List<cow_String> ToLocale(const cow_List<cow_String>& texts);

    // Converts keys and values in ascending key order and inserts them into `out`, which isn't
    // cleared first: a converted key that is there already gets the converted value.
    static void ToUTF8(const cow_Map<cow_String, cow_String>& in,
                       cow_Map<cow_String, cow_String>& out);
    static void ToLocale(const cow_Map<cow_String, cow_String>& in,
                         cow_Map<cow_String, cow_String>& out);
};
