// The fixed-array and table instantiations.
#include "zorbas/cow/cow_FixedArray.h"
#include "zorbas/cow/cow_2DArray.h"

template class cow_FixedArray<int>;
template class cow_FixedArray<float>;
template class cow_FixedArray<double>;
template class cow_2DArray<int>;
template class cow_2DArray<float>;
template class cow_2DArray<double>;
