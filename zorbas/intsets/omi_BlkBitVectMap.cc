#include "zorbas/intsets/omi_BlkBitVectMap.h"

ZORBAS_COW_MAP_DEFINE(int, omi_BlkBitVect)
