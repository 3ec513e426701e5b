# The blocked array, the block bit vector and the sets over it.
zorbas_sources(${CMAKE_CURRENT_LIST_DIR}/omi_BlockedArray.cc ${CMAKE_CURRENT_LIST_DIR}/omi_BlkBitVect.cc
               ${CMAKE_CURRENT_LIST_DIR}/omi_BlkBitVectTrav.cc ${CMAKE_CURRENT_LIST_DIR}/omi_nextPrime.cc
               ${CMAKE_CURRENT_LIST_DIR}/omi_Set.cc ${CMAKE_CURRENT_LIST_DIR}/omi_SparseSet.cc
               ${CMAKE_CURRENT_LIST_DIR}/omi_GeneratedSet.cc ${CMAKE_CURRENT_LIST_DIR}/omi_BlkBitVectMap.cc)
zorbas_test(omi_BlkBitVect_test SOURCES ${CMAKE_CURRENT_LIST_DIR}/omi_BlockedArray_test.cc
                                        ${CMAKE_CURRENT_LIST_DIR}/omi_BlkBitVect_test.cc)
zorbas_test(omi_Sets_test SOURCES ${CMAKE_CURRENT_LIST_DIR}/omi_Sets_test.cc
                            ${CMAKE_CURRENT_LIST_DIR}/omi_BlkBitVectMap_test.cc)
if(ZORBAS_BUILD_BENCHMARKS)
    zorbas_require_header(roaring/roaring.h libroaring-dev)
    zorbas_require_library(ZORBAS_ROARING_LIB roaring libroaring-dev)
    zorbas_benchmark(omi_BlkBitVect_benchmark SOURCES ${CMAKE_CURRENT_LIST_DIR}/omi_BlkBitVect_benchmark.cc
                     DEPS ${ZORBAS_ROARING_LIB})
endif()
