#!/usr/bin/python3
"""Writes a dense RGB BigTIFF of a given size with tifffile, strip by strip or
tile by tile, so the benchmark's large files come from a writer that is not
ours. Samples follow a pattern that changes along both axes.

    make_big_tiff.py PATH WIDTH HEIGHT (strips ROWS | tiles SIDE)
"""
import sys

import numpy
import tifffile


def pattern(top, left, rows, columns):
    r = numpy.arange(top, top + rows, dtype=numpy.uint32)[:, None]
    c = numpy.arange(left, left + columns, dtype=numpy.uint32)[None, :]
    block = numpy.empty((rows, columns, 3), dtype=numpy.uint8)
    block[..., 0] = (r * 7 + c) & 255
    block[..., 1] = (r + c * 3) & 255
    block[..., 2] = (r ^ c) & 255
    return block


def strips(width, height, rows):
    for top in range(0, height, rows):
        yield pattern(top, 0, min(rows, height - top), width)


def tiles(width, height, side):
    for top in range(0, height, side):
        for left in range(0, width, side):
            tile = numpy.zeros((side, side, 3), dtype=numpy.uint8)
            part = pattern(top, left, min(side, height - top), min(side, width - left))
            tile[: part.shape[0], : part.shape[1]] = part
            yield tile


def main():
    path, width, height, kind, size = sys.argv[1], *map(int, sys.argv[2:4]), sys.argv[4], int(sys.argv[5])
    shape = (height, width, 3)
    if kind == "strips":
        tifffile.imwrite(path, strips(width, height, size), shape=shape, dtype=numpy.uint8,
                         bigtiff=True, photometric="rgb", rowsperstrip=size)
    else:
        tifffile.imwrite(path, tiles(width, height, size), shape=shape, dtype=numpy.uint8,
                         bigtiff=True, photometric="rgb", tile=(size, size))


if __name__ == "__main__":
    main()
