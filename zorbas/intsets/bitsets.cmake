# The blocked array, the block bit vector and the sets over it.
zorbas_sources(${CMAKE_CURRENT_LIST_DIR}/omi_BlockedArray.cc ${CMAKE_CURRENT_LIST_DIR}/omi_BlkBitVect.cc
               ${CMAKE_CURRENT_LIST_DIR}/omi_BlkBitVectTrav.cc)
zorbas_test(omi_BlkBitVect_test SOURCES ${CMAKE_CURRENT_LIST_DIR}/omi_BlockedArray_test.cc
                                        ${CMAKE_CURRENT_LIST_DIR}/omi_BlkBitVect_test.cc)
