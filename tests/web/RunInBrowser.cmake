# SPDX-License-Identifier: BSD-3-Clause
# Installs what the browser's tests need beside them, and runs them; says "skipped: " and why where that cannot be.
cmake_policy(VERSION 3.25)

file(SIZE "${PAGE}" page_bytes)
if(NOT NODE OR NOT NPM OR page_bytes EQUAL 0)
    message("skipped: this build has no page of reports (Node.js 18 or newer with npm builds it)")
    return()
endif()
if(NOT BROWSER)
    message("skipped: no Chromium was found (scripts/install-deps --browser brings it)")
    return()
endif()

file(MAKE_DIRECTORY "${WORK}")
foreach(file IN ITEMS package.json package-lock.json .npmrc report.mjs images.mjs)
    configure_file("${SOURCE}/${file}" "${WORK}/${file}" COPYONLY)
endforeach()
file(SHA256 "${SOURCE}/package-lock.json" packages)
if(NOT EXISTS "${WORK}/node_modules/.${packages}")
    execute_process(COMMAND "${NPM}" ci --no-audit --no-fund --loglevel=error WORKING_DIRECTORY "${WORK}"
        RESULT_VARIABLE status)
    if(NOT status EQUAL 0)
        message("skipped: the packages for the browser's tests cannot be had from the npm registry")
        return()
    endif()
    file(TOUCH "${WORK}/node_modules/.${packages}")
endif()

set(ENV{TEVRA_REPORT_TEST} "${TEVRA}\n${BROWSER}\n${WORK}/results")
execute_process(COMMAND "${NODE}" --test report.mjs WORKING_DIRECTORY "${WORK}" RESULT_VARIABLE status)
if(NOT status EQUAL 0)
    message(FATAL_ERROR "the report does not behave in the browser")
endif()
