#!/usr/bin/env bash
# Reading a rectangle of about 4000 x 4000 pixels out of a 20000 x 15000 RGB
# TIFF (16 rows per strip) into a new file: tessel acquire (its dialogs
# answered by a script) and tessel extract, beside gdal_translate -srcwin
# (plain, and with GDAL's direct reads for uncompressed TIFF), vips crop, and
# a bare copy of the rectangle's bytes with pread. One run each, from the
# page cache; wall time and peak memory (maximum resident set) of each. Then
# the whole edit loop, tessel's beside GDAL's.
#
#   bench/bench_acquire.sh [BUILD_DIR]     (default: build-bench beside this folder)
#
# The selection dialog picks the rectangle: the grid set to 5 columns and 4
# rows and one cell clicked gives 4000 x 3750 pixels, which every other tool
# then reads too. Aim: extract at least 5x faster than GDAL's fastest and
# within 2x of the bare copy; peak memory within 1.5x of the rectangle's
# bytes. vips is timed when it is installed. Needs about 1 GB in /tmp. Not
# run by CI.
set -euo pipefail

ROOT="$(cd "$(dirname "$0")/.." && pwd)"
BUILD="${1:-$ROOT/build-bench}"
IMAGE="${TESSEL_BENCH_IMAGE:-/tmp/tessel-bench-20000x15000-rgb.tif}"
WORK="$(mktemp -d /tmp/tessel-bench-acquire-XXXXXX)"
PYTHON=/usr/bin/python3
source "$(dirname "$0")/common.sh"

build_for_bench tessel tessel_module tessel-sample

run_tessel_in "$WORK"
trap 'rm -rf "$WORK"' EXIT

ensure_bench_image
cat "$IMAGE" >/dev/null  # every figure below is taken from the page cache

# Open the file dialog's choice; grid on, 5 columns, 4 rows; click a cell; OK.
printf 'click 1\nclick 7\nclick 9\nclick 9\nclick 12\ndown 140 120\nup 140 120\n' \
  >"$WORK/script.txt"

# Runs a command once under /usr/bin/time; prints "seconds peak-KiB".
measure() {
  /usr/bin/time -f '%e %M' -o "$WORK/time.txt" "$@" >/dev/null 2>"$WORK/stderr.txt" ||
    { cat "$WORK/stderr.txt" >&2; echo "n/a n/a"; return; }
  cat "$WORK/time.txt"
}

acquired=$(measure "$BUILD/bin/tessel" acquire "$IMAGE" -o "$WORK/acquired.tif" \
           --script "$WORK/script.txt")
# The rectangle the dialog chose, from the tag in the document's sidecar.
read -r LEFT TOP RIGHT BOTTOM < <("$PYTHON" - "$WORK/acquired.tif.tessel" <<'PY'
import struct, sys
data = open(sys.argv[1], "rb").read()
count = struct.unpack(">H", data[16:18])[0]
at = 18
for _ in range(count):
    kind, size = data[at:at + 4], struct.unpack(">I", data[at + 4:at + 8])[0]
    body = data[at + 8:at + 8 + size]
    if kind == b"part":
        # version 6: 32-bit sides at 12; version 5: 16-bit sides at 76
        if struct.unpack(">I", body[0:4])[0] == 6:
            top, left, bottom, right = struct.unpack(">4i", body[12:28])
        else:
            top, left, bottom, right = struct.unpack(">4h", body[76:84])
        print(left, top, right, bottom)
    at += 8 + size
PY
)
WIDTH=$((RIGHT - LEFT)) HEIGHT=$((BOTTOM - TOP))
RECT_BYTES=$((WIDTH * HEIGHT * 3))

extracted=$(measure "$BUILD/bin/tessel" extract "$IMAGE" --rect $TOP,$LEFT,$BOTTOM,$RIGHT \
            -o "$WORK/extracted.tif" --force)
gdal_plain=$(measure gdal_translate -q -srcwin $LEFT $TOP $WIDTH $HEIGHT "$IMAGE" "$WORK/gdal.tif")
gdal_fast=$(measure gdal_translate -q --config GTIFF_DIRECT_IO YES --config GDAL_CACHEMAX 16 \
            --config GDAL_DISABLE_READDIR_ON_OPEN EMPTY_DIR -srcwin $LEFT $TOP $WIDTH $HEIGHT \
            "$IMAGE" "$WORK/gdal-fast.tif")
vips_time="n/a n/a"
if command -v vips >/dev/null; then
  vips_time=$(measure vips crop "$IMAGE" "$WORK/vips.tif" $LEFT $TOP $WIDTH $HEIGHT)
