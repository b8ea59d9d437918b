# SPDX-License-Identifier: Apache-2.0
# redraft_room(TARGET FOLDER [PARTS subfolder...] [LINK target...] [SYSTEM library...] [PRECOMPILED set])
#   One folder of sources, with those of its subfolders that PARTS names, as an object library. LINK names the rooms
#   below that it may use; SYSTEM the third-party libraries, whose headers are not checked for warnings. What it may
#   include is said in levels.txt, and PRECOMPILED names the set of headers that it reads compiled: document, unless
#   the room is below that level.
function(redraft_room target folder)
    cmake_parse_arguments(ROOM "" "PRECOMPILED" "PARTS;LINK;SYSTEM" ${ARGN})
    if(NOT ROOM_PRECOMPILED)
        set(ROOM_PRECOMPILED document)
    endif()
    set(folders ${folder})
    foreach(part IN LISTS ROOM_PARTS)
        list(APPEND folders ${folder}/${part})
    endforeach()
    list(TRANSFORM folders PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
    list(TRANSFORM folders APPEND /*.cpp)
    file(GLOB sources CONFIGURE_DEPENDS ${folders})
    if(NOT sources)
        file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/${target}_empty.cpp "")
        set(sources ${CMAKE_CURRENT_BINARY_DIR}/${target}_empty.cpp)
    endif()
    add_library(${target} OBJECT ${sources})
    string(REPLACE "${CMAKE_SOURCE_DIR}/" "" place ${CMAKE_CURRENT_SOURCE_DIR}/${folder})
    string(REGEX REPLACE "/\\.$" "" place ${place})
    redraft_level(${target} ${place})
    target_link_libraries(${target} PUBLIC Threads::Threads ${ROOM_LINK} PRIVATE ${ROOM_SYSTEM})
    redraft_batches(${target})
    redraft_precompiled(${target} ${ROOM_PRECOMPILED})
endfunction()

# redraft_batches(TARGET): the target's sources are compiled several at a time, so that headers are read once for all of
# them. Sources of one room must not define the same names, not even in unnamed namespaces.
function(redraft_batches target)
    cmake_path(GET CMAKE_CURRENT_SOURCE_DIR FILENAME folder)
    if(REDRAFT_BATCHES AND NOT folder IN_LIST REDRAFT_WITHOUT_BATCHES)
        set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE ${REDRAFT_BATCHES})
        # Of classes with members from unnamed namespaces, which are one class all the same within a batch.
        target_compile_options(${target} PRIVATE $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wno-subobject-linkage>)
    endif()
endfunction()

# redraft_pkg(NAME module...): an imported target Redraft::NAME from pkg-config.
function(redraft_pkg name)
    pkg_check_modules(PKG_${name} REQUIRED IMPORTED_TARGET ${ARGN})
    add_library(Redraft::${name} ALIAS PkgConfig::PKG_${name})
endfunction()
