// One quarter of the integer tables' pairs (int, the default, the small-block allocator and
// resources 0 to 29), apart from the other quarters so that they compile in parallel.
#include "zorbas/intsets/omi_IntTable.h"

ZORBAS_OMI_TABLE_PAIRS_INT_LOW(ZORBAS_OMI_TABLE_DEFINE)
