// The list instantiations on numbers and bool.
#include "zorbas/cow/cow_List.h"

ZORBAS_COW_LIST_TYPES_NUMBERS(ZORBAS_COW_LIST_DEFINE)
