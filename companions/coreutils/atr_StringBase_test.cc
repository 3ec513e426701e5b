#include "companions/coreutils/atr_StringBase.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {
std::string S(const atr_StringBase& s) { return std::string(s.CStr(), s.Length()); }
}  // namespace

TEST(StringBase, SplicesTakeAClippedWindowOfTheSource) {
    atr_StringBase s("hello");
    s.append("0123456789", 10, 2, 3);
    EXPECT_EQ(S(s), "hello234");
    s.append("abc", 3, 1, atr_npos);  // count 2147483647: to the end
    EXPECT_EQ(S(s), "hello234bc");
    s.append("xyz", 3, 5, 2);    // window beyond the source: nothing
    s.append("xyz", -1, -4, 2);  // negative length: up to the zero; negative from: 0
    EXPECT_EQ(S(s), "hello234bcxy");
    s.insert(0, "<<>>", 4, 1, 2);
    EXPECT_EQ(S(s), "<>hello234bcxy");
    s.insert(1000, "!", 1, 0, atr_npos);  // position clipped to the end
    EXPECT_EQ(S(s), "<>hello234bcxy!");
    s.replace(2, 5, "HELLO world", 11, 0, 5);
    EXPECT_EQ(S(s), "<>HELLO234bcxy!");
    s.replace(7, atr_npos, "", 0, 0, 0);
    EXPECT_EQ(S(s), "<>HELLO");
    s.Erase(0, 2).Erase(3, 100);
    EXPECT_EQ(S(s), "HEL");
    s.Erase(0, atr_npos);
    EXPECT_EQ(s.Length(), 0);
    EXPECT_STREQ(s.CStr(), "");
}

TEST(StringBase, SplicingFromItsOwnTextIsSafe) {
    atr_StringBase s("abcdef");
    for (int i = 0; i < 6; ++i) s.append(s.CStr(), s.Length(), 0, atr_npos);  // doubles, moving
    EXPECT_EQ(s.Length(), 6 * 64);
    EXPECT_EQ(S(s).substr(0, 12), "abcdefabcdef");
    atr_StringBase t("0123456789");
    t.insert(2, t.CStr(), t.Length(), 5, 3);
    EXPECT_EQ(S(t), "0156723456789");
    t.replace(0, 4, t.CStr() + 9, -1, 0, atr_npos);
    EXPECT_EQ(S(t), "6789723456789");
}

TEST(StringBase, CopiesShareUntilOneWrites) {
    atr_StringBase a("shared text");
    atr_StringBase b(a);
    atr_StringBase c;
    c = b;
    EXPECT_EQ(a.References(), 3);
    EXPECT_EQ(a.CStr(), c.CStr());
    c[0] = 'S';  // the non-const byte access makes c exclusive
    EXPECT_EQ(S(a), "shared text");
    EXPECT_EQ(S(c), "Shared text");
    EXPECT_EQ(a.References(), 2);
    b.append("!", 1, 0, 1);
    EXPECT_EQ(S(a), "shared text");
    EXPECT_EQ(S(b), "shared text!");
    a.ToLower();  // nothing to lower: stays shared, no copy
    atr_StringBase d(a);
    d.ToLower();
    EXPECT_EQ(d.CStr(), a.CStr());
    d.Capitalize();
    EXPECT_EQ(S(d), "Shared text");
    EXPECT_EQ(S(a), "shared text");
    a = a;
    EXPECT_EQ(S(a), "shared text");
    atr_StringBase e("MiXeD");
    EXPECT_EQ(S(e.ToLower()), "mixed");
}

