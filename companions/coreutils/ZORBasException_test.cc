#include "companions/coreutils/ZORBasException.h"

#include "companions/framework/zorbas_child_check_test.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <memory>

namespace {
void Raise(ZORBasException& e) { e.Throw("ZORBase/test/raise", 77); }
}  // namespace

TEST(Exception, ThrowRecordsThePlaceAndRaisesTheMostDerivedType) {
    ZORBasOsStringCast cast("Locale");
    ZORBasException& base = cast;
    try {
        Raise(base);
        FAIL();
    } catch (const ZORBasOsStringCast& e) {
        EXPECT_STREQ(e.File(), "ZORBase/test/raise");
        EXPECT_EQ(e.Line(), 77);
        EXPECT_STREQ(e.UserReport(ZORBasStringModeUTF8), "Locale");
        EXPECT_STREQ(e.DeveloperReport(ZORBasStringModeUTF8),
                     "Locale (code 102, file ZORBase/test/raise, line 77)");
    }
}

TEST(Exception, CloneAndPropagateKeepTypeTextAndPlace) {
    ZORBasToUTF8Exception original("bad bytes");
    try {
        original.Throw("f.cc", 3);
    } catch (const ZORBasException& caught) {
        std::unique_ptr<ZORBasException> copy(caught.Clone());
        ASSERT_NE(copy, nullptr);
        EXPECT_EQ(copy->GetCode(), 103);
        EXPECT_STREQ(copy->AsString(ZORBasStringModeLocale), "bad bytes");
        EXPECT_EQ(copy->Line(), 3);
        EXPECT_THROW(copy->Propagate(), ZORBasToUTF8Exception);
    }
    ZORBasAssertException a("x");
    ZORBasOsStringConversion c("y");
    EXPECT_EQ(a.GetCode(), 101);
    EXPECT_EQ(c.GetCode(), 104);
}

TEST(ExceptionModel, RegexFailuresRaiseTheirOwnClasses) {
    try {
        ZORBasExceptionModel::throwExecException(-8);
        FAIL();
    } catch (const ZORBasExecException& e) {
        EXPECT_EQ(e.GetCode(), 201);
        EXPECT_EQ(e.ErrorNumber(), -8);
        EXPECT_STREQ(e.Message(), "Regular expression execution failed (error -8)");
        EXPECT_NE(e.Line(), 0);
    }
    try {
        // The facade passes the compiler's error offset and text.
        ZORBasExceptionModel::throwPatternException(7, "missing closing parenthesis");
        FAIL();
    } catch (const ZORBasPatternException& e) {
        EXPECT_EQ(e.GetCode(), 202);
        EXPECT_EQ(e.Offset(), 7);
        EXPECT_STREQ(e.AsString(ZORBasStringModeUTF8),
                     "Regular expression does not compile at offset 7: missing closing "
                     "parenthesis");
        std::unique_ptr<ZORBasException> copy(e.Clone());
        EXPECT_THROW(copy->Propagate(), ZORBasPatternException);
    }
}

// The switch is read once, so each state is checked in a child of its own.
TEST(ExceptionModelDeathTest, FormalAssertionsFollowTheEnvironment) {
    EXPECT_EXIT(
        {
            setenv("ZOR_BEX_ASSERT_FORMAL", "", 1);
            ZORBAS_CHILD_CHECK(ZORBasBexAssertFormalize());  // present, if empty
            unsetenv("ZOR_BEX_ASSERT_FORMAL");
            ZORBAS_CHILD_CHECK(ZORBasBexAssertFormalize());  // read once: the unset comes late
            _exit(0);
        },
        testing::ExitedWithCode(0), "");
    EXPECT_EXIT(
        {
            unsetenv("ZOR_BEX_ASSERT_FORMAL");
            ZORBAS_CHILD_CHECK(!ZORBasBexAssertFormalize());
            _exit(0);
        },
        testing::ExitedWithCode(0), "");
}
