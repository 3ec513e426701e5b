// The table nodes, one per element type.
#include "zorbas/intsets/omi_UintTable.h"

ZORBAS_OMI_TABLE_NODE_TYPES(ZORBAS_OMI_TABLE_NODE_DEFINE)
