// The only locks the companions lend: one process-wide recursive lock, taken by scope, and plain
// mutexes handed out by the threading model. The mutex's virtual operations are, in slot order,
// the deleting destructor, lock and unlock.
#pragma once

#include "companions/alloc/mem_Malloc.h"
#include "companions/framework/zorbas_export.h"

class ZORBAS_API ZORBasAtiGlobalLock {
  public:
    ZORBasAtiGlobalLock();
    ~ZORBasAtiGlobalLock();
    ZORBasAtiGlobalLock(const ZORBasAtiGlobalLock&) = delete;
    ZORBasAtiGlobalLock& operator=(const ZORBasAtiGlobalLock&) = delete;
};

class ZORBAS_API ZORBasAtiMutex : public mem_AllocationOperators {
  public:
    virtual ~ZORBasAtiMutex() = default;
    virtual void lock() = 0;
    virtual void unlock() = 0;
};

class ZORBAS_API ZORBasAtiThreadingModel {
  public:
    // A new, unlocked mutex from the tracked heap; the caller deletes it.
    static ZORBasAtiMutex* newMutex();
};
