// The map instantiations with string keys, apart from the others so that they compile in
// parallel.
#include "zorbas/cow/cow_Map.h"

ZORBAS_COW_MAP_PAIRS_STRING_KEYS(ZORBAS_COW_MAP_DEFINE)
