#include "zorbas/intsets/omi_IntMultiMap.h"

#include "zorbas/intsets/cow_IntMultiMapInt.h"

template class omi_IntMultiMapLinkBlock<int>;
template class omi_IntMultiMapLinkBlock<void*>;
template class omi_IntMultiMap<int, ZORBasOmiDefaultAllocator>;
template class omi_IntMultiMap<void*, ZORBasOmiDefaultAllocator>;
template class omi_IntMultiMapIterator<int, ZORBasOmiDefaultAllocator>;
template class omi_IntMultiMapIterator<void*, ZORBasOmiDefaultAllocator>;

int cow_IntMultiMapInt::Count(int key) const {
    if (!IsMember(key)) return 0;
    int n = 0;
    for (const Map::Link* l = rep.ConstGet().ConstGetFirst(key); l; l = l->next) ++n;
    return n;
}
