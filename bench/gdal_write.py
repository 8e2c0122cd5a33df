"""GDAL's in-place windowed write of a square of an image, timed.

    gdal_write.py IMAGE LEFT TOP SIDE REPEATS [--open-untimed] [--fsync]

Writes the square's own samples back, so the image keeps its bytes. Prints
the best of REPEATS runs, after one warming run, in seconds. By default a
run is open, write, flush and close; --open-untimed opens the file before
the clock starts and closes it after it stops, as the format layer's file
is already open; --fsync ends each run with an fsync of the file.
"""
import os
import sys
import time

from osgeo import gdal

gdal.UseExceptions()
flags = {arg for arg in sys.argv[1:] if arg.startswith("--")}
words = [arg for arg in sys.argv[1:] if not arg.startswith("--")]
path = words[0]
left, top, side, repeats = map(int, words[1:5])
open_untimed = "--open-untimed" in flags
fsync = "--fsync" in flags


def sync():
    fd = os.open(path, os.O_RDONLY)
    os.fsync(fd)
    os.close(fd)


def write_once(data):
    """One run; its time in seconds."""
    ds = gdal.Open(path, gdal.GA_Update) if open_untimed else None
    start = time.perf_counter()
    if ds is None:
        ds = gdal.Open(path, gdal.GA_Update)
    ds.WriteRaster(left, top, side, side, data)
    ds.FlushCache()
    if open_untimed:
        took = time.perf_counter() - start
        ds = None
        return took
    ds = None  # closing writes too: inside the time
    if fsync:
        sync()
    return time.perf_counter() - start


ds = gdal.Open(path)
square = ds.ReadRaster(left, top, side, side)
ds = None
write_once(square)  # warming run
print(f"{min(write_once(square) for _ in range(repeats)):.4f}")
