#include "companions/coreutils/atr_translate.h"

#include <gtest/gtest.h>

namespace {

constexpr ZORBasStringMode kMode = ZORBasStringModeUTF8;

std::string Fill(const char* key, std::initializer_list<std::pair<int, const char*>> args) {
    atr_translate message(key, kMode);
    for (auto [index, value] : args) atr_SubstituteFormat(message, index, value, kMode);
    return message.Result(kMode);
}

TEST(Translate, ArgumentsFillNumberedThenPlainDirectivesOfTheLookedUpText) {
    EXPECT_EQ(Fill("System Error %s: %s", {{1, "open"}, {2, "Permission denied"}}),
              "System Error open: Permission denied");
    // Values are never read as directives, whatever they hold.
    EXPECT_EQ(Fill("System Error %s: %s", {{1, "%s"}, {2, "Permission denied"}}),
              "System Error %s: Permission denied");
    EXPECT_EQ(Fill("%1 then %2", {{1, "%2%s"}, {2, "two"}}), "%2%s then two");
    EXPECT_EQ(Fill("%2 before %1, %1 again", {{1, "a"}, {2, "b"}}), "b before a, a again");
    // A directive without its argument stays; an argument without a directive is dropped.
    EXPECT_EQ(Fill("%s and %s", {{1, "one"}}), "one and %s");
    EXPECT_EQ(Fill("no directive", {{1, "x"}}), "no directive");
    EXPECT_EQ(Fill("100%% %s", {{0, "sure"}}), "100%% sure");

    // A registered translation may reorder the arguments.
    atr_translate::Register("Copy %s to %s", "%2 <- %1");
    EXPECT_EQ(Fill("Copy %s to %s", {{1, "a.txt"}, {2, "b.txt"}}), "b.txt <- a.txt");
}

TEST(Translate, TheResultFollowsEachSubstitution) {
    atr_translate plain("Read Error: %s (%s)", kMode);
    EXPECT_STREQ(plain.Result(kMode), "Read Error: %s (%s)");
    atr_SubstituteFormat(plain, 1, "Bad file descriptor", kMode);
    EXPECT_STREQ(plain.Result(kMode), "Read Error: Bad file descriptor (%s)");
    atr_SubstituteFormat(plain, 1, nullptr, kMode);  // fills the next "%s", here with nothing
    EXPECT_STREQ(plain.Result(kMode), "Read Error: Bad file descriptor ()");

    atr_translate numbered("[%1]", kMode);
    atr_SubstituteFormat(numbered, 1, "first", kMode);
    atr_SubstituteFormat(numbered, 1, "second", kMode);  // the same number again replaces it
    EXPECT_STREQ(numbered.Result(kMode), "[second]");
}

}  // namespace
