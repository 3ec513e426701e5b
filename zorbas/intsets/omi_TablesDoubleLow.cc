// One quarter of the integer tables' pairs (double, the default and resources 0 to 29), apart from
// the other quarters so that they compile in parallel.
#include "zorbas/intsets/omi_IntTable.h"

ZORBAS_OMI_TABLE_PAIRS_DOUBLE_LOW(ZORBAS_OMI_TABLE_DEFINE)
