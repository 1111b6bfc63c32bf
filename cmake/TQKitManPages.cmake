# SPDX-FileCopyrightText: 2026 The TQKit developers
# SPDX-License-Identifier: LGPL-2.1-or-later
# Manual pages of the programs, installed compressed (gzip -9n: no name or time stamp in the
# header, so two builds of one commit give the same bytes) in section 1, as Debian lays them out.
find_program(TQKIT_GZIP gzip)

function(tqkit_install_man_page page component)
    get_filename_component(name ${page} NAME)
    if(NOT TQKIT_GZIP)
        message(STATUS "gzip not found: the manual page ${name} is not installed")
        return()
    endif()
    set(copy ${CMAKE_CURRENT_BINARY_DIR}/${name})
    add_custom_command(OUTPUT ${copy}.gz
        COMMAND ${CMAKE_COMMAND} -E copy ${page} ${copy}
        COMMAND ${TQKIT_GZIP} -9nf ${copy}
        DEPENDS ${page}
        COMMENT "Compressing the manual page ${name}"
        VERBATIM)
    add_custom_target(man_${name} ALL DEPENDS ${copy}.gz)
    install(FILES ${copy}.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT ${component})
endfunction()
