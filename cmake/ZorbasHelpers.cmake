# One helper per target kind, so that a subsystem folder's CMakeLists stays a few lines.
#
#   zorbas_sources(file.cc ...)             adds sources to the VLDZORBasShared library
#   zorbas_companion(NAME SOURCES ... DEPS ...)  a companion shared library
#   zorbas_test(NAME SOURCES ... [DEPS ...])     a GoogleTest binary registered with ctest
#   zorbas_benchmark(NAME SOURCES ... [DEPS ...]) a Google Benchmark binary (not run by ctest)
#   zorbas_fuzz(NAME SOURCES ... [SECONDS n])    a libFuzzer target, run by ctest for n seconds from
#                                                its seed corpus fuzz/corpus/NAME (fuzz preset only)

set(ZORBAS_WARNINGS -Wall -Wextra)

function(zorbas_apply_common target)
    target_compile_options(${target} PRIVATE ${ZORBAS_WARNINGS})
    target_include_directories(${target} PUBLIC
        $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
        $<INSTALL_INTERFACE:include>)
endfunction()

function(zorbas_sources)
    target_sources(VLDZORBasShared PRIVATE ${ARGN})
endfunction()

function(zorbas_companion name)
    cmake_parse_arguments(Z "" "" "SOURCES;DEPS;PRIVATE_DEPS" ${ARGN})
    add_library(${name} SHARED ${Z_SOURCES})
    zorbas_apply_common(${name})
    target_compile_definitions(${name} PRIVATE ZORBAS_BUILDING_LIBRARY)
    target_link_libraries(${name} PUBLIC ${Z_DEPS} PRIVATE ${Z_PRIVATE_DEPS})
    set_target_properties(${name} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
    install(TARGETS ${name} EXPORT ZORBasTargets LIBRARY DESTINATION lib)
endfunction()

function(zorbas_test name)
    if(NOT ZORBAS_BUILD_TESTS)
        return()
    endif()
    cmake_parse_arguments(Z "" "" "SOURCES;DEPS" ${ARGN})
    add_executable(${name} ${Z_SOURCES})
    zorbas_apply_common(${name})
    target_link_libraries(${name} PRIVATE VLDZORBasShared ${Z_DEPS} GTest::gtest GTest::gtest_main
                                          GTest::gmock)
    gtest_discover_tests(${name} DISCOVERY_TIMEOUT 120
                         PROPERTIES ENVIRONMENT "ZORBAS_TEST_DATA=${PROJECT_SOURCE_DIR}")
endfunction()

function(zorbas_benchmark name)
    if(NOT ZORBAS_BUILD_BENCHMARKS)
        return()
    endif()
    cmake_parse_arguments(Z "" "" "SOURCES;DEPS" ${ARGN})
    add_executable(${name} ${Z_SOURCES})
    zorbas_apply_common(${name})
    target_link_libraries(${name} PRIVATE VLDZORBasShared ${Z_DEPS} benchmark::benchmark
                                          benchmark::benchmark_main)
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bench)
endfunction()

# The fuzzer runs from a scratch copy of the seed corpus, so that what it learns never lands in the
# tree; a crash, a leak or a failed invariant fails the test with the fuzzer's report.
function(zorbas_fuzz name)
    if(NOT ZORBAS_BUILD_FUZZ)
        return()
    endif()
    cmake_parse_arguments(Z "" "SECONDS" "SOURCES;DEPS" ${ARGN})
    if(NOT Z_SECONDS)
        set(Z_SECONDS 30)
    endif()
    add_executable(${name} ${Z_SOURCES})
    zorbas_apply_common(${name})
    target_compile_options(${name} PRIVATE -fsanitize=fuzzer)
    target_link_options(${name} PRIVATE -fsanitize=fuzzer)
    target_link_libraries(${name} PRIVATE VLDZORBasShared ${Z_DEPS})
    set(_seeds ${PROJECT_SOURCE_DIR}/fuzz/corpus/${name})
    set(_work ${CMAKE_CURRENT_BINARY_DIR}/corpus_${name})
    add_test(NAME fuzz.${name}
             COMMAND ${CMAKE_COMMAND} -E env ASAN_OPTIONS=detect_leaks=1
                     sh -c "rm -rf '${_work}' && mkdir -p '${_work}' && cp -r '${_seeds}/.' '${_work}/' 2>/dev/null; exec '$<TARGET_FILE:${name}>' -max_total_time=${Z_SECONDS} -timeout=10 -rss_limit_mb=4096 -print_final_stats=1 '${_work}'")
    set_tests_properties(fuzz.${name} PROPERTIES TIMEOUT 300 LABELS fuzz)
endfunction()
