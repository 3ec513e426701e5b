# The integer-keyed tables, the multi-maps and the hash table.
#
# The 131 <element, allocator> pairs of the tables (the list in omi_UintTable.h) are defined in
# four sources, a quarter of the list each, so that they build in parallel.
zorbas_sources(${CMAKE_CURRENT_LIST_DIR}/omi_TablesIntLow.cc ${CMAKE_CURRENT_LIST_DIR}/omi_TablesIntHigh.cc
               ${CMAKE_CURRENT_LIST_DIR}/omi_TablesDoubleLow.cc ${CMAKE_CURRENT_LIST_DIR}/omi_TablesDoubleHigh.cc
               ${CMAKE_CURRENT_LIST_DIR}/omi_UintTable.cc)
zorbas_test(omi_UintTable_test SOURCES ${CMAKE_CURRENT_LIST_DIR}/omi_UintTable_test.cc)
zorbas_sources(${CMAKE_CURRENT_LIST_DIR}/omi_IntMultiMap.cc ${CMAKE_CURRENT_LIST_DIR}/HashTable.cc)
zorbas_test(omi_IntMultiMap_test SOURCES ${CMAKE_CURRENT_LIST_DIR}/omi_IntMultiMap_test.cc)
zorbas_test(HashTable_test SOURCES ${CMAKE_CURRENT_LIST_DIR}/HashTable_test.cc)

# The benchmark's anchors: JudyL and Abseil's flat hash map, beside the standard containers.
if(ZORBAS_BUILD_BENCHMARKS)
    zorbas_require_header(Judy.h libjudy-dev)
    zorbas_require_library(ZORBAS_JUDY_LIB Judy libjudy-dev)
    find_package(absl QUIET)
    if(NOT absl_FOUND)
        message(FATAL_ERROR "Missing Abseil: install the Debian package 'libabsl-dev'.")
    endif()
    zorbas_benchmark(omi_UintTable_benchmark SOURCES ${CMAKE_CURRENT_LIST_DIR}/omi_UintTable_benchmark.cc
                     DEPS ${ZORBAS_JUDY_LIB} absl::flat_hash_map absl::hash)
endif()
