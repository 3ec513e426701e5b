// Start and end calls of the ZORBasAlloc companion; only the library's start and end chain makes
// them.
#pragma once

#include "companions/framework/zorbas_export.h"

ZORBAS_API void ZORBasAlloc_initialize(int& use);
ZORBAS_API void ZORBasAlloc_finalize(int& use);
