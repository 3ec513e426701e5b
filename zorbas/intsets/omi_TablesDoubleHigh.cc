// One quarter of the integer tables' pairs (double, resources 30 to 61, and the three other element
// types), apart from the other quarters so that they compile in parallel.
#include "zorbas/intsets/omi_IntTable.h"

ZORBAS_OMI_TABLE_PAIRS_DOUBLE_HIGH(ZORBAS_OMI_TABLE_DEFINE)
