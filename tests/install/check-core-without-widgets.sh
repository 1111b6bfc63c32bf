#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The TQKit developers
# SPDX-License-Identifier: LGPL-2.1-or-later
# The core library must load in a program without QtWidgets, and build without its headers:
#   1. libTQKitCore.so does not need libQt6Widgets (nor anything that does);
#   2. no source or header of the core names a QtWidgets header;
#   3. with Ninja, no object of the core was compiled with a QtWidgets header in it, however
#      deep the include (the compiler's own dependency record).
# Arguments: the library file, the file listing the core's sources and headers, the build folder.
set -euo pipefail
library=$1
file_list=$2
build=$3
status=0

needed=$(readelf -d "$library" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
if grep -q 'Widgets' <<<"$needed"; then
    echo "FAIL: $library needs: $(grep Widgets <<<"$needed" | tr '\n' ' ')"
    status=1
fi
if LD_LIBRARY_PATH="$(dirname "$library")${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}" ldd "$library" | grep -q 'libQt6Widgets'; then
    echo "FAIL: $library loads libQt6Widgets through a library it needs"
    status=1
fi

# Every header QtWidgets installs, by name (QWidget, qwidget.h, ...), that QtCore and QtGui
# do not also have.
qt_include=$(qtpaths6 --query QT_INSTALL_HEADERS 2>/dev/null || qmake6 -query QT_INSTALL_HEADERS)
widgets_headers=$(comm -23 <(ls "$qt_include/QtWidgets" | sort -u) \
                           <(ls "$qt_include/QtCore" "$qt_include/QtGui" | sort -u))
pattern="^[[:space:]]*#[[:space:]]*include[[:space:]]*[<\"](QtWidgets/.*|$(tr '\n' '|' <<<"$widgets_headers" | sed 's/|$//; s/\./\\./g'))[>\"]"
while IFS= read -r source; do
    [ -f "$source" ] || continue
    if hits=$(grep -nE "$pattern" "$source"); then
        echo "FAIL: $source includes QtWidgets: $hits"
        status=1
    fi
done <"$file_list"

if [ -f "$build/build.ninja" ]; then
    objects=$(ninja -C "$build" -t targets all 2>/dev/null | sed -n 's|^\(src/CMakeFiles/TQKitCore\.dir/[^:]*\.o\):.*|\1|p')
    if [ -z "$objects" ]; then
        echo "FAIL: no objects of TQKitCore in $build/build.ninja"
        status=1
    elif deps=$(ninja -C "$build" -t deps $objects | grep '/QtWidgets/'); then
        echo "FAIL: compiled with QtWidgets headers:"
        echo "$deps" | sort -u | head -n 20
        status=1
    fi
fi

[ $status -eq 0 ] && echo "TQKitCore: no QtWidgets needed, named or included"
exit $status
