// The edges of the Fortran string conversions that a Fortran caller cannot reach: null pointers,
// empty buffers, trailing NULs left by C code; the Fortran test program covers the ordinary use.
#include "zorbas/text/ZORBasFortranString.h"

#include <gtest/gtest.h>

#include <string>

TEST(FortranString, FortranToCTrimsOnlyTrailingPaddingAndCutsLikeSnprintf) {
    char buf[8] = "xxxxxxx";
    EXPECT_EQ(ZORBasFortranToC(" a b \0\0 ", 8, buf, sizeof buf), 4);
    EXPECT_STREQ(buf, " a b");
    EXPECT_EQ(ZORBasFortranToC("abcdefghij", 10, buf, 4), 10);
    EXPECT_STREQ(buf, "abc");
    EXPECT_EQ(ZORBasFortranToC("     ", 5, buf, sizeof buf), 0);
    EXPECT_STREQ(buf, "");
    EXPECT_EQ(ZORBasFortranToC(nullptr, 5, buf, sizeof buf), 0);
    EXPECT_STREQ(buf, "");
    buf[0] = 'q';
    EXPECT_EQ(ZORBasFortranToC("abc", 3, buf, 0), 3);
    EXPECT_EQ(buf[0], 'q') << "a buffer of no bytes is not written";
    EXPECT_EQ(ZORBasFortranTrimmedLength("abc", -2), 0);
}

TEST(FortranString, CToFortranPadsWithBlanksAndReportsACut) {
    char field[6];
    EXPECT_EQ(ZORBasCToFortran("ab", field, 6), 2);
    EXPECT_EQ(std::string(field, 6), "ab    ");
    EXPECT_EQ(ZORBasCToFortran("abcdefgh", field, 6), 8);
    EXPECT_EQ(std::string(field, 6), "abcdef");
    EXPECT_EQ(ZORBasCToFortran(nullptr, field, 6), 0);
    EXPECT_EQ(std::string(field, 6), "      ");
    EXPECT_EQ(ZORBasCToFortran("ab", field, 0), 2);
}
