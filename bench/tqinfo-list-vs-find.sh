#!/bin/sh
# SPDX-FileCopyrightText: 2026 The TQKit developers
# SPDX-License-Identifier: LGPL-2.1-or-later
#
# `tqinfo --list` of a big folder next to find printing names, sizes and dates of the same
# folder, and next to the bare system calls a listing with kinds needs (bench_listing_floor),
# in one run, twice, with the load of the machine before each round. Compare the ratios; on a
# shared machine prefer user+sys over wall.
#
#   tqinfo-list-vs-find.sh BUILD_DIR [FOLDER]
#
# BUILD_DIR is a Release build configured with -DTQKIT_BUILD_BENCHMARKS=ON; FOLDER defaults to
# a 100,000-entry folder that make-big-folder fills under /tmp on the first run.
set -eu
build=$1
folder=${2:-/tmp/tqkit-big-folder}
[ -d "$folder" ] || "$build/bench/make-big-folder" "$folder"
for round in 1 2; do
    uptime
    /usr/bin/time -f "find            wall %e s  user %U  sys %S" \
        find "$folder" -maxdepth 1 -printf '%f\t%s\t%T@\n' > /dev/null
    /usr/bin/time -f "calls (library) wall %e s  user %U  sys %S" "$build/bench/bench_listing_floor" library "$folder" > /dev/null
    /usr/bin/time -f "calls (fewest)  wall %e s  user %U  sys %S" "$build/bench/bench_listing_floor" fewest "$folder" > /dev/null
    /usr/bin/time -f "tqinfo --list   wall %e s  user %U  sys %S  max RSS %M KB" \
        "$build/tools/tqinfo/tqinfo" --list "$folder" > /dev/null
done
