#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The TQKit developers
# SPDX-License-Identifier: LGPL-2.1-or-later
"""Finds the thumbnail of FILE in the freedesktop shared thumbnail cache by the standard's own
rules, independently of TQKit, and checks it.

usage: check-thumbnail.py FILE    ($XDG_CACHE_HOME as the standard reads it)

Prints the thumbnail's path and exits 0 when a valid one exists; prints why on stderr and
exits 1 otherwise. Python's standard library only.
"""
import hashlib
import os
import stat
import struct
import sys
import urllib.parse
import zlib

# With letters, digits and "-._~" (which quote() never escapes): what GLib leaves as it is in
# the path of a file URI. Everything else is escaped byte by byte.
SAFE = "/!$&'()*+,:=@"
BUCKETS = ("normal", "large", "x-large", "xx-large")


def file_uri(path):
    return "file://" + urllib.parse.quote(os.fsencode(os.path.abspath(path)), safe=SAFE)


def text_chunks(data):
    if data[:8] != b"\x89PNG\r\n\x1a\n":
        raise ValueError("not a PNG")
    texts, pos = {}, 8
    while pos + 12 <= len(data):
        length, kind = struct.unpack(">I4s", data[pos:pos + 8])
        body = data[pos + 8:pos + 8 + length]
        (crc,) = struct.unpack(">I", data[pos + 8 + length:pos + 12 + length])
        if zlib.crc32(kind + body) != crc:
            raise ValueError(f"the {kind.decode('latin-1')} chunk's CRC is wrong")
        if kind == b"tEXt":
            key, _, value = body.partition(b"\0")
            texts[key.decode("latin-1")] = value.decode("latin-1")
        if kind == b"IEND":
            return texts
        pos += 12 + length
    raise ValueError("the PNG has no end")


def problems(thumbnail, uri, source):
    texts = text_chunks(open(thumbnail, "rb").read())
    if texts.get("Thumb::URI") != uri:
        yield f"Thumb::URI is {texts.get('Thumb::URI')!r}, not {uri!r}"
    if texts.get("Thumb::MTime") != str(int(source.st_mtime)):
        yield f"Thumb::MTime is {texts.get('Thumb::MTime')!r}, not {int(source.st_mtime)}"
    if "Thumb::Size" in texts and texts["Thumb::Size"] != str(source.st_size):
        yield f"Thumb::Size is {texts['Thumb::Size']!r}, not {source.st_size}"
    mode = stat.S_IMODE(os.stat(thumbnail).st_mode)
    if mode != 0o600:
        yield f"its mode is {mode:o}, not 600"


def main(path):
    cache = os.environ.get("XDG_CACHE_HOME") or os.path.expanduser("~/.cache")
    uri = file_uri(path)
    name = hashlib.md5(uri.encode("ascii")).hexdigest() + ".png"
    source = os.stat(path)
    for bucket in BUCKETS:
        thumbnail = os.path.join(cache, "thumbnails", bucket, name)
        if not os.path.exists(thumbnail):
            continue
        found = list(problems(thumbnail, uri, source))
        if found:
            print(f"{thumbnail}: " + "; ".join(found), file=sys.stderr)
            return 1
        print(thumbnail)
        return 0
    print(f"no thumbnail named {name} for {uri}", file=sys.stderr)
    return 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
