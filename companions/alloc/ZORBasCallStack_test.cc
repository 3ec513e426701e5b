#include "companions/alloc/ZORBasCallStack.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <string>

// Frames with names the walk must find; kept out of line and visible so that inlining and
// identical-code folding leave them on the stack under their own names.
extern "C" __attribute__((noinline, visibility("default"))) std::string zorbas_test_capture_here(
    int skip) {
    ZORBasCallStack stack(skip, nullptr);
    std::string text = stack.CStr();
    asm volatile("" ::: "memory");
    return text;
}

extern "C" __attribute__((noinline, visibility("default"))) int zorbas_test_fault_here(
    volatile int* p) {
    int v = *p;  // the fault
    asm volatile("" ::: "memory");
    return v + 1;
}

namespace {

int g_report_fd = -1;

void OnSegv(int, siginfo_t*, void* ucontext) {
    const char* text = ZORBasCallStack::ExceptionCallStack(ucontext, 0);
    ssize_t n = write(g_report_fd, text, std::strlen(text));
    (void)n;
    _exit(42);
}

}  // namespace

TEST(CallStack, NamesTheCapturingFunctionOneFrameALine) {
    std::string text = zorbas_test_capture_here(0);
    // The first line is the function that made the object (the constructor's own frame is not
    // shown), and the test body follows somewhere below it.
    EXPECT_EQ(text.rfind("#0 0x", 0), 0u) << text;
    std::string first = text.substr(0, text.find('\n'));
    EXPECT_NE(first.find("zorbas_test_capture_here"), std::string::npos) << text;
    EXPECT_NE(text.find("CallStack_NamesTheCapturingFunctionOneFrameALine"), std::string::npos)
        << text;
    EXPECT_NE(text.find("\n#1 0x"), std::string::npos);

    std::string skipped = zorbas_test_capture_here(1);
    EXPECT_EQ(skipped.find("zorbas_test_capture_here"), std::string::npos) << skipped;

    ZORBasCallStack here(0, nullptr);
    EXPECT_GT(here.Depth(), 2);
    EXPECT_LE(here.Depth(), ZORBasCallStack::kMaxFrames);
}

TEST(CallStack, WalksFromARealSegvHandlerInAChild) {
    ZORBasCallstackInit();
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        close(fds[0]);
        g_report_fd = fds[1];
        static char altstack[64 * 1024];
        stack_t ss{};
        ss.ss_sp = altstack;
        ss.ss_size = sizeof altstack;
        sigaltstack(&ss, nullptr);
        struct sigaction sa {};
        sa.sa_sigaction = OnSegv;
        sa.sa_flags = SA_SIGINFO | SA_ONSTACK;
        sigaction(SIGSEGV, &sa, nullptr);
        zorbas_test_fault_here(reinterpret_cast<volatile int*>(16));
        _exit(1);
    }
    close(fds[1]);
    std::string text;
    char buf[4096];
    for (ssize_t n; (n = read(fds[0], buf, sizeof buf)) > 0;)
        text.append(buf, static_cast<size_t>(n));
    close(fds[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    ASSERT_TRUE(WIFEXITED(status)) << status;
    EXPECT_EQ(WEXITSTATUS(status), 42);
    // The interrupted frame comes first, then its caller: the handler's frames are not shown.
    std::string first = text.substr(0, text.find('\n'));
    EXPECT_NE(first.find("zorbas_test_fault_here"), std::string::npos) << text;
    EXPECT_NE(text.find("CallStack_WalksFromARealSegvHandlerInAChild"), std::string::npos) << text;
    EXPECT_EQ(text.find("OnSegv"), std::string::npos) << text;
}

TEST(CallStack, WriteMsgWritesOneLineToTheReportDescriptor) {
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    ZORBasSetMsgFd(fds[1]);
    char format[] = "rank %02d of %s";
    EXPECT_EQ(ZORBasWriteMsg(format, 3, "job"), 15);
    char plain[] = "done\n";
    EXPECT_EQ(ZORBasWriteMsg(plain), 5);
    ZORBasSetMsgFd(2);
    close(fds[1]);
    char buf[64] = {};
    ASSERT_GT(read(fds[0], buf, sizeof buf - 1), 0);
    close(fds[0]);
    EXPECT_STREQ(buf, "rank 03 of job\ndone\n");
}

TEST(CallStack, TheDebugFacilityIsTheLoadedUnwinder) {
    void* h = ZORBasMemDebug::LoadDBHELP();
    ASSERT_NE(h, nullptr);
    EXPECT_NE(dlsym(h, "_ULx86_64_step"), nullptr);
    dlclose(h);
}
