#!/usr/bin/env bash
# What durability costs: tessel export of a 4000 x 4000 RGB document into a
# 20000 x 15000 TIFF with its one fsync at the end, the same export with
# fsync made a no-op, GDAL's windowed write followed by an fsync, and the
# floor: the bytes the export writes (whole rows of the rectangle, read and
# written back) put with pwrite and synced once. One table, one run.
#
#   bench/bench_durable.sh [BUILD_DIR]     (default: build-bench beside this folder)
#
# Every run writes the image's own samples back, so each sync has the same
# dirty pages to flush. Aim: the durable export within 1.5x of the pwrite
# floor. Needs about 1 GB in /tmp, a C compiler for the no-sync shim, and
# python3's osgeo module for the GDAL figure (n/a without it). Not run by CI.
set -euo pipefail

ROOT="$(cd "$(dirname "$0")/.." && pwd)"
BUILD="${1:-$ROOT/build-bench}"
IMAGE="${TESSEL_BENCH_DURABLE_IMAGE:-/tmp/tessel-bench-durable-20000x15000-rgb.tif}"
WORK="$(mktemp -d /tmp/tessel-bench-durable-XXXXXX)"
DOCUMENT="$WORK/document.tif"
LEFT=7001 TOP=5003 SIDE=4000 REPEATS=3
PYTHON=/usr/bin/python3
source "$(dirname "$0")/common.sh"
# TESSEL_BENCH_NO_INSTALL=1 runs with what is there (GDAL's figure n/a without it).
[ -n "${TESSEL_BENCH_NO_INSTALL:-}" ] || install_peer_tools

build_for_bench tessel tessel_module tessel-sample

run_tessel_in "$WORK"
trap 'rm -rf "$WORK"' EXIT

make_nosync_shim "$WORK"

ensure_bench_image
"$BUILD/bin/tessel" extract "$IMAGE" --rect $TOP,$LEFT,$((TOP + SIDE)),$((LEFT + SIDE)) \
  -o "$DOCUMENT" --force >/dev/null
cat "$IMAGE" "$DOCUMENT" >/dev/null  # reads from the page cache; only writes reach the disk

durable_time=$(best_of "$BUILD/bin/tessel" export "$DOCUMENT")
nosync_time=$(best_of env LD_PRELOAD="$WORK/nosync.so" "$BUILD/bin/tessel" export "$DOCUMENT")

# The rows of the rectangle are contiguous in this file (chunky strips one
# after another), so the floor is one read and chunked pwrites of that span.
pwrite_time=$("$PYTHON" - "$IMAGE" $TOP $SIDE $REPEATS <<'PY'
import os, struct, sys, time
path, top, rows, repeats = sys.argv[1], *map(int, sys.argv[2:])
with open(path, "rb") as f:
    head = f.read(8)
order = "<" if head[:2] == b"II" else ">"
# The sample writer puts the pixels right after its directory: find the
# first strip through StripOffsets (tag 273).
with open(path, "rb") as f:
    data = f.read(1 << 16)
first_ifd = struct.unpack(order + "I", data[4:8])[0]
count = struct.unpack(order + "H", data[first_ifd:first_ifd + 2])[0]
width = offsets = None
for i in range(count):
    tag, kind, n, value = struct.unpack(order + "HHII", data[first_ifd + 2 + 12 * i:first_ifd + 14 + 12 * i])
    if tag == 256:
        width = value if kind == 4 else value & 0xFFFF if order == "<" else value >> 16
    if tag == 273:
        offsets = value
with open(path, "rb") as f:
    f.seek(offsets)
    first_strip = struct.unpack(order + "I", f.read(4))[0]
row_bytes = width * 3
start = first_strip + top * row_bytes
fd = os.open(path, os.O_RDWR)
span = os.pread(fd, rows * row_bytes, start)
best = None
for i in range(repeats + 1):
    t = time.perf_counter()
    chunk = 16 * row_bytes
    for at in range(0, len(span), chunk):
        os.pwrite(fd, span[at:at + chunk], start + at)
    os.fsync(fd)
    took = time.perf_counter() - t
    if i > 0 and (best is None or took < best):
        best = took
os.close(fd)
print(f"{best:.4f}")
PY
)

gdal_time=n/a
if "$PYTHON" -c 'import osgeo.gdal' 2>/dev/null; then
  gdal_time=$("$PYTHON" "$(dirname "$0")/gdal_write.py" "$IMAGE" $LEFT $TOP $SIDE $REPEATS \
    --fsync)
fi

echo
echo "Rectangle ${SIDE}x${SIDE} at ($LEFT,$TOP) of $IMAGE, RGB, 16 rows per strip;"
echo "best of $REPEATS runs, seconds; reads from the page cache, writes synced to $(df --output=source "$IMAGE" | tail -1)."
printf '%-56s %10s %10s\n' "operation" "seconds" "/ pwrite"
row() { printf '%-56s %10s %10s\n' "$1" "$2" "$(ratio "$2" "$pwrite_time")"; }
row "tessel export, synced once at the end" "$durable_time"
row "tessel export, fsync a no-op" "$nosync_time"
row "GDAL WriteRaster in place, then fsync" "$gdal_time"
row "pwrite of the same rows, then one fsync (the floor)" "$pwrite_time"
echo
echo "durable export / pwrite floor: $(ratio "$durable_time" "$pwrite_time") (aim: 1.5 or less)"
