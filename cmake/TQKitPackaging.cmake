# SPDX-FileCopyrightText: 2026 The TQKit developers
# SPDX-License-Identifier: LGPL-2.1-or-later
# Debian packages through CPack, one per install component (scripts/package builds them):
#   core      libtqkitcore0      the core library, named after its SONAME as Debian asks
#   widgets   libtqkitwidgets0   the widgets library
#   dev       libtqkit-dev       headers, CMake package, pkg-config files, the link-time names
#   tqinfo    tqinfo             the command-line tool
#   quillbox  quillbox           the application with its desktop entry, metainfo and icon
# Run-time dependencies come from the binaries (dpkg-shlibdeps); the packages of this build
# depend on each other at exactly this version. Included last, after every install() rule.

set(TQKIT_DEB_MAINTAINER "The TQKit developers <maintainers@users.noreply.c-seed-23467449.example>"
    CACHE STRING "Maintainer field of the Debian packages")

# The SONAME's number: a new major version makes new library packages beside the old ones.
set(tqkit_soversion ${PROJECT_VERSION_MAJOR})
set(tqkit_deb_components core widgets dev)
if(TARGET tqinfo)
    list(APPEND tqkit_deb_components tqinfo)
endif()
if(TARGET quillbox)
    list(APPEND tqkit_deb_components quillbox)
endif()

# Every package carries its copyright and changelog under /usr/share/doc/<package>, as policy
# asks. The changelog is gzipped without a name or time stamp, so that builds are reproducible.
string(TIMESTAMP tqkit_deb_date "%a, %d %b %Y %H:%M:%S +0000" UTC)
set(tqkit_deb_changelog ${PROJECT_BINARY_DIR}/debian/changelog)
file(WRITE ${tqkit_deb_changelog}
    "tqkit (${PROJECT_VERSION}) unstable; urgency=medium\n\n"
    "  * Release ${PROJECT_VERSION}; the changes are listed in CHANGELOG.md of the sources\n"
    "    and of the libtqkit-dev package.\n\n"
    " -- ${TQKIT_DEB_MAINTAINER}  ${tqkit_deb_date}\n")
find_program(TQKIT_GZIP gzip)
if(TQKIT_GZIP)
    execute_process(COMMAND ${TQKIT_GZIP} -9nc
        INPUT_FILE ${tqkit_deb_changelog}
        OUTPUT_FILE ${tqkit_deb_changelog}.gz)
endif()

set(tqkit_deb_core_package libtqkitcore${tqkit_soversion})
set(tqkit_deb_widgets_package libtqkitwidgets${tqkit_soversion})
set(tqkit_deb_dev_package libtqkit-dev)
set(tqkit_deb_tqinfo_package tqinfo)
set(tqkit_deb_quillbox_package quillbox)
foreach(component IN LISTS tqkit_deb_components)
    set(package ${tqkit_deb_${component}_package})
    install(FILES ${PROJECT_SOURCE_DIR}/cmake/debian/copyright
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${component})
    if(EXISTS ${tqkit_deb_changelog}.gz)
        install(FILES ${tqkit_deb_changelog}.gz RENAME changelog.gz
            DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${component})
    endif()
endforeach()
install(FILES ${PROJECT_SOURCE_DIR}/CHANGELOG.md ${PROJECT_SOURCE_DIR}/docs/VERSIONING.md
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${tqkit_deb_dev_package} COMPONENT dev)

set(CPACK_PACKAGE_NAME tqkit)
set(CPACK_PACKAGE_VENDOR "The TQKit developers")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT ${TQKIT_DEB_MAINTAINER})
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_COMPONENTS_ALL ${tqkit_deb_components})
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${TQKIT_DEB_MAINTAINER})
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# dpkg-shlibdeps finds this build's own libraries here; the packages that hold them are named
# through the components' dependencies below.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/src)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
# A library package activates libc's ldconfig trigger, as policy asks.
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_CORE_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/triggers)
set(CPACK_DEBIAN_WIDGETS_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/triggers)

set(CPACK_DEBIAN_CORE_PACKAGE_NAME ${tqkit_deb_core_package})
set(CPACK_DEBIAN_CORE_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_CORE_PACKAGE_RECOMMENDS "shared-mime-info")
set(CPACK_DEBIAN_CORE_PACKAGE_SUGGESTS "bubblewrap")
set(CPACK_COMPONENT_CORE_DESCRIPTION "building blocks of a file browser and image viewer (core)
TQKit is a C++20 library for Qt 6 on Linux desktops: the building blocks of a
file browser and image viewer. This package holds its core library, which needs
QtCore and QtGui only: file items with their types, kinds, sizes, dates and
applications, live folders, sorting and filtering, bookmarks, colour labels,
image properties, lossless rotation and background thumbnails.")

set(CPACK_DEBIAN_WIDGETS_PACKAGE_NAME ${tqkit_deb_widgets_package})
set(CPACK_DEBIAN_WIDGETS_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_WIDGETS_DEPENDS core)
set(CPACK_COMPONENT_WIDGETS_DESCRIPTION "building blocks of a file browser and image viewer (widgets)
TQKit is a C++20 library for Qt 6 on Linux desktops: the building blocks of a
file browser and image viewer. This package holds its widgets library: Open
With and Drop Locations menus, the label picker, cells for lists of files, the
activity window and helpers for windows and views.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME ${tqkit_deb_dev_package})
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENT_DEV_DEPENDS core widgets)
# What the CMake package and the pkg-config files ask for when a program is built.
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS
    "qt6-base-dev (>= 6.4), libexiv2-dev, libheif-dev, libglib2.0-dev, libpng-dev, zlib1g-dev")
set(CPACK_COMPONENT_DEV_DESCRIPTION "building blocks of a file browser and image viewer (development files)
TQKit is a C++20 library for Qt 6 on Linux desktops: the building blocks of a
file browser and image viewer. This package holds what building a program
against it needs: the headers, the CMake package (components Core and
Widgets) and the pkg-config files.")

set(CPACK_DEBIAN_TQINFO_PACKAGE_NAME ${tqkit_deb_tqinfo_package})
set(CPACK_DEBIAN_TQINFO_PACKAGE_SECTION utils)
set(CPACK_COMPONENT_TQINFO_DEPENDS core)
set(CPACK_COMPONENT_TQINFO_DESCRIPTION "show what a file browser knows about files
tqinfo prints the values TQKit's file items hold (type, kind, size, dates,
applications, image properties) as a table or as JSON lines, lists folders
sorted and filtered as a browser's columns are, and writes thumbnails,
colour labels and lossless orientation changes from the shell.")

set(CPACK_DEBIAN_QUILLBOX_PACKAGE_NAME ${tqkit_deb_quillbox_package})
set(CPACK_DEBIAN_QUILLBOX_PACKAGE_SECTION graphics)
set(CPACK_COMPONENT_QUILLBOX_DEPENDS core widgets)
set(CPACK_DEBIAN_QUILLBOX_PACKAGE_RECOMMENDS "qt6-image-formats-plugins, hicolor-icon-theme")
set(CPACK_COMPONENT_QUILLBOX_DESCRIPTION "file browser and image viewer
Quillbox shows a folder's files as a list or as a grid of thumbnails, sorted
the way people read names, with each picture's size, date, camera and colour
label. It rotates pictures losslessly, sets colour labels other programs
read, and offers Open With and Drop Locations menus and bookmarks.")

include(CPack)
