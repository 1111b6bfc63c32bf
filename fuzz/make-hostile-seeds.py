#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The TQKit developers
# SPDX-License-Identifier: LGPL-2.1-or-later
"""Writes the hostile picture files the fuzz targets start from, next to the sample files.

Each shape is one that once crashed, hung or ran away with memory in a reader of this kind:
box and chunk sizes that promise far more than the file holds, compressed text that inflates
to gigabytes, tiny files that state gigapixel sizes, camera values stored as floating-point
numbers no integer can hold. They are spelled out here, byte by byte, so that the tree holds
no binary files and every shape can be read and changed.

usage: make-hostile-seeds.py SAMPLE_DATA_DIR OUTPUT_DIR
Writes OUTPUT_DIR/pictures/* (the picture targets' seeds, samples included),
OUTPUT_DIR/files/* (every sample file, for type detection), and the inputs kept in
regressions/FOLDER/*.hex beside this script (hex digits, whitespace and #-comments ignored:
what the fuzz targets once found) into OUTPUT_DIR/FOLDER.
"""

import os
import shutil
import struct
import sys
import zlib

# ---------------------------------------------------------------------------------- TIFF/EXIF

BYTE, ASCII, SHORT, LONG, RATIONAL, UNDEFINED, FLOAT, DOUBLE = 1, 2, 3, 4, 5, 7, 11, 12
SIZE = {BYTE: 1, ASCII: 1, SHORT: 2, LONG: 4, RATIONAL: 8, UNDEFINED: 1, FLOAT: 4, DOUBLE: 8}
PACK = {SHORT: 'H', LONG: 'I', FLOAT: 'f', DOUBLE: 'd'}


