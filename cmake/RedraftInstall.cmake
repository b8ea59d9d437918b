# SPDX-License-Identifier: Apache-2.0
# `cmake --install` puts the libraries, their headers, the program and a CMake package in place:
#   find_package(Redraft REQUIRED)
#   target_link_libraries(mine PRIVATE Redraft::redraft)      commands and documents
#   target_link_libraries(mine PRIVATE Redraft::formats)      also files of other programs
include(CMakePackageConfigHelpers)

set(config_folder ${CMAKE_INSTALL_LIBDIR}/cmake/Redraft)

install(TARGETS redraft redraft-engine redraft-formats EXPORT RedraftTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
set_target_properties(redraft redraft-engine redraft-formats PROPERTIES INSTALL_RPATH "$ORIGIN")
file(RELATIVE_PATH libraries_from_programs ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
install(TARGETS redraft-cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
set_target_properties(redraft-cli PROPERTIES INSTALL_RPATH "$ORIGIN/${libraries_from_programs}")
install(TARGETS redraft-plugin-host redraft-script-host RUNTIME DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/redraft)
if(TARGET redraft-model-host)
    install(TARGETS redraft-model-host RUNTIME DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/redraft)
endif()
# The public headers, and no others.
foreach(library @library @formats)
    redraft_level_entries(entries ${library})
    foreach(entry IN LISTS entries)
        redraft_level_files(files ${entry})
        while(files)
            list(POP_FRONT files path source)
            get_filename_component(parent ${CMAKE_INSTALL_INCLUDEDIR}/redraft/${path} DIRECTORY)
            if(IS_DIRECTORY ${source})
                install(DIRECTORY ${source} DESTINATION ${parent} FILES_MATCHING PATTERN "*.h")
            else()
                install(FILES ${source} DESTINATION ${parent})
            endif()
        endwhile()
    endforeach()
endforeach()

install(EXPORT RedraftTargets NAMESPACE Redraft:: DESTINATION ${config_folder})
configure_package_config_file(${CMAKE_SOURCE_DIR}/cmake/RedraftConfig.cmake.in ${CMAKE_BINARY_DIR}/RedraftConfig.cmake
                              INSTALL_DESTINATION ${config_folder})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/RedraftConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/RedraftConfig.cmake ${CMAKE_BINARY_DIR}/RedraftConfigVersion.cmake
        DESTINATION ${config_folder})
