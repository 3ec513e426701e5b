// The list instantiations on strings, lists and fixed arrays, apart from the number ones so
// that they compile in parallel.
#include "zorbas/cow/cow_List.h"

template class cow_List<cow_String>;
template class cow_ListIter<cow_String>;
template class cow_List<atr_String>;
template class cow_ListIter<atr_String>;
template class cow_List<cow_List<int>>;
template class cow_ListIter<cow_List<int>>;
template class cow_List<cow_List<unsigned int>>;
template class cow_ListIter<cow_List<unsigned int>>;
template class cow_List<cow_List<float>>;
template class cow_ListIter<cow_List<float>>;
template class cow_List<cow_List<double>>;
template class cow_ListIter<cow_List<double>>;
template class cow_List<cow_List<cow_String>>;
template class cow_ListIter<cow_List<cow_String>>;
template class cow_List<cow_FixedArray<int>>;
template class cow_ListIter<cow_FixedArray<int>>;
template class cow_List<cow_FixedArray<double>>;
template class cow_ListIter<cow_FixedArray<double>>;