def entry(tag, kind, values):
    """One IFD entry; values is bytes (BYTE, ASCII, UNDEFINED) or a list of numbers."""
    if isinstance(values, (bytes, bytearray)):
        return (tag, kind, len(values) // SIZE[kind], bytes(values))
    if kind == RATIONAL:
        data = b''.join(struct.pack('<II', n, d) for n, d in values)
    else:
        data = b''.join(struct.pack('<' + PACK[kind], v) for v in values)
    return (tag, kind, len(values), data)


class Tiff:
    """A little-endian TIFF laid out front to back: IFDs in order, each IFD's long values
    right after it, then any blobs. Offsets are found in two passes."""

    def __init__(self):
        self.ifds = []   # (name, entries, next IFD name or None)
        self.blobs = []  # (name, bytes)

    def ifd(self, name, entries, next_ifd=None):
        self.ifds.append((name, entries, next_ifd))

    def blob(self, name, data):
        self.blobs.append((name, data))

    def build(self):
        offsets = {}
        for _ in range(2):
            out = bytearray(b'II*\x00' + struct.pack('<I', offsets.get(self.ifds[0][0], 8)))
            for name, entries, next_ifd in self.ifds:
                offsets[name] = len(out)
                resolved = [self._resolve(e, offsets) for e in entries]
                resolved.sort(key=lambda e: e[0])
                table = bytearray(struct.pack('<H', len(resolved)))
                data_at = len(out) + 2 + 12 * len(resolved) + 4
                extra = bytearray()
                for tag, kind, count, data in resolved:
                    if len(data) <= 4:
                        table += struct.pack('<HHI', tag, kind, count) + data.ljust(4, b'\x00')
                    else:
                        table += struct.pack('<HHII', tag, kind, count, data_at + len(extra))
                        extra += data + (b'\x00' if len(data) % 2 else b'')
                table += struct.pack('<I', offsets.get(next_ifd, 0) if next_ifd else 0)
                out += table + extra
            for name, data in self.blobs:
                offsets[name] = len(out)
                out += data
        return bytes(out)

    @staticmethod
    def _resolve(e, offsets):
        tag, kind, count, data = e
        if isinstance(data, str):  # a LONG that points at a named IFD or blob
            return (tag, LONG, 1, struct.pack('<I', offsets.get(data, 0)))
        return e


def pointer(tag, name):
    return (tag, LONG, 1, name)


ORIENTATION, EXIF_IFD, FOCAL_LENGTH, ISO, EXPOSURE, FNUMBER = 0x0112, 0x8769, 0x920A, 0x8827, 0x829A, 0x829D
PIXEL_X, PIXEL_Y, BIAS, X_RESOLUTION, Y_RESOLUTION = 0xA002, 0xA003, 0x9204, 0x011A, 0x011B


def exif_with_floats(value, kind):
    """Camera values (and the orientation and resolution) stored as FLOAT or DOUBLE."""
    tiff = Tiff()
    tiff.ifd('ifd0', [entry(0x010F, ASCII, b'Canon\x00'), entry(ORIENTATION, kind, [value]),
                      entry(X_RESOLUTION, kind, [value]), entry(Y_RESOLUTION, kind, [value]),
                      pointer(EXIF_IFD, 'exif')])
    tiff.ifd('exif', [entry(FOCAL_LENGTH, kind, [value]), entry(ISO, kind, [value]),
                      entry(EXPOSURE, kind, [value]), entry(FNUMBER, kind, [value]),
                      entry(BIAS, kind, [value]), entry(PIXEL_X, kind, [value]),
                      entry(PIXEL_Y, kind, [value]), entry(0xA405, kind, [value])])
    return tiff.build()


def exif_with_thumbnail(thumbnail):
    """A first IFD with an orientation, and an IFD1 whose JPEG thumbnail is the given bytes."""
    tiff = Tiff()
    tiff.ifd('ifd0', [entry(ORIENTATION, SHORT, [6]), pointer(EXIF_IFD, 'exif')], next_ifd='ifd1')
    tiff.ifd('exif', [entry(PIXEL_X, LONG, [64]), entry(PIXEL_Y, LONG, [48])])
    tiff.ifd('ifd1', [entry(0x0103, SHORT, [6]), pointer(0x0201, 'thumb'),
                      (0x0202, LONG, 1, struct.pack('<I', len(thumbnail)))])
    tiff.blob('thumb', thumbnail)
    return tiff.build()


def dng(width, height, strip):
    """A TIFF-shaped camera RAW whose only image is the given JPEG strip, stating a size."""
    tiff = Tiff()
    tiff.ifd('ifd0', [entry(0x00FE, LONG, [0]), entry(0x0100, LONG, [width]), entry(0x0101, LONG, [height]),
                      entry(0x0102, SHORT, [8, 8, 8]), entry(0x0103, SHORT, [7]), entry(0x0106, SHORT, [6]),
                      entry(0x010F, ASCII, b'Canon\x00'), entry(0x0110, ASCII, b'EOS 5D\x00'),
                      pointer(0x0111, 'strip'), entry(ORIENTATION, SHORT, [8]), entry(0x0115, SHORT, [3]),
                      (0x0117, LONG, 1, struct.pack('<I', len(strip))), entry(0xC612, BYTE, b'\x01\x04\x00\x00')])
    tiff.blob('strip', strip)
    return tiff.build()


# ----------------------------------------------------------------------------------------- JPEG

def segment(marker, payload):
    return bytes([0xFF, marker]) + struct.pack('>H', len(payload) + 2) + payload


def progressive_jpeg(width, height, size=None):
    """A progressive JPEG that states width x height and holds one DC scan of zeros: a decoder
    that believes the header keeps coefficients for every block of the stated size."""
    dc_bits = bytes([0, 1, 5, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0])
    head = (b'\xFF\xD8' + segment(0xDB, b'\x00' + b'\x01' * 64)
            + segment(0xC2, struct.pack('>BHHB', 8, height, width, 3) + b'\x01\x11\x00\x02\x11\x00\x03\x11\x00')
            + segment(0xC4, b'\x00' + dc_bits + bytes(range(12)))
            + segment(0xDA, b'\x03\x01\x00\x02\x00\x03\x00\x00\x00\x00'))
    scan = b'\x00' * max(64, (size or 0) - len(head) - 2)
    return head + scan + b'\xFF\xD9'


def baseline_header_jpeg(width, height):
    """A baseline JPEG header stating width x height, with no scan."""
    return (b'\xFF\xD8' + segment(0xC0, struct.pack('>BHHB', 8, height, width, 1) + b'\x01\x11\x00')
            + b'\xFF\xD9')


def jpeg_without_app1(data):
    """The segments of a JPEG before its scan, minus any APP1, and the rest from SOS on."""
    assert data[:2] == b'\xFF\xD8'
    at, kept = 2, bytearray()
    while at + 4 <= len(data) and data[at] == 0xFF:
        marker = data[at + 1]
        if marker == 0xDA:
            break
        length = struct.unpack('>H', data[at + 2:at + 4])[0]
        if marker != 0xE1:
            kept += data[at:at + 2 + length]
        at += 2 + length
    return bytes(kept), data[at:]


def jpeg_with_exif(base, tiff):
    kept, rest = jpeg_without_app1(base)
    return b'\xFF\xD8' + segment(0xE1, b'Exif\x00\x00' + tiff) + kept + rest


# ------------------------------------------------------------------------------------------ PNG

def chunk(kind, payload, length=None):
    size = len(payload) if length is None else length
    return struct.pack('>I', size) + kind + payload + struct.pack('>I', zlib.crc32(kind + payload))


def png(*chunks):
    ihdr = chunk(b'IHDR', struct.pack('>IIBBBBB', 1, 1, 8, 0, 0, 0, 0))
    idat = chunk(b'IDAT', zlib.compress(b'\x00\x00'))
    return b'\x89PNG\r\n\x1a\n' + ihdr + b''.join(chunks) + idat + chunk(b'IEND', b'')


BOMB = zlib.compress(b'\x00' * (32 << 20), 9)  # 32 MiB of zeros in about 32 KiB


# ------------------------------------------------------------------------------- main, shapes

def shapes(samples):
    base = open(os.path.join(samples, 'images', 'orientation-1.jpg'), 'rb').read()
    out = {}

    # ISO base media: a QuickTime brand under a picture's name, then an atom whose size is
    # almost 4 GiB (or a 64-bit size of 2^64-1); the same under a HEIF brand.
    ftyp_qt = struct.pack('>I', 0x18) + b'ftypqt  ' + b'\x00' * 12
    out['ftyp-qt-huge-atom.jpg'] = ftyp_qt + struct.pack('>I', 0xFFFFFFFE) + b'moov' + b'\x00' * 56
    out['ftyp-qt-huge-mdat.jpg'] = ftyp_qt + struct.pack('>I', 0xFFFFFFFE) + b'mdat' + b'\x00' * 56
    out['ftyp-qt-largesize.jpg'] = ftyp_qt + struct.pack('>I', 1) + b'moov' + b'\xFF' * 8 + b'\x00' * 48
    out['ftyp-heic-huge-meta.heic'] = (struct.pack('>I', 0x18) + b'ftypheic\x00\x00\x00\x00mif1heic'
                                       + struct.pack('>I', 0xFFFFFFFE) + b'meta' + b'\x00' * 4
                                       + struct.pack('>I', 0x21) + b'hdlr' + b'\x00' * 8 + b'pict' + b'\x00' * 13)

    # PNG text and profile chunks that inflate to 32 MiB each, alone and together.
    out['png-ztxt-bomb.png'] = png(chunk(b'zTXt', b'Comment\x00\x00' + BOMB))
    out['png-itxt-bomb.png'] = png(chunk(b'iTXt', b'XML:com.adobe.xmp\x00\x01\x00\x00\x00' + BOMB))
    out['png-iccp-bomb.png'] = png(chunk(b'iCCP', b'icc\x00\x00' + BOMB))
    out['png-raw-profile-bomb.png'] = png(chunk(b'zTXt', b'Raw profile type exif\x00\x00' + BOMB))
    # Chunks that declare about 2^31 bytes and hold a few.
    for kind in (b'tEXt', b'iCCP', b'eXIf', b'zTXt', b'IDAT'):
        name = 'png-%s-declares-2g.png' % kind.decode().lower()
        out[name] = png(chunk(kind, b'Comment\x00' + b'x' * 8, length=0x7FFFFFF0))
    out['png-exif-doubles.png'] = png(chunk(b'eXIf', exif_with_floats(float('inf'), DOUBLE)))

    # Tiny files that state gigapixel sizes: a 582-byte progressive JPEG of 24000 x 24000; an
    # ordinary picture whose EXIF thumbnail states 16000 x 12000 (progressive and baseline); a
    # camera RAW whose only image does.
    out['jpeg-progressive-24000.jpg'] = progressive_jpeg(24000, 24000, size=582)
    out['jpeg-exif-thumbnail-16000-progressive.jpg'] = jpeg_with_exif(
        base, exif_with_thumbnail(progressive_jpeg(16000, 12000)))
    out['jpeg-exif-thumbnail-16000-baseline.jpg'] = jpeg_with_exif(
        base, exif_with_thumbnail(baseline_header_jpeg(16000, 12000)))
    out['raw-16000-progressive.dng'] = dng(16000, 12000, progressive_jpeg(16000, 12000))
    out['gif-huge-screen.gif'] = (b'GIF89a' + struct.pack('<HHBBB', 65535, 65535, 0xF7, 0, 0) + b'\x00' * 768
                                  + b',' + struct.pack('<HHHHB', 0, 0, 65535, 65535, 0) + b'\x08\x02\x4c\x01\x00;')
    bmp_info = struct.pack('<IiiHHIIiiII', 40, 60000, -60000, 1, 24, 0, 0, 2835, 2835, 0, 0)
    out['bmp-huge.bmp'] = b'BM' + struct.pack('<IHHI', 14 + 40 + 12, 0, 0, 14 + 40) + bmp_info + b'\x00' * 12
    exif_webp = exif_with_floats(1e300, DOUBLE)
    vp8x = b'VP8X' + struct.pack('<I', 10) + b'\x08\x00\x00\x00' + (59999).to_bytes(3, 'little') * 2
    exif = b'EXIF' + struct.pack('<I', len(exif_webp)) + exif_webp + (b'\x00' if len(exif_webp) % 2 else b'')
    out['webp-vp8x-huge-exif-doubles.webp'] = b'RIFF' + struct.pack('<I', 4 + len(vp8x) + len(exif)) + b'WEBP' + vp8x + exif

    # EXIF FocalLength, ISO and friends as DOUBLE or FLOAT values no integer holds.
    for label, value in (('inf', float('inf')), ('minus-inf', float('-inf')), ('nan', float('nan')),
                         ('1e300', 1e300), ('minus-1e300', -1e300), ('2e19', 2e19)):
        out['jpeg-exif-double-%s.jpg' % label] = jpeg_with_exif(base, exif_with_floats(value, DOUBLE))
    out['jpeg-exif-float-inf.jpg'] = jpeg_with_exif(base, exif_with_floats(float('inf'), FLOAT))
    out['tiff-exif-double-nan.tif'] = exif_with_floats(float('nan'), DOUBLE)
    return out


def main():
    samples, output = sys.argv[1], sys.argv[2]
    pictures = os.path.join(output, 'pictures')
    os.makedirs(pictures, exist_ok=True)
    files = os.path.join(output, 'files')
    os.makedirs(files, exist_ok=True)
    # The samples first: real pictures of every format the generator writes, and movies, whose
    # boxes are what a picture reader must not be led into. Type detection gets every regular
    # file of the tree (links and special files are not seeds: a corpus is read by path).
    for root, _, names in os.walk(samples):
        for name in sorted(names):
            path = os.path.join(root, name)
            if os.path.islink(path) or not os.path.isfile(path):
                continue
            folder = os.path.relpath(root, samples).replace(os.sep, '-')
            seed = 'sample-%s-%s' % (folder, name)
            shutil.copyfile(path, os.path.join(files, seed))
            if folder in ('images', 'lying', 'media'):
                shutil.copyfile(path, os.path.join(pictures, seed))
    for name, data in shapes(samples).items():
        with open(os.path.join(pictures, name), 'wb') as f:
            f.write(data)
    regressions = os.path.join(os.path.dirname(os.path.abspath(__file__)), 'regressions')
    for folder in sorted(os.listdir(regressions)) if os.path.isdir(regressions) else []:
        if not os.path.isdir(os.path.join(regressions, folder)):
            continue
        os.makedirs(os.path.join(output, folder), exist_ok=True)
        for name in sorted(os.listdir(os.path.join(regressions, folder))):
            if name.endswith('.hex'):
                text = open(os.path.join(regressions, folder, name)).read()
                digits = ''.join(line.split('#')[0] for line in text.splitlines())
                with open(os.path.join(output, folder, 'regression-' + name[:-4]), 'wb') as f:
                    f.write(bytes.fromhex(''.join(digits.split())))


if __name__ == '__main__':
    main()
