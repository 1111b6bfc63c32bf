#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The TQKit developers
# SPDX-License-Identifier: LGPL-2.1-or-later
"""Finds the thumbnails of FILE in the freedesktop shared thumbnail cache by the standard's own
rules, independently of TQKit, and checks them.

usage: check-thumbnail.py [--fail APP] FILE    ($XDG_CACHE_HOME as the standard reads it)

Prints the path of every size's thumbnail (with --fail: of APP's fail record instead) and
exits 0 when there is at least one and every one is valid: it describes FILE, only its owner
may read it, only the owner may enter its folders, and no half-written file is left beside
it. Prints why on stderr and exits 1 when one is not valid, 2 when there is none. Python's
standard library only.
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
    folder = os.path.dirname(thumbnail)
    for directory in (folder, os.path.dirname(folder)):
        if stat.S_IMODE(os.stat(directory).st_mode) != 0o700:
            yield f"{directory} is of mode {stat.S_IMODE(os.stat(directory).st_mode):o}, not 700"
    for name in os.listdir(folder):
        if name.startswith(".") or not name.endswith(".png"):
            yield f"{name} is left in {folder}"
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


def main(arguments):
    folders = ["fail/" + arguments[1]] if arguments[0] == "--fail" else BUCKETS
    path = arguments[-1]
    cache = os.environ.get("XDG_CACHE_HOME") or os.path.expanduser("~/.cache")
    uri = file_uri(path)
    name = hashlib.md5(uri.encode("ascii")).hexdigest() + ".png"
    source = os.stat(path)
    found = [os.path.join(cache, "thumbnails", folder, name) for folder in folders]
    found = [thumbnail for thumbnail in found if os.path.exists(thumbnail)]
    if not found:
        print(f"no thumbnail named {name} for {uri}", file=sys.stderr)
        return 2
    for thumbnail in found:
        wrong = list(problems(thumbnail, uri, source))
        if wrong:
            print(f"{thumbnail}: " + "; ".join(wrong), file=sys.stderr)
            return 1
        print(thumbnail)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
