// The sleep, working directory and environment wrappers.
#include "zorbas/base/ZORBasUtlSystem.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/time.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <string>

namespace {

volatile sig_atomic_t g_alarms = 0;
void OnAlarm(int) { g_alarms = g_alarms + 1; }

// A crash handler sleeps rank x 500 ms; a signal that arrives meanwhile must not cut it short.
TEST(UtlSystem, SleepLastsItsTimeThroughASignal) {
    struct sigaction sa {
    }, old{};
    sa.sa_handler = OnAlarm;  // no SA_RESTART: nanosleep returns EINTR
    ASSERT_EQ(sigaction(SIGALRM, &sa, &old), 0);
    itimerval shot{};
    shot.it_value.tv_usec = 40000;
    g_alarms = 0;
    auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(setitimer(ITIMER_REAL, &shot, nullptr), 0);
    ZORBasUtlsleep(150);
    auto slept = std::chrono::steady_clock::now() - start;
    sigaction(SIGALRM, &old, nullptr);
    EXPECT_EQ(g_alarms, 1);
    EXPECT_GE(slept, std::chrono::milliseconds(150));

    start = std::chrono::steady_clock::now();
    ZORBasUtlsleep(0);
    ZORBasUtlsleep(-5);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(100));
}

TEST(UtlSystem, WorkingDirectoryFollowsChdirAndIsEmptyOnceRemoved) {
    std::string saved = ZORBasUtlgetcwd();
    ASSERT_FALSE(saved.empty());
    char dir[] = "/tmp/zorbas_cwd_XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    ASSERT_EQ(chdir(dir), 0);
    EXPECT_STREQ(ZORBasUtlgetcwd(), dir);
    ASSERT_EQ(rmdir(dir), 0);
    EXPECT_STREQ(ZORBasUtlgetcwd(), "");
    ASSERT_EQ(chdir(saved.c_str()), 0);
    EXPECT_EQ(ZORBasUtlgetcwd(), saved);
}

TEST(UtlSystem, EnvironmentValuesAndNamesThatAreNeverSet) {
    setenv("ZORBAS_TEST_ENV", "C:%TEMP%/x", 1);
    EXPECT_STREQ(ZORBasGetEnv("ZORBAS_TEST_ENV"), "C:%TEMP%/x");
    setenv("ZORBAS_TEST_ENV", "", 1);
    ASSERT_NE(ZORBasGetEnv("ZORBAS_TEST_ENV"), nullptr);  // set, if empty
    EXPECT_STREQ(ZORBasGetEnv("ZORBAS_TEST_ENV"), "");
    unsetenv("ZORBAS_TEST_ENV");
    EXPECT_EQ(ZORBasGetEnv("ZORBAS_TEST_ENV"), nullptr);
    EXPECT_EQ(ZORBasGetEnv(nullptr), nullptr);
    EXPECT_EQ(ZORBasGetEnv(""), nullptr);
    setenv("ZORBAS_A", "1", 1);
    EXPECT_EQ(ZORBasGetEnv("ZORBAS_A=1"), nullptr);
    unsetenv("ZORBAS_A");
}

}  // namespace
