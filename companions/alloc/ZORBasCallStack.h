// Stack text for reports: one frame a line, "#<n> 0x<ip> <function>+0x<offset>", innermost first,
// at most a given depth of frames. Capture walks with libunwind. An object captures the calling
// thread's stack (or the stack of a signal context) into a buffer from the tracked heap and
// demangles C++ names. ExceptionCallStack is the form for a signal handler: it writes mangled
// names into one static buffer and allocates nothing; call ZORBasCallStack::WarmUp once at start
// so that libunwind has done its lazy set-up before a handler needs it.
#pragma once

#include <cstddef>

#include "companions/framework/zorbas_export.h"

class ZORBAS_API ZORBasCallStack {
  public:
    // The deepest walk; a larger depth is cut to this.
    static constexpr int kMaxFrames = 128;

    // Captures at most `depth` frames of the current thread's stack, starting with the caller of
    // this constructor (its own frame is never shown). `context` is a signal handler's
    // ucontext_t*, whose interrupted frame then comes first, or null for the caller's stack.
    // A depth of 0 or less captures nothing.
    ZORBasCallStack(int depth, const void* context);
    ~ZORBasCallStack();
    ZORBasCallStack(const ZORBasCallStack&) = delete;
    ZORBasCallStack& operator=(const ZORBasCallStack&) = delete;

    // True when at least one frame was captured. A report tests this before it prints CStr: the
    // walk fails when the unwinder cannot start or the heap has no room for the text.
    bool Available() const { return m_depth > 0; }
    // The text, "" when nothing was captured.
    const char* CStr() const { return m_text ? m_text : ""; }
    // The number of frames in the text.
    int Depth() const { return m_depth; }

    // At most `depth` frames of a signal context (a ucontext_t*, or null for the caller's stack)
    // as text in a static buffer, overwritten by the next call. Safe in a signal handler after
    // WarmUp; not reentrant.
    static const char* ExceptionCallStack(void* ucontext, int depth);

    // Warms up the unwinder (its caches and the symbol reader) by walking and naming the current
    // stack once, so that a later capture in a signal handler does no lazy initialisation.
    static void WarmUp();

  private:
    char* m_text;
    int m_depth;
};

// The job's message stream: standard error unless set by ZORBasSetMsgFd. Both forms write with
// write(2) and neither formats nor adds anything, so they serve crash paths and a text full of
// '%' comes out as it stands. Return the bytes written, or -1 when the stream refuses them.
//   ZORBasWriteMsg(text)           the text up to its terminating zero;
//   ZORBasWriteMsg(text, &length)  a counted text: `length` bytes, or fewer when a zero byte comes
//                                  first (null `length`: up to the zero; negative: nothing).
ZORBAS_API int ZORBasWriteMsg(const char* text);
ZORBAS_API int ZORBasWriteMsg(const char* text, const int* length);
ZORBAS_API void ZORBasSetMsgFd(int fd);

// The symbol and unwind facility of the platform.
class ZORBAS_API ZORBasMemDebug {
  public:
    // The dlopen handle of the loaded libunwind (RTLD_NOLOAD: it is never loaded by this call), or
    // null when the process has none. The caller may dlclose it; it does not unload libunwind,
    // which this library links.
    static void* LoadDBHELP();
};
