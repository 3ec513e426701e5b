// The tree instantiations, and the list of trees.
#include "zorbas/cow/cow_Btree.h"

template class cow_List<cow_Btree<int, int>>;
template class cow_ListIter<cow_Btree<int, int>>;

ZORBAS_COW_BTREE_PAIRS(ZORBAS_COW_BTREE_DEFINE)
