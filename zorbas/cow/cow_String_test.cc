// cow_String: sharing, the first write after a copy, the splices it decides, and comparisons.
#include <gtest/gtest.h>

#include <cstdio>

#include "zorbas/cow/cow_String.h"

namespace {

TEST(CowString, DefaultIsEmptyWithoutRepresentation) {
    cow_String s;
    ASSERT_NE(s.CStr(), nullptr);
    EXPECT_STREQ(s.CStr(), "");
    EXPECT_EQ(s.Length(), 0);
    EXPECT_TRUE(s.Empty());
    EXPECT_EQ(s.References(), 0);
}

TEST(CowString, CopiesShareAndTheFirstEditUnshares) {
    cow_String a("mesh");
    cow_String b = a;
    cow_String c;
    c = b;
    EXPECT_EQ(a.CStr(), b.CStr());
    EXPECT_EQ(a.References(), 3);
    b += "_01";
    EXPECT_STREQ(a.CStr(), "mesh");
    EXPECT_STREQ(b.CStr(), "mesh_01");
    EXPECT_EQ(a.References(), 2);
    c[0] = 'M';  // the non-const index unshares too
    EXPECT_STREQ(a.CStr(), "mesh");
    EXPECT_STREQ(c.CStr(), "Mesh");
    EXPECT_EQ(a.References(), 1);
    const cow_String& ca = a;
    EXPECT_EQ(ca[1], 'e');
}

TEST(CowString, NumberConstructorsGiveDecimalText) {
    EXPECT_EQ(cow_String(-42), "-42");
    EXPECT_EQ(cow_String(2.5), "2.5");
    EXPECT_EQ(cow_String(0.1f), "0.1");
    EXPECT_EQ(cow_String("abcdef", 3), "abc");
    cow_String presized(64, PreSize);
    EXPECT_EQ(presized.Length(), 0);
    presized.Append("grows in place");
    EXPECT_EQ(presized, "grows in place");
}

TEST(CowString, AppendInsertReplaceAndErase) {
    cow_String s("node");
    s.Append(cow_String("set")).Append("_7");
    EXPECT_EQ(s, "nodeset_7");
    s.Insert(4, "-", 1);
    EXPECT_EQ(s, "node-set_7");
    s.Insert(0, "elementXYZ", 7);  // count limits the window of the source
    EXPECT_EQ(s, "elementnode-set_7");
    s.Replace(0, 7, cow_String("part"));
    EXPECT_EQ(s, "partnode-set_7");
    s.Erase(4, 5);
    EXPECT_EQ(s, "partset_7");
    s.Erase(7, 2147483647);
    EXPECT_EQ(s, "partset");
    s.Erase();
    EXPECT_TRUE(s.Empty());
    EXPECT_STREQ(s.CStr(), "");
}

TEST(CowString, SelfAppendAndOutOfRangePositionsAreSafe) {
    cow_String s("ab");
    s.Append(s);
    EXPECT_EQ(s, "abab");
    s += s.CStr() + 1;  // a source inside the string's own text
    EXPECT_EQ(s, "ababbab");
    s.Insert(100, "!");  // clipped to the end
    EXPECT_EQ(s, "ababbab!");
    s.Erase(-3, 2);  // clipped to the start
    EXPECT_EQ(s, "abbab!");
}

TEST(CowString, FindRFindAndSubstr) {
    cow_String s("a.b.c.d");
    EXPECT_EQ(s.Find("."), 1);
    EXPECT_EQ(s.Find(".", 2), 3);
    EXPECT_EQ(s.Find(cow_String("c")), 4);
    EXPECT_EQ(s.Find("x"), -1);
    EXPECT_EQ(s.Find(".", 100), -1);
    EXPECT_EQ(s.RFind("."), 5);
    EXPECT_EQ(s.RFind(".", 4), 3);
    EXPECT_EQ(s.RFind("a.b.c.d.e"), -1);
    cow_String sub = s.Substr(2, 5);
    EXPECT_EQ(sub, "b.c");
    EXPECT_EQ(sub.References(), 1);
    EXPECT_NE(sub.CStr(), s.CStr() + 2) << "the result does not share";
    EXPECT_EQ(s.Substr(4, 100), "c.d");
    EXPECT_EQ(s.Substr(5, 2), "");
}

TEST(CowString, TrimsAndCase) {
    cow_String s("  \tShell Elements \n");
    s.LeftTrim().RightTrim();
    EXPECT_EQ(s, "Shell Elements");
    EXPECT_EQ(cow_String("xxabcxx").LeftTrim("x").RightTrim("x"), "abc");
    EXPECT_EQ(cow_String("MiXeD 42").ToLower(), "mixed 42");
    EXPECT_EQ(cow_String("solid").Capitalize(), "Solid");
    cow_String lower("done");
    cow_String shared = lower;
    shared.ToLower();  // nothing to change: stays shared
    EXPECT_EQ(lower.References(), 2);
}

TEST(CowString, ComparisonIsByteOrderAndBtreeCompareIsReversedAndMayBeNatural) {
    cow_String a("item10"), b("item9");
    EXPECT_TRUE(a < b);  // strcmp order
    EXPECT_TRUE(b > a);
    EXPECT_TRUE(a == "item10");
    EXPECT_TRUE(a != b);
    EXPECT_GT(BtreeCompare(a, b), 0) << "order of the second against the first";
    EXPECT_LT(BtreeCompare(b, a), 0);
    atr_setNaturalOrder(1);
    EXPECT_LT(BtreeCompare(a, b), 0) << "natural order: item9 before item10";
    EXPECT_TRUE(a < b) << "operator< ignores the natural-order setting";
    atr_setNaturalOrder(0);
    EXPECT_EQ(BtreeCompare(a, a), 0);
}

TEST(CowString, PlusTakesTheLeftByValue) {
    cow_String left("a");
    cow_String sum = left + cow_String("b") + "c";
    EXPECT_EQ(sum, "abc");
    EXPECT_EQ(left, "a");
}

TEST(CowString, WritesToAStream) {
    FILE* f = std::tmpfile();
    ASSERT_NE(f, nullptr);
    aio_ostream out(f);
    out << cow_String("rank ") << 3;
    out.flush();
    std::rewind(f);
    char buf[32] = {};
    ASSERT_NE(std::fgets(buf, sizeof buf, f), nullptr);
    EXPECT_STREQ(buf, "rank 3");
    std::fclose(f);
}

}  // namespace
