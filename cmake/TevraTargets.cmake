# SPDX-License-Identifier: BSD-3-Clause
# What every target of the project has in common: language level, warnings, floating-point rules, sanitizers.
include_guard()
include(GNUInstallDirs)

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()
set(CMAKE_POSITION_INDEPENDENT_CODE ON) # static libraries end up in the Python module too
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

find_program(TEVRA_CCACHE ccache)
if(TEVRA_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    # Throw sites carry __DATE__ and __TIME__; a stale build stamp from the cache is harmless. Paths are cached
    # relative to the project, so that a second clone finds what the first one compiled.
    set(CMAKE_CXX_COMPILER_LAUNCHER "${CMAKE_COMMAND}" -E env CCACHE_SLOPPINESS=time_macros,pch_defines
        "CCACHE_BASEDIR=${PROJECT_SOURCE_DIR}" CCACHE_NOHASHDIR=1 "${TEVRA_CCACHE}")
endif()

function(tevra_compile_rules target)
    target_compile_features(${target} PUBLIC cxx_std_20)
    set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
    # Contraction off: results must not depend on the instruction set (same bits with and without FMA).
    target_compile_options(${target} PRIVATE -ffp-contract=off
        -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion -Wnon-virtual-dtor
        -Wold-style-cast -Woverloaded-virtual -Wcast-align
        $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict> # GCC 12 sees overlaps in std::string's operator+ at -O3 that are none (GCC bug 105651)
        $<$<BOOL:${TEVRA_WARNINGS_AS_ERRORS}>:-Werror>)
    if(TEVRA_SANITIZE)
        target_compile_options(${target} PRIVATE -fsanitize=${TEVRA_SANITIZE} -fno-sanitize-recover=all
            -fno-omit-frame-pointer)
        target_link_options(${target} PUBLIC -fsanitize=${TEVRA_SANITIZE})
    endif()
endfunction()

# tevra_add_library(NAME ROOT dir HEADERS ... SOURCES ... PUBLIC targets ... PRIVATE targets ...)
# ROOT is the folder that include lines are relative to. The library is part of the installed package; a third-party
# library that it links is found by cmake/tevraConfig.cmake.in, too.
function(tevra_add_library name)
    cmake_parse_arguments(ARG "" "ROOT" "HEADERS;SOURCES;PUBLIC;PRIVATE" ${ARGN})
    add_library(${name} STATIC ${ARG_SOURCES})
    add_library(tevra::${name} ALIAS ${name})
    target_sources(${name} PUBLIC FILE_SET HEADERS BASE_DIRS "${ARG_ROOT}" FILES ${ARG_HEADERS})
    # Every public header must compile alone (built by the target all_verify_interface_header_sets).
    set_target_properties(${name} PROPERTIES VERIFY_INTERFACE_HEADER_SETS ON LINKER_LANGUAGE CXX)
    target_link_libraries(${name} PUBLIC ${ARG_PUBLIC} PRIVATE ${ARG_PRIVATE})
    tevra_compile_rules(${name})
    install(TARGETS ${name} EXPORT tevraTargets
        FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tevra)
endfunction()

# tevra_hands_out_tasks(FILES ...)
# oneTBB's headers put parts of its scheduler into the files that hand it tasks. ThreadSanitizer does not see the locks
# inside libtbb that order them, so it leaves these files out, and they tell it what does order the tasks
# (VexoBase/ForkJoin.h). To be called in the folder of the target.
function(tevra_hands_out_tasks)
    if(TEVRA_SANITIZE STREQUAL "thread")
        set_source_files_properties(${ARGN} PROPERTIES COMPILE_OPTIONS -fno-sanitize=thread
            COMPILE_DEFINITIONS TEVRA_THREAD_SANITIZER)
    endif()
endfunction()

# tevra_add_wide_sources(TARGET FILES ...)
# Compiles the files once per instruction set and adds the objects to a library of this folder. The macro TEVRA_WIDE is
# the set's name (baseline, avx2, avx512), for use as the namespace of everything that the files define.
# `LoopsFor` (Numeric/InstructionSet.h) chooses among them.
#
# The linker keeps one copy of an inline function that several objects define, possibly the one that only the newest
# processors run. So the files define nothing weak outside their namespace: no inline functions of the standard library
# that the compiler might not inline. The tests "WideSymbols" hold them to it.
function(tevra_add_wide_sources target)
    set(sets baseline)
    if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64)$")
        list(APPEND sets avx2 avx512)
    endif()
    set(flags_baseline "")
    set(flags_avx2 -mavx2 -mf16c)
    set(flags_avx512 -mf16c -mavx512f -mavx512dq -mavx512bw -mavx512vl -mprefer-vector-width=512)
    foreach(set IN LISTS sets)
        set(objects ${target}_${set})
        add_library(${objects} OBJECT ${ARGN})
        target_include_directories(${objects} PRIVATE $<TARGET_PROPERTY:${target},INCLUDE_DIRECTORIES>)
        tevra_compile_rules(${objects})
        target_compile_definitions(${objects} PRIVATE TEVRA_WIDE=${set})
        # Neither errno nor the order of floating-point flags is observed; both keep loops from becoming wide.
        target_compile_options(${objects} PRIVATE ${flags_${set}} -fno-math-errno -fno-trapping-math -Wno-psabi)
        if(NOT TEVRA_SANITIZE)
            target_compile_options(${objects} PRIVATE -O3) # whatever the build type: they are most of the work
        endif()
        target_sources(${target} PRIVATE $<TARGET_OBJECTS:${objects}>)
        set_property(GLOBAL APPEND PROPERTY TEVRA_WIDE_OBJECTS ${objects})
    endforeach()
endfunction()
