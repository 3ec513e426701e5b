# Run as a test: install, then configure, build and run the consumer with both discovery methods.
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix}
                RESULT_VARIABLE rc OUTPUT_QUIET)
if(rc)
    message(FATAL_ERROR "cmake --install failed: ${rc}")
endif()
foreach(header VLDZORBasShared.h zorbas/cow/cow_String.h companions/alloc/mem_Malloc.h)
    if(NOT EXISTS ${prefix}/include/${header})
        message(FATAL_ERROR "installed tree lacks include/${header}")
    endif()
endforeach()

execute_process(COMMAND ${CMAKE_COMMAND} -S ${SOURCE_DIR}/consumer -B ${WORK_DIR}/consumer -G Ninja
                        -DCMAKE_PREFIX_PATH=${prefix}
                RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(rc)
    message(FATAL_ERROR "consumer configure failed:\n${out}\n${err}")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} --build ${WORK_DIR}/consumer
                RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(rc)
    message(FATAL_ERROR "consumer build failed:\n${out}\n${err}")
endif()
foreach(exe consumer_cmake consumer_pkgconfig)
    execute_process(COMMAND ${WORK_DIR}/consumer/${exe} RESULT_VARIABLE rc OUTPUT_VARIABLE out)
    if(rc OR NOT out MATCHES "shared by 2")
        message(FATAL_ERROR "${exe} failed (${rc}): ${out}")
    endif()
endforeach()
message(STATUS "installed tree serves find_package and pkg-config users")
