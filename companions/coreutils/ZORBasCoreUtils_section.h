// Start and end calls of the ZORBasCoreUtils companion; only the library's start and end chain
// makes them.
#pragma once

#include "companions/framework/zorbas_export.h"

ZORBAS_API void ZORBasCoreUtils_initialize(int& use);
ZORBAS_API void ZORBasCoreUtils_finalize(int& use);
