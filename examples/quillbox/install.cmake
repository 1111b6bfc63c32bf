# SPDX-FileCopyrightText: 2026 The TQKit developers
# SPDX-License-Identifier: BSD-3-Clause
# Where a desktop finds Quillbox, in the places freedesktop desktops look: the desktop entry
# (with the MIME types it opens) in applications/, the AppStream metainfo in metainfo/, the
# icon in the hicolor theme. Included by this folder's CMakeLists after the quillbox target;
# the files belong to the install component "quillbox", which the Debian package mirrors.
set(quillbox_data ${CMAKE_CURRENT_LIST_DIR}/data)
install(FILES ${quillbox_data}/org.tqkit.Quillbox.desktop
    DESTINATION ${CMAKE_INSTALL_DATADIR}/applications COMPONENT quillbox)
install(FILES ${quillbox_data}/org.tqkit.Quillbox.metainfo.xml
    DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo COMPONENT quillbox)
install(FILES ${quillbox_data}/org.tqkit.Quillbox.svg
    DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps COMPONENT quillbox)
tqkit_install_man_page(${quillbox_data}/quillbox.1 quillbox)
