# SPDX-License-Identifier: Apache-2.0
# Headers that are compiled once for many sources: half of the time of a build is the reading of headers. They hold
# nothing that their users' levels do not allow.
# With them gcc 12 may report copies beyond a string's bounds that are not there (-Warray-bounds), where a text is added to
# a new string by +; append does without.
option(REDRAFT_PRECOMPILED "Compile the headers that nearly every source reads once for all" ON)
if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    set(REDRAFT_PRECOMPILED OFF)
endif()

# redraft_precompiled(TARGET SET): the target's sources read cmake/precompiled/SET.h, compiled already.
function(redraft_precompiled target set)
    if(REDRAFT_PRECOMPILED)
        target_precompile_headers(${target} REUSE_FROM precompiled-${set})
    endif()
endfunction()

# redraft_precompiled_set(SET): compiles cmake/precompiled/SET.h.
function(redraft_precompiled_set set)
    if(REDRAFT_PRECOMPILED)
        set(empty ${CMAKE_BINARY_DIR}/precompiled-${set}.cpp)
        file(GENERATE OUTPUT ${empty} CONTENT "")
        add_library(precompiled-${set} OBJECT ${empty})
        target_include_directories(precompiled-${set} PRIVATE ${CMAKE_SOURCE_DIR} ${CMAKE_SOURCE_DIR}/src)
        # In angle brackets: the text that is compiled then names no folder of this machine.
        target_precompile_headers(precompiled-${set} PRIVATE <cmake/precompiled/${set}.h>)
    endif()
endfunction()

if(REDRAFT_PRECOMPILED)
    # Lets ccache look into sources that begin with a precompiled header.
    add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-fpch-preprocess>)
endif()
redraft_precompiled_set(standard)
redraft_precompiled_set(document)
