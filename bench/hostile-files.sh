#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The TQKit developers
# SPDX-License-Identifier: LGPL-2.1-or-later
# Runs every tqinfo command (properties, JSON, rotate, thumbnails) on every hostile shape and
# prints each run's wall time and peak resident size, slowest first. By hand, never in CI.
#   bench/hostile-files.sh [BUILD] [SEEDS]
# BUILD holds tools/tqinfo/tqinfo (default build); SEEDS is a folder of shapes, by default the
# pictures the fuzz build generates (build-asan/fuzz/seeds/pictures). A FIFO, a link to
# /dev/zero and 8 GiB sparse files are added in a scratch folder.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$top/build}
seeds=${2:-$top/build-asan/fuzz/seeds/pictures}
tqinfo=$build/tools/tqinfo/tqinfo
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

mkdir "$work/shapes" "$work/out"
cp "$seeds"/* "$work/shapes/"
mkfifo "$work/shapes/pipe.jpg"
ln -s /dev/zero "$work/shapes/zero.jpg"
truncate -s 8G "$work/shapes/sparse.jpg"
if [ -f "$build/sample-data/images/photo.tiff" ]; then
    cp "$build/sample-data/images/photo.tiff" "$work/shapes/sparse.tiff"
    truncate -s 8G "$work/shapes/sparse.tiff"
fi

for f in "$work"/shapes/*; do
    for command in --properties --json "--rotate 90" "--thumbnails $work/out --size 1024"; do
        # Rotating copies the whole file: an 8 GiB one is left out, as its cost is the copy's.
        case "$command $f" in "--rotate"*"sparse.tiff") continue ;; esac
        TQKIT_THUMBNAIL_CACHE=0 /usr/bin/time -o "$work/time" -f "%e %M" timeout 20 "$tqinfo" $command "$f" \
            >/dev/null 2>&1 || true
        read -r seconds kilobytes < <(tail -1 "$work/time")
        printf '%6s s %8s KB  %-14s %s\n' "$seconds" "$kilobytes" "${command%% *}" "$(basename "$f")"
    done
done | sort -g -r
