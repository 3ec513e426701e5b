// The fixed-array and table instantiations.
#include "zorbas/cow/cow_FixedArray.h"
#include "zorbas/cow/cow_2DArray.h"

ZORBAS_COW_FIXED_ARRAY_TYPES(ZORBAS_COW_FIXED_ARRAY_DEFINE)
ZORBAS_COW_2D_ARRAY_TYPES(ZORBAS_COW_2D_ARRAY_DEFINE)
