#include "companions/coreutils/ZORString.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstring>
#include <string>

namespace {

// Runs a block under a given LC_CTYPE and restores the one before.
class CtypeScope {
  public:
    explicit CtypeScope(const char* name) : m_old(std::setlocale(LC_CTYPE, nullptr)) {
        m_ok = std::setlocale(LC_CTYPE, name) != nullptr;
    }
    ~CtypeScope() { std::setlocale(LC_CTYPE, m_old.c_str()); }
    bool ok() const { return m_ok; }

  private:
    std::string m_old;
    bool m_ok;
};

std::string S(const ZORString& s) { return std::string(s.CStr(), s.Length()); }

}  // namespace

TEST(ZORString, DefaultIsEmptyUtf8AndLayoutIsTheBasePlusAFlag) {
    ZORString s;
    EXPECT_TRUE(s.IsUTF8());
    EXPECT_EQ(s.GetLengthInByte(), 0);
    EXPECT_GE(sizeof(ZORString), sizeof(atr_StringBase) + sizeof(bool));
    EXPECT_LE(sizeof(ZORString), sizeof(atr_StringBase) + alignof(void*));
}

TEST(ZORString, Utf8IsValidatedStrictly) {
    ZORString s;
    ASSERT_EQ(s.BuildFromUTF8("Zo\xC3\xAB \xE2\x82\xAC \xF0\x9F\x98\x80"), ZORStringOK);
    EXPECT_EQ(s.GetLengthInByte(), 13);
    EXPECT_EQ(s.GetLengthInChar(), 7);
    const char* bad[] = {
        "\xC0\x80",          // overlong NUL
        "\xE0\x80\xAF",      // overlong slash
        "\xED\xA0\x80",      // a UTF-16 surrogate
        "\xF4\x90\x80\x80",  // above U+10FFFF
        "\xE2\x82",          // truncated at the end
        "\xE2\x82x",         // truncated in the middle
        "\x80",              // stray follow byte
        "\xFF",
    };
    for (const char* b : bad) {
        EXPECT_EQ(s.BuildFromUTF8(b), ZORStringInvalidInput) << b;
        EXPECT_EQ(s.GetLengthInChar(), 7) << "a failed build leaves the string as it was";
    }
    EXPECT_EQ(s.BuildFromUTF8(nullptr), ZORStringOK);
    EXPECT_EQ(s.GetLengthInByte(), 0);
}

TEST(ZORString, LocaleAndNamedEncodings) {
    ZORString s;
    {
        CtypeScope utf8("C.UTF-8");
        ASSERT_TRUE(utf8.ok());
        ASSERT_EQ(s.BuildFromLocale("caf\xC3\xA9"), ZORStringOK);
        EXPECT_EQ(S(s), "caf\xC3\xA9");
        char out[16];
        size_t size = sizeof out;
        ASSERT_EQ(s.ConvertToLocale(out, &size), ZORStringOK);
        EXPECT_EQ(size, 5u);
        EXPECT_STREQ(out, "caf\xC3\xA9");
        size = 3;
        EXPECT_EQ(s.ConvertToLocale(out, &size), ZORStringBufferTooSmall);
        EXPECT_EQ(size, 5u);  // the size needed
        EXPECT_EQ(s.BuildFromLocale("caf\xE9"), ZORStringInvalidInput);
    }
    {
        CtypeScope ascii("C");
        ASSERT_TRUE(ascii.ok());
        EXPECT_EQ(s.BuildFromLocale("caf\xE9"), ZORStringInvalidInput);  // not ASCII
        char out[16];
        size_t size = sizeof out;
        EXPECT_EQ(s.ConvertToLocale(out, &size), ZORStringNotRepresentable);
    }
    ASSERT_EQ(s.BuildFromEncoding("caf\xE9", "ISO-8859-1"), ZORStringOK);
    EXPECT_EQ(S(s), "caf\xC3\xA9");
    ASSERT_EQ(s.BuildFromUTF8("\xE2\x82\xAC"
                              "5"),
              ZORStringOK);
    char out[8];
    size_t size = sizeof out;
    EXPECT_EQ(s.ConvertToEncoding("ISO-8859-1", out, &size), ZORStringNotRepresentable);
    size = sizeof out;
    ASSERT_EQ(s.ConvertToEncoding("CP1252", out, &size), ZORStringOK);
    EXPECT_STREQ(out,
                 "\x80"
                 "5");
    EXPECT_EQ(s.BuildFromEncoding("x", "NO-SUCH-ENCODING"), ZORStringNoConverter);
}

