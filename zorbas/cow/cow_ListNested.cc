// The list instantiations on strings, lists and fixed arrays, apart from the number ones so
// that they compile in parallel.
#include "zorbas/cow/cow_List.h"

ZORBAS_COW_LIST_TYPES_NESTED(ZORBAS_COW_LIST_DEFINE)
