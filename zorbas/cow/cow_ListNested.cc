// The list instantiations on strings, lists and fixed arrays, apart from the number ones so
// that they compile in parallel.
#include "zorbas/cow/cow_List.h"

#define ZORBAS_INSTANTIATE(A0)   \
    template class cow_List<A0>; \
    template class cow_ListIter<A0>;
ZORBAS_COW_LIST_TYPES_NESTED(ZORBAS_INSTANTIATE)
#undef ZORBAS_INSTANTIATE
