# SPDX-License-Identifier: BSD-3-Clause
# Fails if one of OBJECTS, compiled for an instruction set of its own, defines a weak symbol that does not carry the
# set's name: of such symbols the linker keeps one copy for the whole program.
if(NOT OBJECTS)
    message(FATAL_ERROR "no object files to check")
endif()
foreach(object IN LISTS OBJECTS)
    execute_process(COMMAND "${NM}" --defined-only --format=posix "${object}"
        OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
    if(NOT symbols MATCHES "(8baseline|4avx2|6avx512)")
        message(FATAL_ERROR "${object} defines nothing in the namespace of an instruction set")
    endif()
    string(REGEX MATCHALL "[^\n]+ [WVu] [^\n]*" weak "${symbols}")
    foreach(symbol IN LISTS weak)
        if(NOT symbol MATCHES "(8baseline|4avx2|6avx512)")
            message(SEND_ERROR "${object} defines for everybody: ${symbol}")
        endif()
    endforeach()
endforeach()
