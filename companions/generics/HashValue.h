// Bucket indices for integer and pointer keys. The result is always below `size` (size > 0), and
// keys that differ in their low bits or their high bits alike spread over the buckets.
#pragma once

#include "companions/framework/zorbas_export.h"

ZORBAS_API unsigned int HashValue(const unsigned int& key, unsigned int size);
ZORBAS_API unsigned int HashValue(void* const& key, unsigned int size);
