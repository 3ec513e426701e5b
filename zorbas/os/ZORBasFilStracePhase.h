// Phase marks for tracing a run's file activity. The mark goes nowhere: the entry stays for the
// callers that still set phases. The singleton behind it lives until the library's end work.
#pragma once

#include "companions/framework/zorbas_export.h"
#include "zorbas/base/ZORBasAtiGlobalSingleton.h"

namespace ZORBasFilStracePhase {

class ZORBAS_API Impl {
  public:
    void Mark(const char* phase);
};

// Reaches the process-wide Impl (made on first use, from any thread) and marks `phase` there.
ZORBAS_API void Mark(const char* phase);

}  // namespace ZORBasFilStracePhase
