# SPDX-License-Identifier: Apache-2.0
# Every box of the architecture is one target. A target sees only its own folder and the folders of
# the targets it links, so that an include against the direction of the arrows does not compile.

find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)
find_program(KESTRO_CCACHE ccache)
if(KESTRO_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_C_COMPILER_LAUNCHER "${KESTRO_CCACHE}")
    set(CMAKE_CXX_COMPILER_LAUNCHER "${KESTRO_CCACHE}")
endif()

# The base name is all that a log line prints of a path, and a build that does not depend on where it
# was made can be cached and compared.
add_compile_options("-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=")

if(KESTRO_SANITIZE)
    # Of debugging only what a report says: lines and functions.
    add_compile_options("-fsanitize=${KESTRO_SANITIZE}" -fno-omit-frame-pointer -fno-sanitize-recover=all
        $<$<CONFIG:Debug>:-g1>)
    add_link_options("-fsanitize=${KESTRO_SANITIZE}")
endif()

# For a folder of what has to keep pace in sanitized builds too: a camera whose own part of a test takes ten times as long
# meets time-outs that are not what the test is about. Everything else compiles in half the time without.
macro(kestro_keeps_pace)
    if(KESTRO_SANITIZE)
        add_compile_options($<$<CONFIG:Debug>:-O1>)
    endif()
endmacro()

if(KESTRO_BUILD_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()

function(kestro_target target)
    target_compile_features(${target} PRIVATE cxx_std_20)
    target_compile_options(${target} PRIVATE
        -Wall -Wextra -Wpedantic -Wshadow -Wconversion
        $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Wold-style-cast>
        $<$<BOOL:${KESTRO_WARNINGS_AS_ERRORS}>:-Werror>)
    if(KESTRO_SANITIZE)  # what it adds hides from GCC where a variable gets its value
        target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
    endif()
endfunction()

# For sources that use RapidJSON: its empty stack adds an offset to a null pointer and never uses the
# result, which clang's sanitizer takes amiss.
function(kestro_sources_use_rapidjson)
    if(KESTRO_SANITIZE MATCHES "undefined" AND CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        set_source_files_properties(${ARGN} PROPERTIES COMPILE_OPTIONS -fno-sanitize=pointer-overflow)
    endif()
endfunction()
