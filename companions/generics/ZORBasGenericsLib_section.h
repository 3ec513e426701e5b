// Start and end calls of the ZORBasGenericsLib companion; only the library's start and end chain
// makes them.
#pragma once

#include "companions/framework/zorbas_export.h"

ZORBAS_API void ZORBasGenericsLib_initialize(int& use);
ZORBAS_API void ZORBasGenericsLib_finalize(int& use);
