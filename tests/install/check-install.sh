#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The TQKit developers
# SPDX-License-Identifier: LGPL-2.1-or-later
# Installs the built libraries into a scratch prefix and builds programs against them, through
# the CMake package (per component) and through pkg-config: what a user of TQKit would do.
# A command-line program that asks for Core must not need QtWidgets or TQKitWidgets.
set -euo pipefail
build=$1
version=${2:-}
source_dir=$(cd "$(dirname "$0")" && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

cmake --install "$build" --prefix "$scratch/prefix" >/dev/null
libdir=$(find "$scratch/prefix" -name 'libTQKitCore.so*' -printf '%h\n' | head -n 1)
for library in TQKitCore TQKitWidgets; do
    soname=$(readelf -d "$libdir/lib$library.so" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')
    [ "$soname" = "lib$library.so.0" ] || { echo "lib$library.so has the SONAME '$soname'"; exit 1; }
done
sample="$source_dir/consumer/core.cpp"

# Prints the libraries a program needs, one per line.
needed() { readelf -d "$1" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p'; }
expect_answer() {
    local what=$1 program=$2 answer
    answer=$(LD_LIBRARY_PATH="$libdir" "$program" "$sample")
    [ "$answer" = "public.c-plus-plus-source" ] || { echo "$what said: $answer"; exit 1; }
}
expect_no_widgets() {
    local what=$1 program=$2
    if needed "$program" | grep -q Widgets || LD_LIBRARY_PATH="$libdir" ldd "$program" | grep -q Widgets; then
        echo "$what needs widgets:"; LD_LIBRARY_PATH="$libdir" ldd "$program"; exit 1
    fi
}

for consumer in core widgets umbrella; do
    cmake -S "$source_dir/consumer" -B "$scratch/$consumer" -G Ninja -DTQKIT_CONSUMER=$consumer \
        -DCMAKE_PREFIX_PATH="$scratch/prefix" >/dev/null
    cmake --build "$scratch/$consumer" >/dev/null
    expect_answer "CMake consumer ($consumer)" "$scratch/$consumer/consumer"
done
expect_no_widgets "CMake consumer (core)" "$scratch/core/consumer"
needed "$scratch/widgets/consumer" | grep -qx 'libTQKitWidgets.so.0' \
    || { echo "the widgets consumer does not link TQKitWidgets"; exit 1; }

# An unknown component stops the configuration and says which one.
if cmake -S "$source_dir/consumer" -B "$scratch/unknown" -G Ninja -DTQKIT_CONSUMER=unknown \
        -DCMAKE_PREFIX_PATH="$scratch/prefix" >"$scratch/unknown.log" 2>&1; then
    echo "an unknown component was accepted"; exit 1
fi
grep -q 'TQKit has no component "Gadgets"' "$scratch/unknown.log" \
    || { echo "an unknown component failed without saying so:"; cat "$scratch/unknown.log"; exit 1; }

export PKG_CONFIG_PATH="$libdir/pkgconfig"
g++ -std=c++20 -fPIC "$source_dir/consumer/core.cpp" -o "$scratch/pkgconfig-core" \
    $(pkg-config --cflags --libs TQKitCore)
expect_answer "pkg-config consumer (TQKitCore)" "$scratch/pkgconfig-core"
expect_no_widgets "pkg-config consumer (TQKitCore)" "$scratch/pkgconfig-core"
for pc in TQKitWidgets TQKit; do
    g++ -std=c++20 -fPIC "$source_dir/consumer/widgets.cpp" -o "$scratch/pkgconfig-$pc" \
        $(pkg-config --cflags --libs $pc)
    expect_answer "pkg-config consumer ($pc)" "$scratch/pkgconfig-$pc"
done
# The installed version header and the library agree with the project's version, and so does
# tqinfo --version.
if [ -n "$version" ]; then
    g++ -std=c++20 -fPIC "$source_dir/consumer/version.cpp" -o "$scratch/version" $(pkg-config --cflags --libs TQKitCore)
    answer=$(LD_LIBRARY_PATH="$libdir" "$scratch/version")
    [ "$answer" = "$version $version" ] || { echo "the version header and library said '$answer', not $version"; exit 1; }
    if [ -x "$scratch/prefix/bin/tqinfo" ]; then
        answer=$(LD_LIBRARY_PATH="$libdir" QT_QPA_PLATFORM=offscreen "$scratch/prefix/bin/tqinfo" --version)
        [ "$answer" = "tqinfo $version" ] || { echo "tqinfo --version said '$answer'"; exit 1; }
    fi
fi
echo "installed packages build and run with CMake (Core, Widgets, both) and pkg-config"