TEST(ZORString, Utf16BothWaysWithSurrogatePairs) {
    const unsigned short wide[] = {'a', 0x00E9, 0x20AC, 0xD83D, 0xDE00, 0};
    ZORString s;
    ASSERT_EQ(s.BuildFromWChar(wide), ZORStringOK);
    EXPECT_EQ(S(s), "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
    EXPECT_EQ(s.GetLengthInChar(), 4);
    EXPECT_EQ(s.GetLengthInWChar(), 5);
    unsigned short back[6];
    EXPECT_EQ(s.ConvertToWChar(back), 5);
    EXPECT_EQ(std::memcmp(back, wide, sizeof wide), 0);

    ASSERT_EQ(s.BuildFromUTF16(wide, 2), ZORStringOK);
    EXPECT_EQ(S(s), "a\xC3\xA9");
    const unsigned short lone[] = {'a', 0xD83D, 'b', 0};
    EXPECT_EQ(s.BuildFromWChar(lone), ZORStringInvalidInput);
    EXPECT_EQ(s.BuildFromUTF16(wide, 4), ZORStringInvalidInput);  // cut inside the pair
    EXPECT_EQ(S(s), "a\xC3\xA9");
}

TEST(ZORString, NumbersThroughCheckedFormats) {
    ZORString s;
    ASSERT_EQ(s.BuildFromNum(42, nullptr), ZORStringOK);
    EXPECT_EQ(S(s), "42");
    ASSERT_EQ(s.BuildFromNum(42, "%05d"), ZORStringOK);
    EXPECT_EQ(S(s), "00042");
    ASSERT_EQ(s.BuildFromNum(255, "id=%#x (100%%)"), ZORStringOK);
    EXPECT_EQ(S(s), "id=0xff (100%)");
    EXPECT_EQ(s.BuildFromNum(1, "%s"), ZORStringBadFormat);
    EXPECT_EQ(s.BuildFromNum(1, "%d %d"), ZORStringBadFormat);
    EXPECT_EQ(s.BuildFromNum(1, "%ld"), ZORStringBadFormat);
    EXPECT_EQ(s.BuildFromNum(1, "%*d"), ZORStringBadFormat);
    EXPECT_EQ(s.BuildFromNum(1, "none"), ZORStringBadFormat);
    EXPECT_EQ(S(s), "id=0xff (100%)");
}

TEST(ZORString, CharacterPositionsAppendAndSubString) {
    ZORString s("\xC3\xA9t\xC3\xA9 \xC3\xA9t\xC3\xA9");  // "été été"
    ZORString what("t\xC3\xA9");
    EXPECT_EQ(s.FindPosition(what, 0), 1);
    EXPECT_EQ(s.FindPosition(what, 2), 5);
    EXPECT_EQ(s.FindPosition(what, 6), -1);
    EXPECT_EQ(s.FindPosition(what, 100), -1);
    EXPECT_EQ(S(s.SubString(4, 2)), "\xC3\xA9t");
    EXPECT_EQ(S(s.SubString(5, -1)), "t\xC3\xA9");
    EXPECT_EQ(S(s.SubString(6, 100)), "\xC3\xA9");
    EXPECT_EQ(s.SubString(20, 3).GetLengthInByte(), 0);
    ZORString copy(s);
    copy.Append(what);
    EXPECT_EQ(copy.GetLengthInChar(), 9);
    EXPECT_EQ(s.GetLengthInChar(), 7);  // the shared original is untouched
}

TEST(ZOROsString, ConvertsAndRefusesTheWrongCast) {
    CtypeScope utf8("C.UTF-8");
    ASSERT_TRUE(utf8.ok());
    ZOROsString locale("caf\xC3\xA9", ZOROsString::Locale);
    EXPECT_STREQ(locale.ToLocale(), "caf\xC3\xA9");
    ZOROsString wide(ZORString("a\xE2\x82\xAC"), ZOROsString::WChar);
    EXPECT_EQ(wide.ToWChar()[1], 0x20AC);
    EXPECT_EQ(wide.ToWChar()[2], 0);
    try {
        wide.ToLocale();
        FAIL() << "no exception";
    } catch (const ZORBasOsStringCast& e) {
        EXPECT_STREQ(e.Message(), "Locale");
        EXPECT_EQ(e.GetCode(), 102);
        EXPECT_NE(e.Line(), 0);
    }
    EXPECT_THROW(locale.ToWChar(), ZORBasOsStringCast);
    EXPECT_THROW(ZOROsString("\xC3", ZOROsString::Locale), ZORBasOsStringConversion);
}

TEST(ZOROsString, TextTheLocaleCannotHoldFailsTheConversion) {
    CtypeScope ascii("C");
    ASSERT_TRUE(ascii.ok());
    try {
        ZOROsString s("caf\xC3\xA9", ZOROsString::Locale);
        FAIL() << "no exception";
    } catch (const ZORBasOsStringConversion& e) {
        EXPECT_NE(std::strstr(e.Message(), "Cannot convert text to"), nullptr);
    }
    ZOROsString plain("cafe", ZOROsString::Locale);
    EXPECT_STREQ(plain.ToLocale(), "cafe");
}
