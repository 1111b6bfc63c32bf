#!/usr/bin/env bash
# Installs the built library into a scratch prefix and builds a program against it, once
# through the CMake package and once through pkg-config: what a user of TQKit would do.
set -euo pipefail
build=$1
source_dir=$(cd "$(dirname "$0")" && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

cmake --install "$build" --prefix "$scratch/prefix" >/dev/null
libdir=$(find "$scratch/prefix" -name 'libTQKit.so*' -printf '%h\n' | head -n 1)

cmake -S "$source_dir/consumer" -B "$scratch/consumer" -G Ninja \
    -DCMAKE_PREFIX_PATH="$scratch/prefix" >/dev/null
cmake --build "$scratch/consumer" >/dev/null
answer=$(LD_LIBRARY_PATH="$libdir" "$scratch/consumer/consumer" "$source_dir/consumer/main.cpp")
[ "$answer" = "public.c-plus-plus-source" ] || { echo "CMake consumer said: $answer"; exit 1; }

export PKG_CONFIG_PATH="$libdir/pkgconfig"
g++ -std=c++20 -fPIC "$source_dir/consumer/main.cpp" -o "$scratch/pkgconfig-consumer" \
    $(pkg-config --cflags --libs TQKit)
answer=$(LD_LIBRARY_PATH="$libdir" "$scratch/pkgconfig-consumer" "$source_dir/consumer/main.cpp")
[ "$answer" = "public.c-plus-plus-source" ] || { echo "pkg-config consumer said: $answer"; exit 1; }
echo "installed package builds and runs with CMake and pkg-config"
