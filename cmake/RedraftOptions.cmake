# SPDX-License-Identifier: Apache-2.0
# Compiler settings that every target shares.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE Release CACHE STRING "" FORCE)
endif()
set(CMAKE_CXX_FLAGS_DEV "-O1 -g1")
set(CMAKE_C_FLAGS_DEV "-O1 -g1")
set(CMAKE_CXX_FLAGS_RELEASE "-O2")

# Collecting its garbage early saves the compiler memory that machines have, and takes a tenth of its time.
add_compile_options($<$<COMPILE_LANG_AND_ID:CXX,GNU>:--param=ggc-min-heapsize=500000>)

# Contraction of a*b+c differs between machines; results must not.
add_compile_options(-Wall -Wextra -Wpedantic -Werror -Wshadow $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>
                    -ffp-contract=off)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    set_property(DIRECTORY PROPERTY COMPILE_OPTIONS
                 -Wall -Wextra -Wpedantic -Werror -Wnon-virtual-dtor -ffp-contract=off -Wno-gnu-zero-variadic-macro-arguments)
endif()

option(REDRAFT_FUZZ "Build the fuzz targets (needs clang)" OFF)
set(REDRAFT_SANITIZE "" CACHE STRING "Sanitizers, comma-separated, as -fsanitize takes them")
if(REDRAFT_SANITIZE)
    # Null pointers stop a program with the address sanitizer anyway; looking at each access for them, for alignment and
    # for overflow of addresses is two fifths of the time that gcc takes. The fuzz targets look for all.
    set(unlooked vptr)
    if(NOT REDRAFT_FUZZ)
        set(unlooked vptr,null,alignment,pointer-overflow)
    endif()
    add_compile_options(-fsanitize=${REDRAFT_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer
                        -fno-sanitize=${unlooked})
    add_link_options(-fsanitize=${REDRAFT_SANITIZE} -fno-sanitize=${unlooked})
    # With sanitizers gcc reports uninitialised values that are not there (gcc bug 105562).
    add_compile_options($<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
endif()
set(REDRAFT_BATCHES 8 CACHE STRING "How many sources are compiled at a time; 0: each by itself, for work on a few of them")
set(REDRAFT_WITHOUT_BATCHES "" CACHE STRING "Folders of the tree whose sources are compiled each by itself all the same")
if(REDRAFT_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()

find_program(REDRAFT_MOLD mold)
if(REDRAFT_MOLD)
    add_link_options(-fuse-ld=mold)
endif()
