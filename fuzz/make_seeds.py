#!/usr/bin/env python3
"""Writes the fuzz targets' seed corpora from the sample writer's images.

usage: make_seeds.py TESSEL_SAMPLE OUT_FOLDER

Every seed is a small, valid input of its target, so the fuzzers start from
files that get past the first checks. Nothing here is committed: the seeds
are written fresh by each run of tools/fuzz.
"""
import os
import struct
import subprocess
import sys
import tempfile

TIFF_VARIANTS = {
    "rgb": ["--samples", "3", "--photometric", "2", "--rows-per-strip", "2"],
    "gray-le": ["--little-endian", "--samples", "1", "--photometric", "1"],
    "cmyk": ["--samples", "4", "--photometric", "5", "--dot-range", "0,255"],
    "lab": ["--samples", "3", "--photometric", "8", "--rows-per-strip", "4"],
    "indexed": ["--photometric", "3", "--color-map"],
    "white-zero": ["--photometric", "0", "--descending-tags"],
    "tiled": ["--samples", "3", "--photometric", "2", "--tiles", "16x16"],
    "late-directory": ["--samples", "2", "--extra-samples", "0", "--directory-after-pixels"],
    "inches": ["--resolution-unit", "3", "--x-resolution", "300/1"],
}
SCITEX_VARIANTS = {
    "cmyk": ["--channels", "4"],
    "gray": ["--channels", "1", "--units", "0"],
    "rgb": ["--channels", "3"],
}
NATIVE_VARIANTS = {
    "rgb": ["--channels", "3", "--mode", "3", "--resolution", "300"],
    "indexed": ["--channels", "1", "--mode", "2"],
    "duotone": ["--channels", "1", "--mode", "8"],
    "gray": ["--channels", "1", "--mode", "1"],
}


def sample(tool, kind, path, extra, width=9, height=7):
    subprocess.run([tool, kind, path, "--width", str(width), "--height", str(height)] + extra,
                   check=True)


def read(path):
    with open(path, "rb") as f:
        return f.read()


def write(folder, name, data):
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, name), "wb") as f:
        f.write(data)


def two_parts(first, second):
    return struct.pack(">H", len(first)) + first + second


def appledouble_entry(sidecar, wanted):
    count = struct.unpack_from(">H", sidecar, 24)[0]
    for i in range(count):
        entry, offset, length = struct.unpack_from(">III", sidecar, 26 + 12 * i)
        if entry == wanted:
            return sidecar[offset:offset + length]
    return None


def block_entry(signature, number, name, data):
    out = signature + struct.pack(">H", number) + bytes([len(name)]) + name
    if len(name) % 2 == 0:
        out += b"\0"
    out += struct.pack(">I", len(data)) + data
    return out + (b"\0" if len(data) % 2 else b"")


def host_sidecar(resources):
    out = b"TSLS" + struct.pack(">HHQH", 1, 0, 0, len(resources))
    for kind, data in resources:
        out += kind + struct.pack(">I", len(data)) + data
    return out


def prefs_slot(name, width, height):
    """A 96-byte slot: volume, folder, name (64 bytes), size, selection, grid."""
    key = struct.pack(">hhi", 0, 0, 0) + bytes([len(name)]) + name
    key = key.ljust(72, b"\0") + struct.pack(">II", width, height)
    return (key + struct.pack(">4h", 2, 3, 20, 30) + bytes([1, 0]) +
            struct.pack(">hh", 4, 5)).ljust(96, b"\0")


def picture_v2():
    """A version 2 picture: one 8 x 2 packed indexed bitmap, one direct one."""
    frame = struct.pack(">4h", 0, 0, 2, 8)
    out = b"\0\0" + frame + struct.pack(">HH", 0x0011, 0x02FF)
    out += struct.pack(">H", 0x0C00) + bytes(24) + struct.pack(">HH", 0x0001, 10) + frame

    def pixmap(row_bytes, bounds, pack_type, pixel_type, size, count, component):
        return (struct.pack(">H", row_bytes | 0x8000) + bounds +
                struct.pack(">HHIIIHHHHIII", 0, pack_type, 0, 72 << 16, 72 << 16, pixel_type,
                            size, count, component, 0, 0, 0))

    out += struct.pack(">H", 0x0098) + pixmap(8, frame, 0, 0, 8, 1, 8)
    out += struct.pack(">IHH", 0, 0, 2)
    for value, r, g, b in ((0, 0xFFFF, 0xFFFF, 0xFFFF), (1, 0xFFFF, 0, 0), (2, 0, 0, 0xFFFF)):
        out += struct.pack(">4H", value, r, g, b)
    out += frame + frame + struct.pack(">H", 0)
    out += bytes([4, 0xFD, 1, 0xFD, 2, 9, 7, 0, 1, 2, 0, 1, 2, 0, 1])
    if len(out) % 2:
        out += b"\0"
    small = struct.pack(">4h", 0, 0, 1, 4)
    out += struct.pack(">HI", 0x009A, 0xFF) + pixmap(16, small, 4, 16, 32, 3, 8)
    out += small + small + struct.pack(">H", 0)
    out += bytes([13, 11, 0xFF, 0, 0, 0x80, 0, 0xFF, 0, 0x80, 0, 0, 0xFF, 0x80])
    if len(out) % 2:
        out += b"\0"
    return out + struct.pack(">H", 0x00FF)


def main():
    tool, out = sys.argv[1], sys.argv[2]
    with tempfile.TemporaryDirectory() as scratch:
        def path(name):
            return os.path.join(scratch, name)

        tiffs = {}
        for name, extra in TIFF_VARIANTS.items():
            sample(tool, "tiff", path(name + ".tif"), extra)
            tiffs[name] = read(path(name + ".tif"))
            write(os.path.join(out, "tiff"), name, tiffs[name])
        for name, extra in SCITEX_VARIANTS.items():
            sample(tool, "scitex", path(name + ".sct"), extra)
            write(os.path.join(out, "scitex"), name, read(path(name + ".sct")))
        for name, extra in NATIVE_VARIANTS.items():
            sample(tool, "native", path(name + ".lumn"), extra)
            sidecar = read(path("._" + name + ".lumn"))
            write(os.path.join(out, "native"), name, two_parts(sidecar, read(path(name + ".lumn"))))
            write(os.path.join(out, "appledouble"), name, sidecar)
            fork = appledouble_entry(sidecar, 2)
            if fork:
                write(os.path.join(out, "resource_fork"), name, fork)

    tag = bytes(range(96))
    ours = block_entry(b"LUMN", 0x3E80, b"part", tag)
    theirs = block_entry(b"8BIM", 1005, b"", bytes(16))
    write(os.path.join(out, "image_resources"), "ours", ours)
    write(os.path.join(out, "image_resources"), "mixed", theirs + ours + block_entry(b"8BIM", 7, b"x", b"odd"))
    write(os.path.join(out, "picture"), "bitmaps", picture_v2())
    write(os.path.join(out, "preferences"), "two-slots",
          struct.pack(">I", 2) + prefs_slot(b"other.tif", 10, 10) + prefs_slot(b"image.tif", 64, 48))
    for name in ("rgb", "gray-le", "cmyk", "lab", "tiled"):
        write(os.path.join(out, "document"), name, two_parts(b"", tiffs[name]))
    write(os.path.join(out, "document"), "with-sidecar",
          two_parts(host_sidecar([(b"part", tag)]), tiffs["rgb"]))


if __name__ == "__main__":
    main()
