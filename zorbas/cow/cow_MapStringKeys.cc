// The map instantiations with string keys, apart from the others so that they compile in
// parallel.
#include "zorbas/cow/cow_Map.h"

#define ZORBAS_INSTANTIATE(A0, A1)               \
    template class cow_MapNode<A0, A1>;          \
    template class cow_Map<A0, A1>;              \
    template class cow_ConstMapIterator<A0, A1>; \
    template class cow_ConstMapSortedIt<A0, A1>; \
    template class cow_MapUtils<A0, A1>;
ZORBAS_COW_MAP_PAIRS_STRING_KEYS(ZORBAS_INSTANTIATE)
#undef ZORBAS_INSTANTIATE
