# Runs a test program and compares its standard output line by line with an expected file, and its
# exit status with EXPECT_STATUS. Variables: PROGRAM, ARGS (a ;-list), ENV (a ;-list of NAME=VALUE),
# EXPECTED, EXPECT_STATUS, WORKDIR.
separate_arguments(ARGS)
execute_process(COMMAND ${CMAKE_COMMAND} -E env --unset=UnitTestVerbose --unset=UnitTestPerformance
                        --unset=NewUTSPerfMode ${ENV} ${PROGRAM} ${ARGS}
                WORKING_DIRECTORY ${WORKDIR}
                OUTPUT_VARIABLE out RESULT_VARIABLE status)
file(READ ${EXPECTED} expected)
# Each line gets a leading ":" so that empty lines, which are part of the format, stay list
# elements.
string(REPLACE ";" "\\;" got_lines ":${out}")
string(REPLACE ";" "\\;" want_lines ":${expected}")
string(REPLACE "\n" ";:" got_lines "${got_lines}")
string(REPLACE "\n" ";:" want_lines "${want_lines}")
list(LENGTH got_lines got_n)
list(LENGTH want_lines want_n)
set(n ${want_n})
if(got_n GREATER n)
    set(n ${got_n})
endif()
math(EXPR last "${n} - 1")
foreach(i RANGE ${last})
    set(got ":<no line>")
    set(want ":<no line>")
    if(i LESS got_n)
        list(GET got_lines ${i} got)
    endif()
    if(i LESS want_n)
        list(GET want_lines ${i} want)
    endif()
    if(NOT "${got}" STREQUAL "${want}")
        math(EXPR line "${i} + 1")
        string(SUBSTRING "${want}" 1 -1 want)
        string(SUBSTRING "${got}" 1 -1 got)
        message(FATAL_ERROR "line ${line} differs:\n  expected: '${want}'\n  got:      '${got}'\n--- full output:\n${out}")
    endif()
endforeach()
if(NOT "${status}" STREQUAL "${EXPECT_STATUS}")
    message(FATAL_ERROR "exit status ${status}, expected ${EXPECT_STATUS}")
endif()
