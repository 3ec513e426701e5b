// One quarter of the integer tables' pairs (int, resources 30 to 62), apart from the
// other quarters so that they compile in parallel.
#include "zorbas/intsets/omi_IntTable.h"

ZORBAS_OMI_TABLE_PAIRS_INT_HIGH(ZORBAS_OMI_TABLE_DEFINE)
