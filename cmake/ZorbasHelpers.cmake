# One helper per target kind, so that a subsystem folder's CMakeLists stays a few lines.
#
#   zorbas_sources(file.cc ...)             adds sources to the VLDZORBasShared library
#   zorbas_companion(NAME SOURCES ... DEPS ...)  a companion shared library
#   zorbas_test(NAME SOURCES ... [DEPS ...])     a GoogleTest binary registered with ctest
#   zorbas_benchmark(NAME SOURCES ... [DEPS ...]) a Google Benchmark binary (not run by ctest)

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
