# SPDX-License-Identifier: Apache-2.0
# Compiles po/*.po into catalogues beside the libraries of the build, where the engine looks for them, and installs them.
find_program(REDRAFT_MSGFMT msgfmt REQUIRED)
file(GLOB translations CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/po/*.po)
set(catalogues)
foreach(translation IN LISTS translations)
    get_filename_component(language ${translation} NAME_WE)
    set(folder ${CMAKE_BINARY_DIR}/share/locale/${language}/LC_MESSAGES)
    file(MAKE_DIRECTORY ${folder})
    add_custom_command(OUTPUT ${folder}/redraft.mo
                       COMMAND ${REDRAFT_MSGFMT} --check-format --output-file=${folder}/redraft.mo ${translation}
                       DEPENDS ${translation})
    list(APPEND catalogues ${folder}/redraft.mo)
    install(FILES ${folder}/redraft.mo DESTINATION ${CMAKE_INSTALL_LOCALEDIR}/${language}/LC_MESSAGES)
endforeach()
add_custom_target(redraft-translations ALL DEPENDS ${catalogues})
# Whoever builds the program has all that an installation needs.
add_dependencies(redraft-cli redraft-translations)
