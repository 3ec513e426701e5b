// The list instantiations on numbers and bool.
#include "zorbas/cow/cow_List.h"

template class cow_List<int>;
template class cow_ListIter<int>;
template class cow_List<unsigned int>;
template class cow_ListIter<unsigned int>;
template class cow_List<long long>;
template class cow_ListIter<long long>;
template class cow_List<bool>;
template class cow_ListIter<bool>;
template class cow_List<float>;
template class cow_ListIter<float>;
template class cow_List<double>;
template class cow_ListIter<double>;
