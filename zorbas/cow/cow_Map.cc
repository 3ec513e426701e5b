// The map instantiations with integer keys, apart from the others so that they compile in
// parallel.
#include "zorbas/cow/cow_Map.h"

ZORBAS_COW_MAP_PAIRS_INT_KEYS(ZORBAS_COW_MAP_DEFINE)
