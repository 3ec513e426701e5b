#include "companions/alloc/ZORBasCallStack.h"

#define UNW_LOCAL_ONLY
#include <cxxabi.h>
#include <dlfcn.h>
#include <libunwind.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "companions/alloc/mem_Malloc.h"

namespace {

constexpr size_t kNameBytes = 512;
constexpr size_t kStaticTextBytes = 64 * 1024;

char g_static_text[kStaticTextBytes];
std::atomic<int> g_msg_fd{2};

// Walks from a cursor and appends one line a frame, at most `depth` frames after the `skip`
// innermost. With `demangle`, names are demangled (this allocates); without, the walk touches only
// the stack and `out`.
int Walk(unw_cursor_t& cursor, int skip, int depth, char* out, size_t cap, bool demangle) {
    size_t at = 0;
    out[0] = 0;
    if (depth > ZORBasCallStack::kMaxFrames) depth = ZORBasCallStack::kMaxFrames;
    int shownFrames = 0;
    int index = 0;
    char name[kNameBytes];
    while (shownFrames < depth) {
        if (index++ >= skip) {
            unw_word_t ip = 0;
            unw_get_reg(&cursor, UNW_REG_IP, &ip);
            if (ip == 0) break;
            unw_word_t offset = 0;
            const char* shown = "??";
            char* demangled = nullptr;
            if (unw_get_proc_name(&cursor, name, sizeof name, &offset) == 0) {
                shown = name;
                if (demangle) {
                    int status = 0;
                    demangled = abi::__cxa_demangle(name, nullptr, nullptr, &status);
                    if (status == 0 && demangled) shown = demangled;
                }
            }
            int n = std::snprintf(out + at, cap - at, "#%d 0x%016lx %s+0x%lx\n", shownFrames,
                                  static_cast<unsigned long>(ip), shown,
                                  static_cast<unsigned long>(offset));
            std::free(demangled);
            if (n < 0 || static_cast<size_t>(n) >= cap - at) {  // the buffer is full
                out[at] = 0;
                break;
            }
            at += static_cast<size_t>(n);
            ++shownFrames;
        }
        if (unw_step(&cursor) <= 0) break;
    }
    return shownFrames;
}

// A cursor on the interrupted frame of a signal context, or on the caller's own frame.
bool InitCursor(unw_cursor_t& cursor, unw_context_t& local, const void* ucontext) {
    if (ucontext) {
        // On x86-64 libunwind's context is the ucontext_t itself; copy it so the walk does not
        // write into the kernel's signal frame.
        std::memcpy(&local, ucontext, sizeof local);
        return unw_init_local2(&cursor, &local, UNW_INIT_SIGNAL_FRAME) == 0;
    }
    return unw_init_local(&cursor, &local) == 0;
}

}  // namespace

ZORBasCallStack::ZORBasCallStack(int depth, const void* context) : m_text(nullptr), m_depth(0) {
    if (depth <= 0) return;
    if (depth > kMaxFrames) depth = kMaxFrames;
    unw_context_t local;
    unw_cursor_t cursor;
    int skip = 0;
    if (!context) {
        unw_getcontext(&local);
        skip = 1;  // this constructor's own frame
    }
    if (!InitCursor(cursor, local, context)) return;
    const size_t cap = static_cast<size_t>(depth) * (kNameBytes + 64);
    m_text = static_cast<char*>(mem_Malloc(cap));
    if (!m_text) return;
    m_depth = Walk(cursor, skip, depth, m_text, cap, true);
}

ZORBasCallStack::~ZORBasCallStack() { mem_Free(m_text); }

const char* ZORBasCallStack::ExceptionCallStack(void* ucontext, int depth) {
    unw_context_t local;
    unw_cursor_t cursor;
    int skip = 0;
    if (!ucontext) {
        unw_getcontext(&local);
        skip = 1;
    }
    g_static_text[0] = 0;
    if (depth > 0 && InitCursor(cursor, local, ucontext))
        Walk(cursor, skip, depth, g_static_text, sizeof g_static_text, false);
    return g_static_text;
}

void ZORBasCallStack::WarmUp() {
    // Walking and naming a stack maps libunwind's caches and reads this library's symbol table.
    const char* text = ExceptionCallStack(nullptr, kMaxFrames);
    (void)text;
    unw_set_caching_policy(unw_local_addr_space, UNW_CACHE_GLOBAL);
}

namespace {
int WriteAll(const char* text, size_t len) {
    int fd = g_msg_fd.load(std::memory_order_relaxed);
    size_t done = 0;
    while (done < len) {
        ssize_t w = write(fd, text + done, len - done);
        if (w < 0 && errno == EINTR) continue;
        if (w <= 0) return -1;
        done += static_cast<size_t>(w);
    }
    return static_cast<int>(done);
}
}  // namespace

int ZORBasWriteMsg(const char* text) {
    return WriteAll(text ? text : "", text ? std::strlen(text) : 0);
}

int ZORBasWriteMsg(const char* text, const int* length) {
    if (!text) return 0;
    if (!length) return ZORBasWriteMsg(text);
    if (*length <= 0) return 0;
    return WriteAll(text, strnlen(text, static_cast<size_t>(*length)));
}

void ZORBasSetMsgFd(int fd) { g_msg_fd.store(fd, std::memory_order_relaxed); }

void* ZORBasMemDebug::LoadDBHELP() {
    for (const char* name : {"libunwind.so.8", "libunwind.so"})
        if (void* h = dlopen(name, RTLD_LAZY | RTLD_NOLOAD)) return h;
    return nullptr;
}
