#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The TQKit developers
# SPDX-License-Identifier: LGPL-2.1-or-later
# Installs the Debian 12 packages TQKit needs to build, run its tools and run its tests;
# with --bench also the peers the benchmarks measure against (vipsthumbnail).
# Idempotent and quiet: packages already present are left alone, and apt is only asked
# to do work when something is missing. Must run as root (or through sudo).
set -euo pipefail

packages=(
    # toolchain
    g++ cmake ninja-build pkgconf
    # the sanitizer build and the fuzz targets: clang, its runtimes (ASan, UBSan, libFuzzer)
    # and llvm-symbolizer for readable stacks
    clang libclang-rt-14-dev llvm
    # Qt 6: widgets, D-Bus, tests; image-format plugins (TIFF, WebP, ...); the offscreen
    # and other platform plugins that tests run widgets on
    qt6-base-dev qt6-base-dev-tools qt6-image-formats-plugins qt6-qpa-plugins
    # lupdate and lrelease with their CMake functions: the library's translations
    qt6-l10n-tools qt6-tools-dev
    # image metadata and HEIF
    libexiv2-dev libheif-dev
    # the shared thumbnail cache's PNGs, read and written directly
    libpng-dev
    # inflating compressed PNG chunks within a budget (zlib's streaming interface)
    zlib1g-dev
    # application associations
    libglib2.0-dev
    # file types and icons
    shared-mime-info adwaita-icon-theme hicolor-icon-theme
    # Qt's SVG icon engine and image plugin: the themes' scalable icons (Quillbox's fallback
    # theme is Adwaita, whose PNG sizes Qt shows even without it)
    libqt6svg6
    # the sandbox desktop thumbnailers run in (used when it works on the machine)
    bubblewrap
    # reference tools used by tests only: metadata readers, and other readers of the
    # shared thumbnail cache (GLib's gio, a Python script)
    libimage-exiftool-perl exiv2 libglib2.0-bin python3
    # a private session bus that tests start for the file-manager call
    dbus-daemon
    # the API reference (target docs): Doxygen, and qhelpgenerator for the Qt Help file
    doxygen qt6-documentation-tools
    # the Debian packages (scripts/package) and their checks; the desktop entry and metainfo
    # checks and the desktop database the install test refreshes
    dpkg-dev lintian desktop-file-utils appstream
)
if [ "${1:-}" = "--bench" ]; then
    packages+=(libvips-tools)
fi

missing=()
for p in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q '^install ok installed$'; then
        missing+=("$p")
    fi
done

if [ ${#missing[@]} -eq 0 ]; then
    exit 0
fi

sudo=""
if [ "$(id -u)" -ne 0 ]; then
    sudo="sudo"
fi

echo "install-deps: installing ${missing[*]}" >&2
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq >/dev/null
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
