#include "zorbas/intsets/omi_UintTable.h"

template struct omi_UintTableNode<int>;
template struct omi_UintTableNode<unsigned>;
template struct omi_UintTableNode<double>;
template struct omi_UintTableNode<void*>;
template struct omi_UintTableNode<cow_String>;
