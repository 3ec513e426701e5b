// The list instantiations on numbers and bool.
#include "zorbas/cow/cow_List.h"

#define ZORBAS_INSTANTIATE(A0)   \
    template class cow_List<A0>; \
    template class cow_ListIter<A0>;
ZORBAS_COW_LIST_TYPES_NUMBERS(ZORBAS_INSTANTIATE)
#undef ZORBAS_INSTANTIATE
