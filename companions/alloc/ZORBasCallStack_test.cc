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
    int depth) {
    ZORBasCallStack stack(depth, nullptr);
    std::string text = stack.Available() ? stack.CStr() : "(none)";
    asm volatile("" ::: "memory");
    return text;
}

// Recurses `levels` times, then captures with `depth`.
extern "C" __attribute__((noinline, visibility("default"))) std::string zorbas_test_recurse(
    int levels, int depth) {
    std::string text =
        levels > 0 ? zorbas_test_recurse(levels - 1, depth) : zorbas_test_capture_here(depth);
    asm volatile("" ::: "memory");
    return text;
}

extern "C" __attribute__((noinline, visibility("default"))) int zorbas_test_fault_here(
    volatile int* p) {
    int v = *p;  // the fault
    asm volatile("" ::: "memory");
    return v + 1;
}

static int Lines(const std::string& text) {
    int n = 0;
    for (char c : text) n += c == '\n';
    return n;
}

namespace {

int g_report_fd = -1;

void OnSegv(int, siginfo_t*, void* ucontext) {
    const char* text = ZORBasCallStack::ExceptionCallStack(ucontext, 10);
    ssize_t n = write(g_report_fd, text, std::strlen(text));
    (void)n;
    _exit(42);
}

}  // namespace

TEST(CallStack, NamesTheCapturingFunctionOneFrameALine) {
    std::string text = zorbas_test_capture_here(20);
    // The first line is the function that made the object (the constructor's own frame is not
    // shown), and the test body follows somewhere below it.
    EXPECT_EQ(text.rfind("#0 0x", 0), 0u) << text;
    std::string first = text.substr(0, text.find('\n'));
    EXPECT_NE(first.find("zorbas_test_capture_here"), std::string::npos) << text;
    EXPECT_NE(text.find("CallStack_NamesTheCapturingFunctionOneFrameALine"), std::string::npos)
        << text;
    EXPECT_NE(text.find("\n#1 0x"), std::string::npos);
}

// A report builds a stack of depth 20 with a null context and prints it only when Available.
TEST(CallStack, TheDepthBoundsTheFramesAndAvailableTellsWhetherAnyWereTaken) {
    std::string deep = zorbas_test_recurse(40, 20);
    EXPECT_EQ(Lines(deep), 20) << deep;
    EXPECT_NE(deep.find("#19 0x"), std::string::npos);
    EXPECT_EQ(deep.find("#20 0x"), std::string::npos);
    EXPECT_EQ(deep.find("CallStack_TheDepth"), std::string::npos) << "the test body is deeper";

    std::string one = zorbas_test_capture_here(1);
    EXPECT_EQ(Lines(one), 1) << one;
    EXPECT_NE(one.find("zorbas_test_capture_here"), std::string::npos) << one;

    // A shallow stack gives what it has, not the depth asked for.
    ZORBasCallStack here(ZORBasCallStack::kMaxFrames + 50, nullptr);
    EXPECT_TRUE(here.Available());
    EXPECT_GT(here.Depth(), 2);
    EXPECT_LT(here.Depth(), 40);
    EXPECT_EQ(Lines(here.CStr()), here.Depth());

    EXPECT_EQ(zorbas_test_capture_here(0), "(none)");
    ZORBasCallStack none(-3, nullptr);
    EXPECT_FALSE(none.Available());
    EXPECT_STREQ(none.CStr(), "");

    // The signal-handler form takes a depth too.
    EXPECT_EQ(Lines(ZORBasCallStack::ExceptionCallStack(nullptr, 3)), 3);
    EXPECT_STREQ(ZORBasCallStack::ExceptionCallStack(nullptr, 0), "");
}

TEST(CallStack, WalksFromARealSegvHandlerInAChild) {
    ZORBasCallStack::WarmUp();
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

namespace {
// What the message stream received while `write` ran.
template <class Write>
std::string Captured(Write write) {
    int fds[2];
    EXPECT_EQ(pipe(fds), 0);
    ZORBasSetMsgFd(fds[1]);
    write();
    ZORBasSetMsgFd(2);
    close(fds[1]);
    std::string text;
    char buf[256];
    for (ssize_t n; (n = read(fds[0], buf, sizeof buf)) > 0;)
        text.append(buf, static_cast<size_t>(n));
    close(fds[0]);
    return text;
}
}  // namespace

// The crash handlers write the banner counted, then the message counted or plain. Neither form
// reads the text as a format nor adds a line end.
TEST(CallStack, WriteMsgWritesCountedAndPlainTextsAsTheyStand) {
    static const char banner[] = "\n---------- RUNTIME EXCEPTION HAS OCCURED ----------\n";
    static_assert(sizeof banner - 1 == 53);
    const char* message = "***  VELDOR/%s rank %d received signal %n\n";
    std::string out = Captured([&] {
        int length = 53;
        EXPECT_EQ(ZORBasWriteMsg(banner, &length), 53);
        length = static_cast<int>(std::strlen(message));
        EXPECT_EQ(ZORBasWriteMsg(message, &length), length);
        EXPECT_EQ(ZORBasWriteMsg("100% done"), 9);
    });
    EXPECT_EQ(out, std::string(banner) + message + "100% done");

    // The count bounds the text, and a zero byte inside the count ends it.
    char details[400] = "Access violation";
    out = Captured([&] {
        int six = 6;
        EXPECT_EQ(ZORBasWriteMsg("Access violation", &six), 6);
        int wide = 300;
        EXPECT_EQ(ZORBasWriteMsg(details, &wide), 16);
        int negative = -1;
        EXPECT_EQ(ZORBasWriteMsg(details, &negative), 0);
        EXPECT_EQ(ZORBasWriteMsg("|", nullptr), 1);
    });
    EXPECT_EQ(out, "AccessAccess violation|");

    // A stream that refuses the text answers -1.
    ZORBasSetMsgFd(-1);
    EXPECT_EQ(ZORBasWriteMsg("lost"), -1);
    ZORBasSetMsgFd(2);
}

TEST(CallStack, TheDebugFacilityIsTheLoadedUnwinder) {
    void* h = ZORBasMemDebug::LoadDBHELP();
    ASSERT_NE(h, nullptr);
    EXPECT_NE(dlsym(h, "_ULx86_64_step"), nullptr);
    dlclose(h);
}
