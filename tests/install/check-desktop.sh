#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The TQKit developers
# SPDX-License-Identifier: LGPL-2.1-or-later
# Quillbox as a desktop sees it: installed into a scratch prefix, found there through
# XDG_DATA_DIRS after the desktop database is refreshed. GIO must list it for every type its
# desktop entry names (each of them a type the shared MIME database knows), and the library's
# own Open With description of a JPEG (tqinfo --open-with) must offer it.
# Exits 77 (skipped) when a desktop tool it needs is not installed (scripts/install-deps.sh).
set -euo pipefail
build=$1
tqinfo=$2
for tool in update-desktop-database desktop-file-validate appstreamcli gio; do
    command -v "$tool" >/dev/null || { echo "skipped: $tool is not installed"; exit 77; }
done
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
prefix=$scratch/prefix

cmake --install "$build" --prefix "$prefix" --component quillbox >/dev/null
entry=$prefix/share/applications/org.tqkit.Quillbox.desktop
for file in "$entry" "$prefix/share/metainfo/org.tqkit.Quillbox.metainfo.xml" \
        "$prefix/share/icons/hicolor/scalable/apps/org.tqkit.Quillbox.svg" "$prefix/bin/quillbox"; do
    [ -f "$file" ] || { echo "not installed: ${file#"$prefix"/}"; exit 1; }
done
desktop-file-validate "$entry"
appstreamcli validate --no-net "$prefix/share/metainfo/org.tqkit.Quillbox.metainfo.xml"

# A desktop of its own: the scratch prefix first, the system's MIME database after it, and no
# user or system choices of default applications.
mkdir -p -m 700 "$scratch/runtime"
export XDG_DATA_DIRS=$prefix/share:/usr/share XDG_DATA_HOME=$scratch/data
export XDG_CONFIG_HOME=$scratch/config XDG_CONFIG_DIRS=$scratch/config-dirs HOME=$scratch/home
export XDG_RUNTIME_DIR=$scratch/runtime XDG_CACHE_HOME=$scratch/cache
# TryExec=quillbox: GIO lists the entry only where the program is on the PATH.
export PATH=$prefix/bin:$PATH
update-desktop-database "$prefix/share/applications"
grep -q '^image/jpeg=.*org\.tqkit\.Quillbox\.desktop' "$prefix/share/applications/mimeinfo.cache" \
    || { echo "the desktop database does not list Quillbox for image/jpeg"; exit 1; }

mapfile -t types < <(sed -n 's/^MimeType=//p' "$entry" | tr ';' '\n' | sed '/^$/d')
for type in inode/directory image/jpeg image/png image/heic; do
    printf '%s\n' "${types[@]}" | grep -qx "$type" || { echo "the desktop entry does not name $type"; exit 1; }
done
for type in "${types[@]}"; do
    awk -v type="$type" '$1 == type { found = 1 } END { exit !found }' /usr/share/mime/types /usr/share/mime/aliases \
        || { echo "$type is not a type of the shared MIME database"; exit 1; }
    gio mime "$type" | awk '/^Registered applications:/ { on = 1; next } /^[^\t ]/ { on = 0 } on' \
        | grep -qx '[[:space:]]*org\.tqkit\.Quillbox\.desktop' \
        || { echo "GIO does not list Quillbox for $type:"; gio mime "$type"; exit 1; }
done

# A JPEG by its content, and the Open With menu the library describes for it.
printf '\xff\xd8\xff\xe0\x00\x10JFIF\x00\x01\x01\x00\x00\x01\x00\x01\x00\x00\xff\xd9' > "$scratch/picture.jpg"
menu=$(QT_QPA_PLATFORM=offscreen "$tqinfo" --open-with "$scratch/picture.jpg")
grep -qP "^Quillbox\t[^\t]*\topenWithMenuAction:\t\Q$entry\E$" <<<"$menu" \
    || { echo "the Open With menu of a JPEG does not offer Quillbox:"; echo "$menu"; exit 1; }
echo "Quillbox is listed by GIO for its ${#types[@]} types and offered in the Open With menu of a JPEG"
