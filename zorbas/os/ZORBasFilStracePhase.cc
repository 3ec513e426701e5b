#include "zorbas/os/ZORBasFilStracePhase.h"

namespace ZORBasFilStracePhase {

void Impl::Mark(const char*) {}

void Mark(const char* phase) { ZORBasAtiGlobalSingleton<Impl>::Instance()->Mark(phase); }

}  // namespace ZORBasFilStracePhase
