# SPDX-License-Identifier: BSD-3-Clause
function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "${ARGN} failed (${status}):\n${output}")
    endif()
endfunction()

file(REMOVE_RECURSE "${WORK_DIR}")
run("${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${WORK_DIR}/prefix")
run("${CMAKE_COMMAND}" -S "${CONSUMER_DIR}" -B "${WORK_DIR}/build" -G "${GENERATOR}"
    "-DCMAKE_PREFIX_PATH=${WORK_DIR}/prefix" "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}")
run("${CMAKE_COMMAND}" --build "${WORK_DIR}/build")
run("${WORK_DIR}/build/consumer")
file(REMOVE_RECURSE "${WORK_DIR}")
