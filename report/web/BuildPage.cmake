# SPDX-License-Identifier: BSD-3-Clause
# Builds the page of reports: cmake -D NODE= -D NPM= -D SOURCE=this folder -D CACHE=folder -D PAGE=result -P BuildPage.cmake
# Pages are kept by what they are made of, so that every build folder after the first one copies. If the page cannot be
# built, the result is empty, and the next build tries again.
cmake_policy(VERSION 3.25)

file(GLOB_RECURSE sources RELATIVE "${SOURCE}" "${SOURCE}/src/*")
list(APPEND sources index.html package.json package-lock.json .npmrc tsconfig.json vite.config.ts)
set(contents "")
foreach(source IN LISTS sources)
    file(SHA256 "${SOURCE}/${source}" hash)
    string(APPEND contents "${source} ${hash}\n")
endforeach()
string(SHA256 key "${contents}")

file(MAKE_DIRECTORY "${CACHE}")
if(NOT IS_DIRECTORY "${CACHE}")
    get_filename_component(CACHE "${PAGE}.cache" ABSOLUTE) # the sources may not be written to
endif()
file(LOCK "${CACHE}/lock" GUARD PROCESS TIMEOUT 600)
set(kept "${CACHE}/${key}.html")

function(run)
    execute_process(COMMAND ${ARGN} WORKING_DIRECTORY "${CACHE}/build" RESULT_VARIABLE status OUTPUT_VARIABLE output
        ERROR_VARIABLE output)
    if(NOT status EQUAL 0)
        message(WARNING "The page of reports could not be built: tevra will write no report.html. "
            "With a way to the npm registry, build again.\n${output}")
        file(WRITE "${PAGE}" "")
        execute_process(COMMAND touch -d @0 "${PAGE}") # older than its sources: to be built again
    endif()
    set(status "${status}" PARENT_SCOPE)
endfunction()

if(NOT EXISTS "${kept}")
    file(REMOVE_RECURSE "${CACHE}/build/src" "${CACHE}/build/dist")
    foreach(source IN LISTS sources)
        configure_file("${SOURCE}/${source}" "${CACHE}/build/${source}" COPYONLY)
    endforeach()
    file(SHA256 "${SOURCE}/package-lock.json" packages)
    if(NOT EXISTS "${CACHE}/build/node_modules/.${packages}")
        run("${NPM}" ci --no-audit --no-fund --loglevel=error)
        if(NOT status EQUAL 0)
            return()
        endif()
        file(TOUCH "${CACHE}/build/node_modules/.${packages}")
    endif()
    run("${NODE}" node_modules/typescript/bin/tsc --noEmit)
    if(status EQUAL 0)
        run("${NODE}" node_modules/vite/bin/vite.js build --logLevel warn)
    endif()
    if(NOT status EQUAL 0)
        return()
    endif()
    file(RENAME "${CACHE}/build/dist/index.html" "${kept}")
endif()
configure_file("${kept}" "${PAGE}" COPYONLY)
file(TOUCH "${PAGE}")
