#include "zorbas/text/rgx_Regex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "companions/coreutils/ZORBasException.h"
#include "zorbas/frame/ZORBasShared.h"  // up a floor: the library's end work ends the cache

namespace {

using Cache = ZORBasAtiGlobalSingleton<rgx_ReCompileCache>;

std::vector<std::string> Strings(const cow_List<cow_String>& list) {
    std::vector<std::string> out;
    for (int i = 0; i < list.Length(); ++i) out.emplace_back(list.ConstGet(i).CStr());
    return out;
}

std::string S(const cow_String& s) { return std::string(s.CStr(), s.Length()); }

// ---- the engine layer ----

TEST(RgxPcre, CompileFailureGivesTheEnginesTextAndOffset) {
    const char* error = nullptr;
    int offset = -1;
    EXPECT_EQ(rgx_pcre_compile("ab(c", 0, &error, &offset), nullptr);
    ASSERT_NE(error, nullptr);
    EXPECT_STREQ(error, "missing closing parenthesis");
    EXPECT_EQ(offset, 4);
    EXPECT_EQ(rgx_pcre_compile("a)", 0, &error, &offset), nullptr);
    EXPECT_EQ(offset, 1);
}

TEST(RgxPcre, ExecAnswersPairsNoMatchAndTooSmallVector) {
    const char* error = nullptr;
    int offset = 0;
    rgx_pcre* code = rgx_pcre_compile("(a)(x)?(b)", 0, &error, &offset);
    ASSERT_NE(code, nullptr);
    EXPECT_EQ(rgx_pcre_info(code, nullptr, nullptr), 3);
    int v[32];
    EXPECT_EQ(rgx_pcre_exec(code, nullptr, "zzab", 4, 0, v, 32), 4);
    EXPECT_EQ(v[0], 2);
    EXPECT_EQ(v[1], 4);
    EXPECT_EQ(v[4], -1);  // group 2 took no part
    EXPECT_EQ(v[6], 3);
    EXPECT_EQ(rgx_pcre_exec(code, nullptr, "zzab", 3, 0, v, 32), -1);  // length cuts the b
    EXPECT_EQ(rgx_pcre_exec(code, nullptr, "ab", 2, 0, v, 4), 0);      // 2 pairs for 4 groups
    EXPECT_EQ(v[0], 0);                                                // the pairs that fit are set
    EXPECT_EQ(rgx_pcre_exec(nullptr, nullptr, "ab", 2, 0, v, 32) < -1, true);
    rgx_pcre_free(code);
}

// The JIT must change no result: the same patterns and subjects, with and without it.
TEST(RgxPcre, JitAnswersAsTheInterpreterDoes) {
    const char* patterns[] = {"(a+)+b", "^(\\w+)@(\\w+)\\.com$", "(?:x|(y))*z", "\\d{2,}",
                              "(a|ab)(c|bcd)(d*)"};
    const char* subjects[] = {"aaab", "joe@site.com", "xyxyz", "a1b22c333", "abcd", "", "zz"};
    for (const char* p : patterns) {
        const char* error = nullptr;
        int offset = 0;
        rgx_pcre* plain = rgx_pcre_compile(p, 0, &error, &offset);
        rgx_pcre* jit = rgx_pcre_compile(p, 0, &error, &offset);
        rgx_pcre_extra* extra = rgx_pcre_study(jit, 0, &error);
        EXPECT_EQ(error, nullptr) << p;
        for (const char* s : subjects) {
            int a[32], b[32];
            int len = static_cast<int>(std::strlen(s));
            int ra = rgx_pcre_exec(plain, nullptr, s, len, 0, a, 32);
            int rb = rgx_pcre_exec(jit, extra, s, len, 0, b, 32);
            ASSERT_EQ(ra, rb) << p << " on " << s;
            for (int i = 0; i < 2 * ra; ++i) EXPECT_EQ(a[i], b[i]) << p << " on " << s;
        }
        rgx_pcre_free(extra);
        rgx_pcre_free(plain);
        rgx_pcre_free(jit);
    }
    EXPECT_EQ(std::string(rgx_pcre_version()).substr(0, 3), "10.");
}

// ---- the cache ----

class RgxCache : public ::testing::Test {
  protected:
    void SetUp() override { Cache::Finalize(); }
    void TearDown() override { Cache::Finalize(); }
    static double Fill() { return Cache::Instance()->PercentFull(); }
};

TEST_F(RgxCache, TheHundredAndFirstPatternEvictsHalfFirst) {
    for (int i = 0; i < 100; ++i) rgx_match(cow_String(("p" + std::to_string(i)).c_str()), "x");
    EXPECT_TRUE(Cache::Instance()->IsFull());
    EXPECT_DOUBLE_EQ(Fill(), 1.0);
    rgx_match("p0", "p0");  // a known pattern changes nothing
    EXPECT_DOUBLE_EQ(Fill(), 1.0);
    rgx_match("another", "x");
    EXPECT_DOUBLE_EQ(Fill(), 0.51);
    EXPECT_FALSE(Cache::Instance()->IsFull());
}

TEST_F(RgxCache, AKnownPatternGivesItsBlockAndTheKeyEndsAtTheFirstNul) {
    void* a = Cache::Instance()->Get("a+b");
    EXPECT_EQ(Cache::Instance()->Get("a+b"), a);
    cow_String withNul("a+b?junk");
    withNul[3] = '\0';
    EXPECT_EQ(Cache::Instance()->Get(withNul), a);
    EXPECT_DOUBLE_EQ(Fill(), 0.01);
}

TEST_F(RgxCache, ABadPatternThrowsTheEnginesTextAndAddsNothing) {
    rgx_match("ok", "ok");
    try {
        rgx_match("(?#no end", "x");
        FAIL() << "no exception";
    } catch (const ZORBasPatternException& e) {
        EXPECT_NE(std::string(e.AsString(ZORBasStringModeUTF8)).find("missing ) after (?# comment"),
                  std::string::npos)
            << e.AsString(ZORBasStringModeUTF8);
    }
    EXPECT_DOUBLE_EQ(Fill(), 0.01);
}

// A thread's repeated pattern skips the cache's lookup; these check that the skip answers what
// the lookup would, even after the block it remembered was evicted or the cache ended.
TEST_F(RgxCache, ARepeatedPatternStillFollowsEvictionAndTheCachesEnd) {
    auto pattern = [](int i) { return cow_String(("(q)" + std::to_string(i)).c_str()); };
    // Fills the cache, matches `last` so that this thread remembers it, then evicts half through
    // a path that does not change what the thread remembers.
    auto fillThenEvict = [&](int last) {
        for (int i = 0; i < 100; ++i) rgx_match(pattern(i), "x");
        rgx_match(pattern(last), "x");
        EXPECT_EQ(rgx_split("another", "x").Length(), 1);
        ASSERT_DOUBLE_EQ(Fill(), 0.51);
    };
    fillThenEvict(0);
    int evicted = -1;  // the eviction order is the map's, so find one key it drops
    for (int i = 0; i < 100 && evicted < 0; ++i) {
        rgx_match(pattern(i), "x");
        if (Fill() > 0.51) evicted = i;
    }
    ASSERT_GE(evicted, 0);

    Cache::Finalize();
    fillThenEvict(evicted);
    rgx_match(pattern(evicted), "x");  // gone from the cache: compiled and inserted again
    EXPECT_DOUBLE_EQ(Fill(), 0.52);
    rgx_ReIterator it = rgx_match(pattern(evicted), ("q" + std::to_string(evicted)).c_str());
    ASSERT_TRUE(it);
    it.Second();
    EXPECT_EQ(S(it.String()), "q");

    Cache::Finalize();  // a new cache learns the remembered pattern again
    rgx_match(pattern(evicted), "x");
    EXPECT_DOUBLE_EQ(Fill(), 0.01);
}

TEST_F(RgxCache, PatternsOfOneLengthOrWithANulAreToldApart) {
    EXPECT_TRUE(rgx_match("a(b)", "abc"));
    EXPECT_FALSE(rgx_match("a(d)", "abc"));
    EXPECT_TRUE(rgx_match("a(b)", "abc"));
    cow_String withNul("a(b)|c");
    withNul[4] = '\0';
    EXPECT_FALSE(rgx_match(withNul, "c"));  // the key is "a(b)", which c does not match
    EXPECT_TRUE(rgx_match("a(b)|c", "c"));
    EXPECT_DOUBLE_EQ(Fill(), 0.03);
}

TEST(RgxLifecycleDeathTest, TheLibrarysLastEndDropsTheCache) {
    EXPECT_EXIT(
        {
            rgx_match("a", "a");
            if (!Cache::Exists()) std::exit(10);
            int use = 0;
            ZORBasShared_finalize(use);
            if (Cache::Exists()) std::exit(11);
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "");
}

// ---- matching and the iterator ----

TEST(RgxMatch, IteratorWalksTheGroupsAndAppliesTheTextRules) {
    rgx_ReIterator it = rgx_match("(\\w+)(x)?=(\\d*)", "set key=; more");
    ASSERT_TRUE(it);
    EXPECT_EQ(!it, 0);
    EXPECT_EQ(it.Start(), 4);
    EXPECT_EQ(it.End(), 8);
    EXPECT_EQ(S(it.String()), "key=");
    it.Second();
    EXPECT_EQ(S(it.String()), "key");
    EXPECT_EQ(S(it.NthString(2)), "");  // group that took no part
    EXPECT_EQ(S(it.NthString(3)), "");  // empty group: End must exceed Start
    EXPECT_EQ(S(it.NthString(4)), "");  // at or above the group count
    EXPECT_EQ(S(it.NthString(-2)), "set ");
    EXPECT_EQ(S(it.NthString(-1)), "; more");
    EXPECT_EQ(S(rgx_match("end$", "the end").NthString(-1)), "");
    EXPECT_FALSE(it.IsDone());

    rgx_ReIterator whole = rgx_match("b", "abc");  // one pair: Second ends the walk
    whole.Second();
    EXPECT_TRUE(whole.IsDone());
    whole.Second();
    EXPECT_TRUE(whole.IsDone());
    whole.First();
    EXPECT_EQ(S(whole.String()), "b");
}

TEST(RgxMatch, GroupTextReadsAsAGroupReference) {
    const char* cases[][2] = {{"&", "0"}, {"'", "-1"}, {"`", "-2"}, {"12", "12"}, {"", "0"}};
    for (auto& c : cases) {
        rgx_ReIterator it = rgx_match("<(.*)>", (std::string("<") + c[0] + ">").c_str());
        ASSERT_TRUE(it);
        it.Second();
        EXPECT_EQ(it.StringAsGroupNum(), std::atoi(c[1])) << c[0];
    }
}

TEST(RgxMatch, NoMatchIsTheEmptyIteratorAndASubjectEndsAtItsFirstNul) {
    rgx_ReIterator none = rgx_match("q", "abc");
    EXPECT_FALSE(none);
    EXPECT_EQ(!none, 1);
    EXPECT_TRUE(none.IsDone());
    EXPECT_EQ(S(none.NthString(-1)), "");
    cow_String nul("head?tail");
    nul[4] = '\0';
    EXPECT_FALSE(rgx_match("tail", nul));
    EXPECT_FALSE(rgx_matchNC("tail", nul));
    rgx_ReIterator head = rgx_match("head$", nul);
    ASSERT_TRUE(head);
    EXPECT_EQ(S(head.NthString(-1)), "");  // the subject it keeps ends at the NUL too
}

TEST(RgxMatchDeathTest, OffsetsPastTheGroupsAreOutOfRange) {
    EXPECT_DEATH(rgx_match("q", "abc").Start(), "");
    rgx_ReIterator whole = rgx_match("b", "abc");
    whole.Second();  // done: the cursor is past the one pair
    EXPECT_DEATH(whole.End(), "");
    rgx_ReIterator copy = whole;
    EXPECT_DEATH(copy.Start(), "");
}

TEST(RgxMatch, CopiesAndAssignmentsKeepEveryGroupOfAFullMatch) {
    std::string pattern, subject;
    for (int i = 0; i < 15; ++i) {
        pattern += "(.)";
        subject += static_cast<char>('a' + i);
    }
    rgx_ReIterator copy;
    {
        rgx_ReIterator it = rgx_match((pattern + "$").c_str(), ("-" + subject).c_str());
        ASSERT_TRUE(it);
        copy = it;
    }
    rgx_ReIterator second(copy);
    copy = rgx_match("z", "z");
    EXPECT_EQ(S(copy.NthString(1)), "");
    for (int g = 1; g <= 15; ++g) EXPECT_EQ(S(second.NthString(g)), subject.substr(g - 1, 1)) << g;
    EXPECT_EQ(S(second.NthString(-2)), "-");
}

TEST(RgxMatch, MoreThanFifteenGroupsFailSafely) {
    std::string p;
    for (int i = 0; i < 16; ++i) p += "(a)";
    EXPECT_THROW(rgx_match(p.c_str(), std::string(16, 'a').c_str()), ZORBasExecException);
    p.pop_back(), p.pop_back(), p.pop_back();
    EXPECT_TRUE(rgx_match(p.c_str(), std::string(15, 'a').c_str()));
}

TEST(RgxMatch, UncachedPathPrintsItsTwoMessagesAndTheCachedOneNothing) {
    const char* runaway = "(a+)+$";  // backtracks past the engine's match limit
    const std::string subject = std::string(40, 'a') + "b";
    testing::internal::CaptureStdout();
    EXPECT_THROW(rgx_matchNC("a(b", "ab"), ZORBasPatternException);
    EXPECT_THROW(rgx_matchNC(runaway, subject.c_str()), ZORBasExecException);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Bad pattern: Throw exception\nBad Execution: Throw exception\n");
    testing::internal::CaptureStdout();
    EXPECT_THROW(rgx_match("a(b", "ab"), ZORBasPatternException);
    EXPECT_THROW(rgx_match(runaway, subject.c_str()), ZORBasExecException);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    rgx_ReIterator it = rgx_matchNC("(b+)", "abbc");
    ASSERT_TRUE(it);
    it.Second();
    EXPECT_EQ(S(it.String()), "bb");
}

// The uncached path is the one for threads that match at the same time: each compiles its own
// block and uses its own match workspace.
TEST(RgxMatch, UncachedMatchesFromSeveralThreadsAgree) {
    std::vector<std::thread> threads;
    std::atomic<int> wrong{0};
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([t, &wrong] {
            for (int i = 0; i < 200; ++i) {
                std::string subject = "rank " + std::to_string(t) + " cycle " + std::to_string(i);
                rgx_ReIterator it = rgx_matchNC("rank (\\d+) cycle (\\d+)", subject.c_str());
                it.Second();
                if (!it || std::atoi(it.String().CStr()) != t ||
                    std::atoi(it.NthString(2).CStr()) != i)
                    ++wrong;
            }
        });
    for (std::thread& th : threads) th.join();
    EXPECT_EQ(wrong, 0);
}

// ---- split and join ----

TEST(RgxSplit, LeadingAndRepeatedSeparatorsGiveNoFieldButATrailingOneDoes) {
    using V = std::vector<std::string>;
    EXPECT_EQ(Strings(rgx_split(",", "a,b,")), (V{"a", "b", ""}));
    EXPECT_EQ(Strings(rgx_split(",", ",a")), (V{"a"}));
    EXPECT_EQ(Strings(rgx_split(",", "a,,b")), (V{"a", "b"}));
    EXPECT_EQ(Strings(rgx_split(",", "plain")), (V{"plain"}));
    EXPECT_EQ(Strings(rgx_split(",", "")), (V{""}));
    EXPECT_EQ(Strings(rgx_split("\\s*;\\s*", "x ; y;z")), (V{"x", "y", "z"}));
    // Each tail is a subject of its own, so ^ holds at every tail's start.
    EXPECT_EQ(Strings(rgx_split("^a", "aab")), (V{"b"}));
    // A text ends at its first NUL, for matching and for the fields cut from it.
    cow_String text("a,b?,c");
    text[3] = '\0';
    cow_List<cow_String> nul = rgx_split(",", text);
    ASSERT_EQ(nul.Length(), 2);
    EXPECT_EQ(S(nul.ConstGet(1)), "b");
}

TEST(RgxSplitDeathTest, APatternMatchingEmptyAtTheStartIsAContractViolation) {
    EXPECT_DEATH(rgx_split("x*", "abc"), "matches the empty string");
}

TEST(RgxJoin, PiecesWithTheSeparatorBetweenAndNoneAfterTheLast) {
    EXPECT_EQ(S(rgx_join(cow_List<cow_String>("a", "", "c"), ", ")), "a, , c");
    EXPECT_EQ(S(rgx_join(cow_List<cow_String>("only"), ",")), "only");
    EXPECT_EQ(S(rgx_join(cow_List<cow_String>(), ",")), "");
    EXPECT_EQ(S(rgx_join(rgx_split(",", "a,b,c,"), ",")), "a,b,c,");
}

// ---- substitution ----

TEST(RgxSubn, EmptyMatchesAnchorsAndCounts) {
    EXPECT_EQ(S(rgx_subn("x*", "-", "ab", 100)), "-a-b-");
    EXPECT_EQ(S(rgx_subn("^a", "b", "aaa", 100)), "bbb");
    EXPECT_EQ(S(rgx_subn("o", "0", "foo boo", 3)), "f00 b0o");
    EXPECT_EQ(S(rgx_subn("o", "0", "foo", 0)), "foo");
    EXPECT_EQ(S(rgx_subn("o", "0", "foo", -1)), "foo");
    EXPECT_EQ(S(rgx_subn("q", "0", "foo", 5)), "foo");
    EXPECT_EQ(S(rgx_subn("o$", "!", "foo", 5)), "fo!");
}

TEST(RgxSubn, ReferencesExpandOnceFromTheFirstMatch) {
    EXPECT_EQ(S(rgx_subn("(\\d)", "<$1>", "1 2 3", 10)), "<1> <1> <1>");
    EXPECT_EQ(S(rgx_subn("(a)(b)", "[$2$1]", "xab", 1)), "x[ba]");
    EXPECT_EQ(S(rgx_subn("(a)(b)", "$9|", "abab", 5)), "||");
    EXPECT_EQ(S(rgx_subn("(a)", "$10", "a", 1)), "a0");  // group 1, then a literal 0
    EXPECT_EQ(S(rgx_subn("(a)", "$0", "a", 1)), "$0");   // not a reference
    EXPECT_EQ(S(rgx_subn("b", "($`|$&|$')", "abc", 1)), "a(a|b|c)c");
    EXPECT_EQ(S(rgx_subn("b", "x$", "abc", 1)), "ax$c");
}

}  // namespace
