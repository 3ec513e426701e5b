# Finds what the build needs among Debian's packages. A missing one stops the configure step with
# the name of the package that provides it; nothing is ever downloaded.

function(zorbas_require_header header package)
    find_path(_zorbas_found_${package} NAMES ${header} PATH_SUFFIXES x86_64-linux-gnu)
    if(NOT _zorbas_found_${package})
        message(FATAL_ERROR "Missing ${header}: install the Debian package '${package}' "
                            "(apt-get install ${package}).")
    endif()
endfunction()

function(zorbas_require_library var name package)
    find_library(${var} NAMES ${name})
    if(NOT ${var})
        message(FATAL_ERROR "Missing library ${name}: install the Debian package '${package}' "
                            "(apt-get install ${package}).")
    endif()
endfunction()

find_package(Threads REQUIRED)

zorbas_require_header(pcre2.h libpcre2-dev)
zorbas_require_library(ZORBAS_PCRE2_LIB pcre2-8 libpcre2-dev)
zorbas_require_header(libunwind.h libunwind-dev)
zorbas_require_library(ZORBAS_UNWIND_LIB unwind libunwind-dev)
zorbas_require_header(elfutils/libdw.h libdw-dev)
zorbas_require_library(ZORBAS_DW_LIB dw libdw-dev)

if(ZORBAS_BUILD_TESTS)
    find_package(GTest QUIET)
    if(NOT GTest_FOUND)
        message(FATAL_ERROR "Missing GoogleTest: install the Debian packages 'libgtest-dev libgmock-dev'.")
    endif()
    include(GoogleTest)
endif()

if(ZORBAS_BUILD_BENCHMARKS)
    find_package(benchmark QUIET)
    if(NOT benchmark_FOUND)
        message(FATAL_ERROR "Missing Google Benchmark: install the Debian package 'libbenchmark-dev'.")
    endif()
endif()
