#!/usr/bin/env bash
# tessel export of a 4000 x 4000 RGB document into a 20000 x 15000 TIFF (16
# rows per strip), beside the bare RasterFormatPutTile of the same rectangle
# and GDAL's in-place windowed write, in the same run. Prints one table.
#
#   bench/bench_export.sh [BUILD_DIR]     (default: build-bench beside this folder)
#
# The document holds the image's own samples, so every run leaves the image
# as it was. Aim: tessel export within 1.5x of the bare put. The GDAL figure
# needs python3's osgeo module; without it the column says n/a. Needs about
# 1 GB in /tmp. Not run by CI.
set -euo pipefail

ROOT="$(cd "$(dirname "$0")/.." && pwd)"
BUILD="${1:-$ROOT/build-bench}"
# An image of its own: another benchmark writing the shared one would hold
# its write lock.
IMAGE="${TESSEL_BENCH_EXPORT_IMAGE:-/tmp/tessel-bench-export-20000x15000-rgb.tif}"
WORK="$(mktemp -d /tmp/tessel-bench-export-XXXXXX)"
DOCUMENT="$WORK/document.tif"
LEFT=7001 TOP=5003 SIDE=4000 REPEATS=5
PYTHON=/usr/bin/python3
source "$(dirname "$0")/common.sh"
[ -n "${TESSEL_BENCH_NO_INSTALL:-}" ] || install_peer_tools

build_for_bench tessel tessel_module tessel-sample tessel_bench_formats

run_tessel_in "$WORK"
trap 'rm -rf "$WORK"' EXIT
make_nosync_shim "$WORK"

ensure_bench_image
"$BUILD/bin/tessel" extract "$IMAGE" --rect $TOP,$LEFT,$((TOP + SIDE)),$((LEFT + SIDE)) \
  -o "$DOCUMENT" --force >/dev/null
cat "$IMAGE" "$DOCUMENT" >/dev/null  # every figure below is taken from the page cache

export_time=$(best_of "$BUILD/bin/tessel" export "$DOCUMENT")
# The bare put never closes its file, so it never syncs: the same export with
# the sync left out shows the host's own share.
nosync_time=$(best_of env LD_PRELOAD="$WORK/nosync.so" "$BUILD/bin/tessel" export "$DOCUMENT")
put_time=$("$BUILD/bin/tessel_bench_formats" "$IMAGE" $LEFT $TOP $SIDE 64 $REPEATS |
           awk '$1 == "write" { print $2 }')

gdal_time=n/a
if "$PYTHON" -c 'import osgeo.gdal' 2>/dev/null; then
  gdal_time=$("$PYTHON" "$(dirname "$0")/gdal_write.py" "$IMAGE" $LEFT $TOP $SIDE $REPEATS)
fi

echo
echo "Rectangle ${SIDE}x${SIDE} at ($LEFT,$TOP) of $IMAGE, RGB, 16 rows per strip;"
echo "best of $REPEATS runs, seconds, files in the page cache."
printf '%-52s %10s %8s\n' "operation" "seconds" "/ put"
printf '%-52s %10s %8s\n' "tessel export (whole program: load, read, write back)" "$export_time" \
  "$(ratio "$export_time" "$put_time")"
printf '%-52s %10s %8s\n' "tessel export, its final fsync a no-op" "$nosync_time" \
  "$(ratio "$nosync_time" "$put_time")"
printf '%-52s %10s %8s\n' "bare RasterFormatPutTile of the rectangle" "$put_time" "1.00"
if [ "$gdal_time" = n/a ]; then
  printf '%-52s %10s %8s\n' "GDAL WriteRaster in place (python3 osgeo missing)" n/a n/a
else
  printf '%-52s %10s %8s\n' "GDAL WriteRaster in place" "$gdal_time" "$(ratio "$gdal_time" "$put_time")"
fi
echo
echo "tessel export / bare put: $(ratio "$export_time" "$put_time"), without the final sync" \
  "$(ratio "$nosync_time" "$put_time") (aim: 1.5 or less)"
