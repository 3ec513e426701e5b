#include "companions/coreutils/ZORBasAtiLock.h"

#include <mutex>

namespace {
std::recursive_mutex& GlobalLock() {
    static std::recursive_mutex lock;
    return lock;
}

class StdMutex final : public ZORBasAtiMutex {
  public:
    void lock() override { m_mutex.lock(); }
    void unlock() override { m_mutex.unlock(); }

  private:
    std::mutex m_mutex;
};
}  // namespace

ZORBasAtiGlobalLock::ZORBasAtiGlobalLock() { GlobalLock().lock(); }
ZORBasAtiGlobalLock::~ZORBasAtiGlobalLock() { GlobalLock().unlock(); }

ZORBasAtiMutex* ZORBasAtiThreadingModel::newMutex() { return new StdMutex; }
