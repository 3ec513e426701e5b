// The alert listener: a thread of its own that runs a program's handlers for six alerts, one at a
// time, with the heap's thread lock held. Armed only when a program asks (Arm); then alerts are
// posted to it as messages (omi_AlertTrigger::Alert) and handled in order. Alert N calls handler N
// with the program's signal number for it (2, 15, 20, 18, 10, 12); the handler must be set.
#pragma once

#include <cstdint>

#include "zorbas/base/omi_Singleton.h"

enum omi_AlertEnm {
    omi_Alert0 = 0,
    omi_Alert1 = 1,
    omi_Alert2 = 2,
    omi_Alert3 = 3,
    omi_Alert4 = 4,
    omi_Alert5 = 5,
};

class ZORBAS_API omi_AlertListener : public omi_Singleton<omi_AlertListener>,
                                     public mem_AllocationOperators {
  public:
    using Handler = void (*)(int);

    omi_AlertListener();
    // Disarms.
    ~omi_AlertListener();

    // When armed and `alert` is 0, also installs the handler for signal 2 at once.
    void SetHandler(omi_AlertEnm alert, Handler handler);
    // Starts the listening thread and waits until it listens; does nothing when armed. A failure
    // to start is silent: the listener stays disarmed.
    void Arm();
    // Stops the thread and waits for it; does nothing when disarmed.
    void Disarm();

    uint32_t ThreadId() const { return m_threadId; }
    bool Armed() const { return m_threadId != 0; }

  private:
    static unsigned int msgQueue(void* listener);

    Handler m_handlers[6];
    void* m_handle;       // the start event while arming, then the thread
    uint32_t m_threadId;  // non-zero while armed
};

// Posts alerts to the listener whose thread identifier it holds.
class ZORBAS_API omi_AlertTrigger {
  public:
    explicit omi_AlertTrigger(uint32_t threadId) : m_threadId(threadId) {}
    omi_AlertTrigger() : m_threadId(omi_AlertListener::Instance().ThreadId()) {}
    void Alert(omi_AlertEnm alert) const;

  private:
    uint32_t m_threadId;
};

// The signal number that alert N hands to its handler.
ZORBAS_API int omi_AlertSignal(omi_AlertEnm alert);

ZORBAS_SINGLETON_EXTERN(omi_AlertListener)
