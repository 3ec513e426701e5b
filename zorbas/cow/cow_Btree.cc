// The tree instantiations, and the list of trees.
#include "zorbas/cow/cow_Btree.h"

ZORBAS_COW_BTREE_LIST_TYPES(ZORBAS_COW_LIST_DEFINE)

ZORBAS_COW_BTREE_PAIRS(ZORBAS_COW_BTREE_DEFINE)
