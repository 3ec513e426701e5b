#include "zorbas/intsets/omi_IntMultiMap.h"

#include "zorbas/intsets/cow_IntMultiMapInt.h"

ZORBAS_OMI_INT_MULTI_MAP_PAIRS(ZORBAS_OMI_INT_MULTI_MAP_DEFINE)

int cow_IntMultiMapInt::Count(int key) const {
    if (!IsMember(key)) return 0;
    int n = 0;
    for (const Map::Link* l = rep.ConstGet().ConstGetFirst(key); l; l = l->next) ++n;
    return n;
}