fi
# The bytes the rectangle occupies, row by row, copied out of the page cache.
# The copy times itself: the interpreter's start is no part of the floor.
bare=$("$PYTHON" - "$IMAGE" $LEFT $TOP $WIDTH $HEIGHT <<'PY'
import os, resource, struct, sys, time
path, left, top, width, height = sys.argv[1], *map(int, sys.argv[2:])
fd = os.open(path, os.O_RDONLY)
# StripOffsets of the first directory (TIFF 6.0, section 2), either byte order.
head = os.pread(fd, 8, 0)
order = "<" if head[:2] == b"II" else ">"
ifd = struct.unpack(order + "I", head[4:8])[0]
count = struct.unpack(order + "H", os.pread(fd, 2, ifd))[0]
entries = os.pread(fd, 12 * count, ifd + 2)
tags = {}
for k in range(count):
    tag, kind, n, value = struct.unpack(order + "HHII", entries[12 * k:12 * k + 12])
    tags[tag] = (kind, n, value)
kind, n, value = tags[273]
size = 4 if kind == 4 else 2
raw = os.pread(fd, size * n, value)  # many strips: never held in the entry itself
offsets = struct.unpack(order + ("I" if size == 4 else "H") * n, raw)
start = time.perf_counter()
out = bytearray(width * height * 3)
view = memoryview(out)
row_bytes = 20000 * 3
for row in range(height):
    strip_row = top + row
    offset = offsets[strip_row // 16] + (strip_row % 16) * row_bytes + left * 3
    os.preadv(fd, [view[row * width * 3:(row + 1) * width * 3]], offset)
took = time.perf_counter() - start
print(f"{took:.2f} {resource.getrusage(resource.RUSAGE_SELF).ru_maxrss}")
PY
)

# The whole edit loop, each side with its own tools: take the rectangle out,
# negate it with ImageMagick, write it back in place and sync the image.
# Both loops negate, so the image ends as it began.
tessel_loop() {
  "$BUILD/bin/tessel" extract "$IMAGE" --rect $TOP,$LEFT,$BOTTOM,$RIGHT -o "$WORK/loop.tif" --force
  convert "$WORK/loop.tif" -negate "$WORK/loop.tif"
  "$BUILD/bin/tessel" export "$WORK/loop.tif"
}
gdal_loop() {
  gdal_translate -q --config GTIFF_DIRECT_IO YES -srcwin $LEFT $TOP $WIDTH $HEIGHT "$IMAGE" \
    "$WORK/gdal-loop.tif"
  convert "$WORK/gdal-loop.tif" -negate "$WORK/gdal-loop.tif"
  "$PYTHON" - "$IMAGE" "$WORK/gdal-loop.tif" $LEFT $TOP <<'PY'
import os, sys
from osgeo import gdal
gdal.UseExceptions()
image, edited, left, top = sys.argv[1], sys.argv[2], int(sys.argv[3]), int(sys.argv[4])
source = gdal.Open(edited)
pixels = source.ReadRaster(0, 0, source.RasterXSize, source.RasterYSize)
target = gdal.Open(image, gdal.GA_Update)
target.WriteRaster(left, top, source.RasterXSize, source.RasterYSize, pixels)
target = None
fd = os.open(image, os.O_RDONLY)
os.fsync(fd)
os.close(fd)
PY
}
loop_tessel=$(seconds_of tessel_loop)
loop_gdal=$(seconds_of gdal_loop)
two_places() { [ "$1" = n/a ] && echo n/a || printf '%.2f' "$1"; }

echo
echo "Rectangle ${WIDTH}x${HEIGHT} at ($LEFT,$TOP) of $IMAGE, RGB, 16 rows per strip;"
echo "one run each, files in the page cache; rectangle $((RECT_BYTES / 1024)) KiB."
printf '%-46s %9s %8s %12s %8s\n' "operation" "seconds" "/ bare" "peak KiB" "/ rect"
row() {
  local name=$1 seconds=${2% *} peak=${2#* }
  if [ "$seconds" = n/a ]; then
    printf '%-46s %9s %8s %12s %8s\n' "$name" n/a n/a n/a n/a
    return
  fi
  printf '%-46s %9s %8s %12s %8s\n' "$name" "$seconds" "$(ratio "$seconds" "${bare% *}")" "$peak" \
    "$(ratio "$peak" "$((RECT_BYTES / 1024))")"
}
row "tessel acquire (dialogs by script)" "$acquired"
row "tessel extract" "$extracted"
row "gdal_translate -srcwin" "$gdal_plain"
row "gdal_translate -srcwin, direct reads" "$gdal_fast"
row "vips crop" "$vips_time"
row "bare pread of the rectangle's bytes (copy loop)" "$bare"
echo
echo "extract vs GDAL's fastest: $(ratio "${gdal_fast% *}" "${extracted% *}")x faster (aim: 5 or more)"
echo "extract / bare copy: $(ratio "${extracted% *}" "${bare% *}") (aim: 2 or less)"
echo
echo "Edit loop (take out, negate with ImageMagick, write back in place, sync), one run each:"
printf '%-46s %9s\n' "tessel extract, convert, tessel export" "$(two_places "$loop_tessel")"
printf '%-46s %9s\n' "gdal_translate, convert, GDAL WriteRaster" "$(two_places "$loop_gdal")"
