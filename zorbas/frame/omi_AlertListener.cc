#include "zorbas/frame/omi_AlertListener.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <condition_variable>
#include <csignal>
#include <deque>
#include <mutex>
#include <new>
#include <thread>

ZORBAS_SINGLETON_DEFINE(omi_AlertListener)

namespace {

constexpr unsigned kAlertMessage = 32768;
constexpr int kStopParameter = 6;
constexpr int kArmedParameter = 7;
constexpr int kSignalOfAlert[6] = {2, 15, 20, 18, 10, 12};

struct Message {
    unsigned id;
    int parameter;
};

// The listener thread's message queue. Messages posted to another thread identifier are dropped,
// as a post to a thread without a queue fails.
struct Queue {
    std::mutex lock;
    std::condition_variable ready;
    std::deque<Message> messages;
    uint32_t owner = 0;
};
Queue g_queue;

bool Post(uint32_t threadId, unsigned id, int parameter) {
    std::lock_guard<std::mutex> guard(g_queue.lock);
    if (threadId == 0 || threadId != g_queue.owner) return false;
    g_queue.messages.push_back({id, parameter});
    g_queue.ready.notify_one();
    return true;
}

Message Take() {
    std::unique_lock<std::mutex> guard(g_queue.lock);
    g_queue.ready.wait(guard, [] { return !g_queue.messages.empty(); });
    Message m = g_queue.messages.front();
    g_queue.messages.pop_front();
    return m;
}

// An automatic-reset event: Set wakes one Wait and resets.
struct Event {
    std::mutex lock;
    std::condition_variable cv;
    bool signalled = false;
    void Set() {
        std::lock_guard<std::mutex> g(lock);
        signalled = true;
        cv.notify_one();
    }
    void Wait() {
        std::unique_lock<std::mutex> g(lock);
        cv.wait(g, [this] { return signalled; });
        signalled = false;
    }
};

// Lives on the tracked heap from Arm to Disarm.
struct Arming : mem_AllocationOperators {
    Event started;
    omi_AlertListener* listener;
    std::thread thread;
};

}  // namespace

int omi_AlertSignal(omi_AlertEnm alert) { return kSignalOfAlert[alert]; }

omi_AlertListener::omi_AlertListener() : m_handlers{}, m_handle(nullptr), m_threadId(0) {}

omi_AlertListener::~omi_AlertListener() { Disarm(); }

void omi_AlertListener::SetHandler(omi_AlertEnm alert, Handler handler) {
    if (m_threadId != 0 && alert == omi_Alert0) std::signal(kSignalOfAlert[0], handler);
    m_handlers[alert] = handler;
}

unsigned int omi_AlertListener::msgQueue(void* argument) {
    auto* arming = static_cast<Arming*>(argument);
    omi_AlertListener* self = arming->listener;
    if (self->m_handlers[0]) std::signal(kSignalOfAlert[0], self->m_handlers[0]);
    {
        std::lock_guard<std::mutex> guard(g_queue.lock);
        g_queue.owner = static_cast<uint32_t>(syscall(SYS_gettid));
        g_queue.messages.clear();
    }
    arming->started.Set();
    for (;;) {
        Message m = Take();
        if (m.id != kAlertMessage) break;
        bool stop = false;
        mem_TBThreadLock(true);
        if (m.parameter >= 0 && m.parameter <= 5)
            self->m_handlers[m.parameter](kSignalOfAlert[m.parameter]);
        else if (m.parameter == kStopParameter)
            stop = true;
        mem_TBThreadLock(false);
        if (stop) break;
    }
    {
        std::lock_guard<std::mutex> guard(g_queue.lock);
        g_queue.owner = 0;
        g_queue.messages.clear();
    }
    if (self->m_handlers[0]) std::signal(kSignalOfAlert[0], SIG_DFL);
    return 0;
}

void omi_AlertListener::Arm() {
    if (m_threadId != 0) return;
    Arming* arming;
    try {
        arming = new Arming;
    } catch (const std::bad_alloc&) {
        return;  // no event: nothing more happens
    }
    arming->listener = this;
    m_handle = arming;
    try {
        arming->thread = std::thread([arming] { msgQueue(arming); });
    } catch (...) {
        return;  // no thread: the event stays in the handle field, as the failed call left it
    }
    // No priority is raised: an unprivileged process cannot raise a thread above its own, and
    // the handlers only need to run soon, not ahead of the solver's threads.
    arming->started.Wait();
    {
        std::lock_guard<std::mutex> guard(g_queue.lock);
        m_threadId = g_queue.owner;
    }
    Post(m_threadId, kAlertMessage, kArmedParameter);
}

void omi_AlertListener::Disarm() {
    if (m_threadId == 0) return;
    auto* arming = static_cast<Arming*>(m_handle);
    Post(m_threadId, kAlertMessage, kStopParameter);
    arming->thread.join();
    delete arming;
    m_handle = nullptr;
    m_threadId = 0;
}

void omi_AlertTrigger::Alert(omi_AlertEnm alert) const {
    Post(m_threadId, kAlertMessage, static_cast<int>(alert));
}
