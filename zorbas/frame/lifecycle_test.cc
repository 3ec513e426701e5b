// The start and end chain: nesting, the full end and restart, and the start-up environment.
// Full ends run in forked children so the test process keeps its started library.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "companions/framework/zorbas_child_check_test.h"
#include "zorbas/crash/omn_manageFPE.h"
#include "zorbas/errors/ZORBasUtlException.h"
#include "zorbas/frame/ZORBasShared.h"
#include "zorbas/frame/ZORBas_SingletonRegistry.h"

namespace {

bool ModelLives() {
    return omi_SingletonRegistry::Instance()->Find(typeid(ZORBasUtlExcModelSingleton).name());
}

TEST(Lifecycle, NestedStartAndEndDoNothing) {
    ASSERT_TRUE(ModelLives()) << "the library starts itself at load";
    int use = 0;
    ZORBasShared_initialize(use);
    EXPECT_EQ(use, 0);
    ZORBasShared_finalize(use);
    EXPECT_EQ(use, 0);
    EXPECT_TRUE(ModelLives());

    ZORBasShared_initializeC();
    ZORBasShared_finalizeC();
    EXPECT_TRUE(ModelLives());

    int sectionUse = 0;
    ZORBasUtils_initialize(sectionUse);
    ZORBasUtils_finalize(sectionUse);
    EXPECT_EQ(sectionUse, 0);
    EXPECT_TRUE(ModelLives());
}

// The load-time start holds one count; the extra finalize here is the last one, so all twelve
// sections end (use falls by 13), then a start brings them all back.
TEST(LifecycleDeathTest, LastEndEndsAllSectionsAndAStartRestarts) {
    EXPECT_EXIT(
        {
            int use = 0;
            ZORBasShared_finalize(use);
            ZORBAS_CHILD_CHECK(use == -13);
            ZORBAS_CHILD_CHECK(!ModelLives());
            ZORBasShared_initialize(use);
            ZORBAS_CHILD_CHECK(use == 0);
            ZORBAS_CHILD_CHECK(ModelLives());
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "");
}

// Ends and restarts the library in a child with VLD_IGNORE_FPE set to `value`; the child checks
// what the start left in the environment and in the floating-point state.
void RestartWithIgnoreFpe(const char* value, const char* expectedAfter, bool expectIgnore) {
    EXPECT_EXIT(
        {
            setenv("VLD_IGNORE_FPE", value, 1);
            int use = 0;
            ZORBasShared_finalize(use);
            omn_resetFPEStateForTesting();
            ZORBasShared_initialize(use);
            const char* now = std::getenv("VLD_IGNORE_FPE");
            ZORBAS_CHILD_CHECK(now != nullptr);
            ZORBAS_CHILD_CHECK(std::strcmp(now, expectedAfter) == 0);
            ZORBAS_CHILD_CHECK(omn_getFPEState().ignore == expectIgnore);
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "")
        << "VLD_IGNORE_FPE=" << value;
}

TEST(LifecycleDeathTest, IgnoreFpeOneIsTakenAndReset) {
    RestartWithIgnoreFpe("1", "0", true);
    RestartWithIgnoreFpe("yes", "yes", false);
    RestartWithIgnoreFpe("10", "10", false);
}

// The "threadsafe" death-test style re-executes the binary, so the child's static initialisers
// see the environment set here.
TEST(LifecycleDeathTest, StartupEnvironmentIsCopiedAtLoadAndNotAfter) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    setenv("VLD_DEBUGGER", "attach", 1);
    setenv("ZOR_WS", "D:/Work/Space", 1);
    EXPECT_EXIT(
        {
            const ZORBasStartupEnvironment& env = ZORBasGetStartupEnvironment();
            ZORBAS_CHILD_CHECK(env.vldDebugger && std::strcmp(env.vldDebugger, "attach") == 0);
            ZORBAS_CHILD_CHECK(env.zorWs && std::strcmp(env.zorWs, "d:/work/space") == 0);
            ZORBAS_CHILD_CHECK(env.grnOdtIn == nullptr);
            setenv("VLD_DEBUGGER", "other", 1);
            ZORBAS_CHILD_CHECK(std::strcmp(env.vldDebugger, "attach") == 0);
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "");
    unsetenv("VLD_DEBUGGER");
    unsetenv("ZOR_WS");
    GTEST_FLAG_SET(death_test_style, "fast");
}

TEST(Lifecycle, FloatingPointSettingIsFixedAtStart) {
    omn_FPEState s = omn_getFPEState();
    if (std::getenv("GLOBAL_ENABLE_FPE")) GTEST_SKIP() << "the environment chose the setting";
    EXPECT_TRUE(s.fixed);
    EXPECT_FALSE(s.wantedTraps);
    EXPECT_TRUE(s.wantedFlushToZero);
}

}  // namespace
