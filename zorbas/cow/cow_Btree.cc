// The tree instantiations, and the list of trees.
#include "zorbas/cow/cow_Btree.h"

template class cow_List<cow_Btree<int, int>>;
template class cow_ListIter<cow_Btree<int, int>>;

#define ZORBAS_INSTANTIATE(A0, A1)        \
    template class cow_BtreeNode<A0, A1>; \
    template class cow_Btree<A0, A1>;     \
    template class cow_BtreeIterator<A0, A1>;
ZORBAS_COW_BTREE_PAIRS(ZORBAS_INSTANTIATE)
#undef ZORBAS_INSTANTIATE
