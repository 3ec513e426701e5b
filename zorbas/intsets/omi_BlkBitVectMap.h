// Maps from an integer to a bit vector: cow_Map<int, omi_BlkBitVect>, instantiated once in the
// library. The pair lives with the bit vector, not with the map, so that the copy-on-write floor
// does not depend on the integer sets above it.
#pragma once

#include "zorbas/cow/cow_Map.h"
#include "zorbas/intsets/omi_BlkBitVect.h"

ZORBAS_COW_MAP_EXTERN(int, omi_BlkBitVect)
