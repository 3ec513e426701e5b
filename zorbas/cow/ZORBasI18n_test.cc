#include "zorbas/cow/ZORBasI18n.h"

#include <gtest/gtest.h>

#include <clocale>
#include <string>

#include "companions/coreutils/ZORBasException.h"

namespace {

// Runs a test body under one LC_CTYPE locale and puts the old one back.
class ZORBasI18nTest : public ::testing::Test {
  protected:
    void Use(const char* locale) {
        saved = std::setlocale(LC_CTYPE, nullptr);
        ASSERT_NE(std::setlocale(LC_CTYPE, locale), nullptr) << locale;
    }
    void TearDown() override {
        if (!saved.empty()) std::setlocale(LC_CTYPE, saved.c_str());
    }
    std::string saved;
};

TEST_F(ZORBasI18nTest, TextThatTheLocaleCannotReadThrowsWithTheTextAsMessage) {
    Use("C");
    EXPECT_EQ(ZORBasI18n::ToUTF8(cow_String("plain")), "plain");
    try {
        ZORBasI18n::ToUTF8(cow_String("caf\xe9"));
        FAIL() << "no exception";
    } catch (const ZORBasToUTF8Exception& e) {
        EXPECT_STREQ(e.Message(), "caf\xe9");
    }
    EXPECT_THROW(ZORBasI18n::ToLocale(cow_String("caf\xc3\xa9")), ZORBasOsStringConversion);
    EXPECT_EQ(ZORBasI18n::ToLocale(cow_String("plain")), "plain");
}

TEST_F(ZORBasI18nTest, ListsAndMapsConvertEveryElement) {
    Use("C.utf8");
    cow_List<cow_String> texts("caf\xc3\xa9", "", "x");
    cow_List<cow_String> utf8 = ZORBasI18n::ToUTF8(texts);
    EXPECT_TRUE(utf8 == texts);
    EXPECT_TRUE(ZORBasI18n::ToLocale(cow_List<cow_String>()).IsEmpty());
    EXPECT_THROW(ZORBasI18n::ToUTF8(cow_List<cow_String>("ok", "bad\xff")), ZORBasToUTF8Exception);

    cow_Map<cow_String, cow_String> in;
    in.Insert("k\xc3\xa9", "v1");
    in.Insert("a", "v2");
    cow_Map<cow_String, cow_String> out;
    out.Insert("kept", "old");
    out.Insert("a", "replaced");
    ZORBasI18n::ToLocale(in, out);
    EXPECT_EQ(out.Size(), 3) << "the out map isn't cleared first";
    EXPECT_EQ(out.ConstGet("a"), "v2");
    EXPECT_EQ(out.ConstGet("k\xc3\xa9"), "v1");
    EXPECT_EQ(out.ConstGet("kept"), "old");

    cow_Map<cow_String, cow_String> none;
    ZORBasI18n::ToUTF8(cow_Map<cow_String, cow_String>(), none);
    EXPECT_TRUE(none.IsEmpty());
}

}  // namespace
