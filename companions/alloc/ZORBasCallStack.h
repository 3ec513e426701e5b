// Stack text for reports: one frame a line, "#<n> 0x<ip> <function>+0x<offset>". Capture walks
// with libunwind. An object captures the calling thread's stack (or the stack of a signal
// context) into a buffer from the tracked heap and demangles C++ names. ExceptionCallStack is the
// form for a signal handler: it writes mangled names into one static buffer and allocates
// nothing; call ZORBasCallstackInit once at start so that libunwind has done its lazy set-up
// before a handler needs it.
#pragma once

#include "companions/framework/zorbas_export.h"

class ZORBAS_API ZORBasCallStack {
  public:
    static constexpr int kMaxFrames = 128;

    // Captures the current thread's stack, dropping the `skip` innermost frames (this
    // constructor's own frame is never shown). `context` is a signal handler's ucontext_t*, whose
    // interrupted frame then comes first, or null for the caller's stack.
    ZORBasCallStack(int skip, const void* context);
    ~ZORBasCallStack();
    ZORBasCallStack(const ZORBasCallStack&) = delete;
    ZORBasCallStack& operator=(const ZORBasCallStack&) = delete;

    const char* CStr() const { return m_text ? m_text : ""; }
    int Depth() const { return m_depth; }

    // The stack of a signal context (a ucontext_t*, or null for the caller's stack) as text in a
    // static buffer, overwritten by the next call. Safe in a signal handler after
    // ZORBasCallstackInit; not reentrant.
    static const char* ExceptionCallStack(void* ucontext, int skip);

  private:
    char* m_text;
    int m_depth;
};

// Warms up the unwinder (its caches and the symbol reader) by walking and naming the current
// stack once, so that a later capture in a signal handler does no lazy initialisation.
ZORBAS_API void ZORBasCallstackInit();

// Writes one report line (printf format) to the report descriptor, standard error unless set by
// ZORBasSetMsgFd; a newline is added when the text lacks one. Formats into a static buffer and
// writes with write(2): usable on crash paths, not reentrant. Returns the bytes written or -1.
ZORBAS_API int ZORBasWriteMsg(char* format, ...) __attribute__((format(printf, 1, 2)));
ZORBAS_API void ZORBasSetMsgFd(int fd);

// The symbol and unwind facility of the platform.
class ZORBAS_API ZORBasMemDebug {
  public:
    // The dlopen handle of the loaded libunwind (RTLD_NOLOAD: it is never loaded by this call), or
    // null when the process has none. The caller may dlclose it; it does not unload libunwind,
    // which this library links.
    static void* LoadDBHELP();
};
