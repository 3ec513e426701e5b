// The floating-point setting. Each case runs in a forked child with a fresh, unfixed state, since
// the setting is process-wide and decided once.
#include <gtest/gtest.h>

#include <cstdlib>

#include "companions/framework/zorbas_child_check_test.h"
#include "zorbas/crash/omn_manageFPE.h"

namespace {

constexpr unsigned kInvalidMask = 1u << 7;  // MXCSR bit: invalid operation masked
constexpr unsigned kFlushToZero = 1u << 15;

// Runs `body` in a child whose FPE state is fresh and GLOBAL_ENABLE_FPE is `value` (null: unset);
// the body's checks name the condition that failed.
template <class Body>
void InChild(const char* value, Body body) {
    EXPECT_EXIT(
        {
            if (value)
                setenv("GLOBAL_ENABLE_FPE", value, 1);
            else
                unsetenv("GLOBAL_ENABLE_FPE");
            omn_resetFPEStateForTesting();
            omn_setMXCSR(0x1F80);  // the power-on default: all masked, no flush
            body();
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST(FpeSettingDeathTest, DefaultMasksTrapsFlushesAndCannotBeChangedAfter) {
    InChild(nullptr, [] {
        omn_globalFPESetting();
        unsigned m = omn_getMXCSR();
        ZORBAS_CHILD_CHECK(m & kInvalidMask);
        ZORBAS_CHILD_CHECK(m & kFlushToZero);
        omn_enableFPE();           // fixed: reapplies "no traps"
        omn_disableFlushToZero();  // fixed: reapplies "flush"
        m = omn_getMXCSR();
        omn_FPEState s = omn_getFPEState();
        ZORBAS_CHILD_CHECK(m & kInvalidMask);
        ZORBAS_CHILD_CHECK(m & kFlushToZero);
        ZORBAS_CHILD_CHECK(s.fixed);
        ZORBAS_CHILD_CHECK(!s.wantedTraps);
    });
}

TEST(FpeSettingDeathTest, TrueUnmasksInvalidDivideAndOverflow) {
    InChild("TRUE", [] {
        omn_globalFPESetting();
        unsigned m = omn_getMXCSR();
        omn_disableFPE();  // fixed with traps: stays on
        unsigned after = omn_getMXCSR();
        // invalid, divide, overflow unmasked; denormal, underflow, inexact masked; flush on.
        ZORBAS_CHILD_CHECK((m & 0x1F80u) == 0x1900u);
        ZORBAS_CHILD_CHECK(m & kFlushToZero);
        ZORBAS_CHILD_CHECK((after & 0x1F80u) == 0x1900u);
        ZORBAS_CHILD_CHECK((m & 0x3Fu) ==
                           0x1Du);  // the status bits are set, as the suite always did
    });
}

TEST(FpeSettingDeathTest, OldStyleLeavesItOpenUntilFrozenOrIgnored) {
    InChild("oldstyle", [] {
        omn_globalFPESetting();
        ZORBAS_CHILD_CHECK(!omn_getFPEState().fixed);
        omn_enableFPE();
        ZORBAS_CHILD_CHECK(!(omn_getMXCSR() & kInvalidMask));  // works while open
        omn_disableFPE();
        omn_freezeFPESetting(true);
        omn_enableFPE();
        ZORBAS_CHILD_CHECK(omn_getMXCSR() & kInvalidMask);  // frozen: nothing changes
        omn_freezeFPESetting(false);
        omn_ignoreFPESetting(true);
        omn_enableFPE();
        ZORBAS_CHILD_CHECK(omn_getMXCSR() & kInvalidMask);  // ignored: nothing changes
    });
}

// A debug build stops at the assertion; a release build prints, resets the count to 0 and goes on.
TEST(FpeSettingDeathTest, ReleasingAFreezeTooOftenPrintsAndResets) {
#ifdef NDEBUG
    EXPECT_EXIT(
        {
            omn_resetFPEStateForTesting();
            omn_freezeFPESetting(true);
            omn_freezeFPESetting(false);
            omn_freezeFPESetting(false);
            ZORBAS_CHILD_CHECK(omn_getFPEState().freezeDepth == 0);
            omn_freezeFPESetting(true);  // a later freeze still counts from 0
            ZORBAS_CHILD_CHECK(omn_getFPEState().freezeDepth == 1);
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "^omn_freezeFPESetting giFreezeFPESetting < 0\n$");
#else
    EXPECT_DEATH(
        {
            omn_resetFPEStateForTesting();
            omn_freezeFPESetting(false);
        },
        "omn_freezeFPESetting giFreezeFPESetting < 0\n"
        "Assertion failed: giFreezeFPESetting > 0, file ZORBase/ZORBasOmni.m/src/omn_manageFPE");
#endif
}

TEST(FpeControl, ControlWordRoundTripsThroughBothUnits) {
    unsigned saved = omn_getMXCSR();
    unsigned word = omn_controlfp(0x300, omn_MCW_RC);  // round toward zero
    EXPECT_EQ(word & omn_MCW_RC, 0x300u);
    EXPECT_EQ((omn_getMXCSR() >> 13) & 3u, 3u);
    word = omn_controlfp(0x2000000, omn_MCW_DN);  // denormal operands only
    EXPECT_EQ(word & omn_MCW_DN, 0x2000000u);
    omn_setMXCSR(saved);
}

}  // namespace
