# SPDX-FileCopyrightText: 2026 The TQKit developers
# SPDX-License-Identifier: LGPL-2.1-or-later
# The API reference: `cmake --build build --target docs` writes build/docs/html and, where Qt's
# qhelpgenerator is installed, build/docs/TQKit-<version>.qch for Qt Creator and Qt Assistant.
# Its input is the public headers both libraries install (their TQKIT_PUBLIC_HEADERS), the
# version header, the README as the main page, the documents under docs/ and the pages of
# docs/reference. Included after src/, whose modules have listed their headers by then.
# A machine without Doxygen still configures and builds; only the docs target says what is
# missing.

option(TQKIT_DOCS_WARN_AS_ERROR "Fail the docs target on any Doxygen warning (an undocumented public symbol)" ON)

find_package(Doxygen 1.9 QUIET)
set(TQKIT_DOCS_OUTPUT ${PROJECT_BINARY_DIR}/docs)

if(NOT DOXYGEN_FOUND)
    add_custom_target(docs
        COMMAND ${CMAKE_COMMAND} -E echo
            "docs: Doxygen was not found, so the API reference is not built. Install it (Debian: apt install doxygen, or scripts/install-deps.sh) and configure again."
        VERBATIM)
    return()
endif()

get_target_property(tqkit_docs_core_headers TQKitCore TQKIT_PUBLIC_HEADERS)
get_target_property(tqkit_docs_widgets_headers TQKitWidgets TQKIT_PUBLIC_HEADERS)
set(tqkit_docs_headers ${tqkit_docs_core_headers} ${tqkit_docs_widgets_headers}
    ${PROJECT_BINARY_DIR}/src/include/tqkit_version.h)
file(GLOB tqkit_docs_pages CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/reference/*.dox)
set(tqkit_docs_inputs ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/docs/ARCHITECTURE.md
    ${PROJECT_SOURCE_DIR}/docs/VERSIONING.md ${PROJECT_SOURCE_DIR}/CHANGELOG.md
    ${tqkit_docs_pages} ${tqkit_docs_headers})
# Quillbox, where the sources have it, is the largest example of all.
if(EXISTS ${PROJECT_SOURCE_DIR}/examples/quillbox/main.cpp)
    file(WRITE ${TQKIT_DOCS_OUTPUT}/quillbox.dox
        "/**\n    \\example quillbox/main.cpp\n"
        "    Quillbox, the file browser and image viewer built on both libraries: its window,\n"
        "    folder view, sidebar and inspector live in examples/quillbox beside this entry point.\n*/\n")
    list(APPEND tqkit_docs_inputs ${TQKIT_DOCS_OUTPUT}/quillbox.dox)
endif()

# Headers are included by their bare names (<TQKit/TQFile.h> once installed), so the reference
# names them that way too.
set(tqkit_docs_dirs "")
foreach(header IN LISTS tqkit_docs_headers)
    get_filename_component(dir ${header} DIRECTORY)
    list(APPEND tqkit_docs_dirs ${dir})
endforeach()
list(REMOVE_DUPLICATES tqkit_docs_dirs)
list(JOIN tqkit_docs_dirs " " TQKIT_DOCS_INCLUDE_DIRS)
list(JOIN tqkit_docs_inputs " \\\n                         " TQKIT_DOCS_INPUT)

# The Qt Help file needs qhelpgenerator (Debian: qt6-documentation-tools); without it the HTML
# is still written.
find_program(TQKIT_QHELPGENERATOR qhelpgenerator
    HINTS ${QT6_INSTALL_PREFIX}/${QT6_INSTALL_LIBEXECS} /usr/lib/qt6/libexec /usr/lib/qt6/bin
    NO_CACHE)
if(TQKIT_QHELPGENERATOR)
    set(TQKIT_DOCS_QHP YES)
else()
    set(TQKIT_DOCS_QHP NO)
    set(TQKIT_QHELPGENERATOR "")
    message(STATUS "docs: qhelpgenerator not found (Debian: qt6-documentation-tools); the reference will be HTML only")
endif()
string(REPLACE "." "" TQKIT_DOCS_QHP_VERSION ${PROJECT_VERSION})
if(TQKIT_DOCS_WARN_AS_ERROR)
    # FAIL_ON_WARNINGS lists every warning before failing, rather than stopping at the first.
    set(TQKIT_DOCS_WARN_AS_ERROR FAIL_ON_WARNINGS)
else()
    set(TQKIT_DOCS_WARN_AS_ERROR NO)
endif()

configure_file(${PROJECT_SOURCE_DIR}/docs/Doxyfile.in ${TQKIT_DOCS_OUTPUT}/Doxyfile @ONLY)
# qhelpgenerator is a Qt program: a runtime folder of its own keeps it from complaining.
file(MAKE_DIRECTORY ${TQKIT_DOCS_OUTPUT}/runtime)
file(CHMOD ${TQKIT_DOCS_OUTPUT}/runtime DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
add_custom_target(docs
    COMMAND ${CMAKE_COMMAND} -E env XDG_RUNTIME_DIR=${TQKIT_DOCS_OUTPUT}/runtime
        ${DOXYGEN_EXECUTABLE} ${TQKIT_DOCS_OUTPUT}/Doxyfile
    WORKING_DIRECTORY ${TQKIT_DOCS_OUTPUT}
    DEPENDS ${tqkit_docs_inputs}
    COMMENT "API reference: ${TQKIT_DOCS_OUTPUT}/html/index.html"
    VERBATIM)