TEST(StringBase, TrimsAndSearches) {
    atr_StringBase s("  \t x=1;y=22;x=3 \n");
    s.LeftTrim(nullptr).RightTrim(" \n");
    EXPECT_EQ(S(s), "x=1;y=22;x=3");
    atr_StringBase z("xxxx");
    z.LeftTrim("x");
    EXPECT_EQ(z.Length(), 0);

    EXPECT_EQ(s.Find("x=", 0), 0);
    EXPECT_EQ(s.Find("x=", 1), 9);
    EXPECT_EQ(s.Find("x=", 12), -1);
    EXPECT_EQ(s.Find("x=", 100), -1);
    EXPECT_EQ(s.Find("", 12), 12);
    EXPECT_EQ(s.rfind("x=", -1, -1), 9);
    EXPECT_EQ(s.rfind("x=", 2, 8), 0);
    EXPECT_EQ(s.rfind("x=;", 2, 100), 9);  // slen bounds the pattern
    EXPECT_EQ(s.rfind("q", -1, -1), -1);
    EXPECT_EQ(s.rfind("a much longer pattern", -1, -1), -1);

    EXPECT_EQ(s.Substr(2, 5), 3);
    EXPECT_EQ(s.Substr(-3, 2), 2);
    EXPECT_EQ(s.Substr(4, -1), 8);
    EXPECT_EQ(s.Substr(4, 1000), 8);
    EXPECT_EQ(s.Substr(10, 3), 0);
    EXPECT_EQ(s.Substr(50, 60), 0);
}

TEST(StringBase, ConstructionFromNumbersAndBoundedText) {
    EXPECT_EQ(S(atr_StringBase(-42)), "-42");
    EXPECT_EQ(S(atr_StringBase(0.5)), "0.5");
    EXPECT_EQ(S(atr_StringBase(2.5f)), "2.5");
    EXPECT_EQ(S(atr_StringBase("abc\0def", 7)), "abc");  // stops at the first zero
    EXPECT_EQ(S(atr_StringBase("abcdef", 2)), "ab");
    atr_StringBase pre(100, PreSize);
    EXPECT_EQ(pre.Length(), 0);
    const char* before = pre.CStr();
    pre.append("0123456789", 10, 0, atr_npos);
    EXPECT_EQ(pre.CStr(), before);  // the presized room took the text
    EXPECT_EQ(atr_StringBase("abc").Compare("abd"), -1);
    EXPECT_GT(atr_StringBase("b").Compare(atr_StringBase("abc")), 0);
}

TEST(StringBase, NaturalOrderComparesDigitRunsByValue) {
    std::vector<std::string> names = {"part10",  "part9", "part1", "Part2",
                                      "part09a", "x",     "part",  "part1b"};
    std::sort(names.begin(), names.end(), [](const std::string& a, const std::string& b) {
        return strnatcmp(a.c_str(), b.c_str()) < 0;
    });
    EXPECT_EQ(names, (std::vector<std::string>{"Part2", "part", "part1", "part1b", "part9",
                                               "part09a", "part10", "x"}));
    EXPECT_LT(strnatcmp("a2", "a10"), 0);
    EXPECT_GT(strnatcmp("a10", "a9"), 0);
    EXPECT_EQ(strnatcmp("a007", "a7"), 0);
    EXPECT_LT(strnatcmp("a7", "a7b"), 0);
    EXPECT_EQ(strnatcmp("", ""), 0);
    EXPECT_LT(strnatcmp("file 1", "file 1.5"), 0);
    atr_setNaturalOrder(1);
    EXPECT_NE(atr_getNaturalOrder(), 0);
    atr_setNaturalOrder(0);
    EXPECT_EQ(atr_getNaturalOrder(), 0);
}

TEST(StringBase, Utf8SequenceLengthsFromTheLeadByte) {
    const unsigned char ascii[] = "a";
    const unsigned char two[] = "\xC3\xA9";
    const unsigned char three[] = "\xE2\x82\xAC";
    const unsigned char four[] = "\xF0\x9F\x98\x80";
    const unsigned char stray[] = "\x80";
    EXPECT_EQ(atr_utf8_len(ascii), 1);
    EXPECT_EQ(atr_utf8_len(two), 2);
    EXPECT_EQ(atr_utf8_len(three), 3);
    EXPECT_EQ(atr_utf8_len(four), 4);
    EXPECT_EQ(atr_utf8_len(stray), 1);
}
