// Stack lines, fault reasons in words and the dump file, from this process's own stack and from
// fault records built as the kernel fills them.
#include "zorbas/crash/omn_StackTrace.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <ucontext.h>
#include <unistd.h>

#include <string>
#include <thread>
#include <vector>

#include "zorbas/crash/crash_test_util.h"

namespace {

// Stack lines and reasons are ASCII here (names of this program, numbers).
std::string Narrow(const wchar_t* text) {
    std::string out;
    for (; text && *text; ++text) out += *text < 128 ? static_cast<char>(*text) : '?';
    return out;
}

__attribute__((noinline)) std::vector<std::string> LinesFromHere(unsigned options) {
    std::vector<std::string> lines;
    for (const wchar_t* l = omn_GetFirstStackTraceString(options, nullptr); l;
         l = omn_GetNextStackTraceString(options, nullptr))
        lines.push_back(Narrow(l));
    __asm__ volatile("" ::: "memory");
    return lines;
}

TEST(StackTrace, OneLineAFrameWithModuleFunctionOffsetAndSourceLine) {
    ASSERT_TRUE(omn_InitStackTraceRoutines());
    std::vector<std::string> lines = LinesFromHere(14);
    ASSERT_GE(lines.size(), 3u);
    EXPECT_EQ(lines[0].rfind("crash_test!(anonymous namespace)::LinesFromHere(unsigned int)+0x", 0),
              0u)
        << lines[0];
    EXPECT_NE(lines[0].find("omn_StackTrace_test.cc:"), std::string::npos) << lines[0];
    bool sawTest = false;
    for (const auto& l : lines) sawTest |= l.find("StackTrace_OneLineAFrame") != std::string::npos;
    EXPECT_TRUE(sawTest);

    std::vector<std::string> bare = LinesFromHere(omn_GSTSO_SYMBOL);
    EXPECT_EQ(bare[0].rfind("(anonymous namespace)::LinesFromHere(unsigned int)+0x", 0), 0u);
    EXPECT_EQ(bare[0].find(".cc:"), std::string::npos);
}

// A fault record as the kernel fills it for a page fault: si_code, address, error code. The
// registers are the caller's, taken by FAKE_FAULT in the caller's frame, so that a walk from
// them finds live frames.
struct FakeFault {
    siginfo_t info{};
    ucontext_t context{};
    omn_ExceptionPointers pointers{};
    FakeFault(int signal, int code, uintptr_t address, long pageError, const ucontext_t& regs) {
        info.si_signo = signal;
        info.si_code = code;
        info.si_addr = reinterpret_cast<void*>(address);
        context = regs;
        context.uc_mcontext.gregs[REG_ERR] = pageError;
        pointers = {omn_ExceptionCode(signal, &info, false), signal, &info, &context};
    }
    std::string Reason() const { return Narrow(omn_GetFaultReason(&pointers)); }
};

TEST(FaultReason, SaysWhatWentWrongInWords) {
    omn_InitStackTraceRoutines();
    ucontext_t here;
    getcontext(&here);
    EXPECT_EQ(
        FakeFault(SIGSEGV, SEGV_MAPERR, 0, 4, here)
            .Reason()
            .rfind("Access violation: a read of the unmapped address 0x0 (SIGSEGV, SEGV_MAPERR) in "
                   "crash_test!",
                   0),
        0u);
    EXPECT_EQ(
        FakeFault(SIGSEGV, SEGV_ACCERR, 0x1000, 7, here)
            .Reason()
            .rfind("Access violation: a write to a read-only page at 0x1000 (SIGSEGV, SEGV_ACCERR)",
                   0),
        0u);
    EXPECT_EQ(FakeFault(SIGFPE, FPE_INTDIV, 0x401000, 0, here)
                  .Reason()
                  .rfind("Arithmetic exception: an integer division by zero at 0x401000 (SIGFPE, "
                         "FPE_INTDIV)",
                         0),
              0u);
    FakeFault sent(SIGTERM, SI_USER, 0, 0, here);
    sent.info.si_pid = 4321;
    EXPECT_EQ(sent.Reason(), "SIGTERM (15) sent by process 4321");
    EXPECT_EQ(omn_GetFaultReason(nullptr), nullptr);
}

TEST(FaultReason, ExceptionCodesByCauseAndStackOverflow) {
    siginfo_t info{};
    info.si_code = FPE_INTDIV;
    EXPECT_EQ(omn_ExceptionCode(SIGFPE, &info, false), omn_EXCEPTION_INT_DIVIDE_BY_ZERO);
    info.si_code = FPE_FLTDIV;
    EXPECT_EQ(omn_ExceptionCode(SIGFPE, &info, false), omn_EXCEPTION_FLT_DIVIDE_BY_ZERO);
    info.si_code = SEGV_MAPERR;
    EXPECT_EQ(omn_ExceptionCode(SIGSEGV, &info, false), omn_EXCEPTION_ACCESS_VIOLATION);
    EXPECT_EQ(omn_ExceptionCode(SIGSEGV, &info, true), omn_EXCEPTION_STACK_OVERFLOW);
    info.si_code = BUS_ADRALN;
    EXPECT_EQ(omn_ExceptionCode(SIGBUS, &info, false), omn_EXCEPTION_DATATYPE_MISALIGNMENT);
}

TEST(FaultReason, GuardAreaIsJustBelowTheThreadsStack) {
    std::thread([] {
        omn_PrepareThreadForFaults();
        pthread_attr_t attr;
        pthread_getattr_np(pthread_self(), &attr);
        void* base;
        size_t size;
        pthread_attr_getstack(&attr, &base, &size);
        pthread_attr_destroy(&attr);
        char* low = static_cast<char*>(base);
        int here;
        EXPECT_TRUE(omn_IsStackOverflow(low - 64, low));
        EXPECT_FALSE(omn_IsStackOverflow(nullptr, &here));
        EXPECT_FALSE(omn_IsStackOverflow(low + size / 2, &here));
        stack_t alt;
        sigaltstack(nullptr, &alt);
        EXPECT_FALSE(alt.ss_flags & SS_DISABLE) << "no alternate signal stack";
    }).join();
}

TEST(MiniDump, KindDecidesHowMuchIsWritten) {
    std::string dir = crash_test::MakeTempDir();
    ASSERT_EQ(chdir(dir.c_str()), 0);
    ucontext_t here;
    getcontext(&here);
    FakeFault fault(SIGSEGV, SEGV_MAPERR, 0, 4, here);
    ASSERT_TRUE(omn_MiniDumpWriteDump(&fault.pointers, 1, "/x/solver", 5));
    ASSERT_TRUE(omn_MiniDumpWriteDump(&fault.pointers, 3, "solver", 5));
    std::string one = crash_test::ReadFile(dir + "/solver.r05.mini1.dmp");
    std::string three = crash_test::ReadFile(dir + "/solver.r05.mini3.dmp");
    EXPECT_NE(crash_test::Element(one, "Reason").find("Access violation"), std::string::npos);
    EXPECT_NE(crash_test::Element(one, "Registers").find("rsp"), std::string::npos);
    size_t open = one.find("<StackMemory from=");
    ASSERT_NE(open, std::string::npos);
    std::string memory = one.substr(open, one.find("</StackMemory>") - open);
    EXPECT_EQ(crash_test::CountLines(memory), 1 + 1024 / 16);  // the opening line, 16 bytes a line
    EXPECT_EQ(one.find("<Threads>"), std::string::npos);
    EXPECT_NE(three.find("<Threads>"), std::string::npos);
    EXPECT_NE(crash_test::Element(three, "Maps").find("crash_test"), std::string::npos);
}

}  // namespace
