#!/usr/bin/env bash
# Moves a 4000 x 4000 rectangle of a 20000 x 15000 RGB TIFF (16 rows per
# strip) through the format layer, and the same rectangle through GDAL in the
# same run: gdal_translate -srcwin to an uncompressed TIFF for the read, an
# in-place windowed WriteRaster for the write. Prints one table.
#
#   bench/formats.sh [BUILD_DIR]      (default: build-bench beside this folder)
#
# Aims: ahead of GDAL both ways, and the read within 2x of copying the file
# bytes it touches out of the page cache. Needs about 1 GB in /tmp. Not run
# by CI.
set -euo pipefail

ROOT="$(cd "$(dirname "$0")/.." && pwd)"
BUILD="${1:-$ROOT/build-bench}"
IMAGE="${TESSEL_BENCH_IMAGE:-/tmp/tessel-bench-20000x15000-rgb.tif}"
GDAL_OUT=/tmp/tessel-bench-gdal-srcwin.tif
LEFT=7001 TOP=5003 SIDE=4000 NARROW=64 REPEATS=5
PYTHON=/usr/bin/python3
source "$(dirname "$0")/common.sh"
install_peer_tools

build_for_bench tessel-sample tessel_bench_formats

# The platform's file catalog stays out of the user's own data folder.
export XDG_DATA_HOME="$(mktemp -d /tmp/tessel-bench-data-XXXXXX)"
trap 'rm -rf "$XDG_DATA_HOME" "$GDAL_OUT"' EXIT

ensure_bench_image
cat "$IMAGE" >/dev/null  # every figure below is taken from the page cache

declare -A tessel
while read -r name seconds _; do tessel[$name]=$seconds; done < <(
  "$BUILD/bin/tessel_bench_formats" "$IMAGE" $LEFT $TOP $SIDE $NARROW $REPEATS)

gdal_read=$(best_of gdal_translate -q -of GTiff -srcwin $LEFT $TOP $SIDE $SIDE "$IMAGE" "$GDAL_OUT")
gdal_write=$("$PYTHON" "$(dirname "$0")/gdal_write.py" "$IMAGE" $LEFT $TOP $SIDE $REPEATS \
  --open-untimed)

echo
echo "Rectangle ${SIDE}x${SIDE} at ($LEFT,$TOP) of $IMAGE, RGB, 16 rows per strip;"
echo "best of $REPEATS runs, seconds, file in the page cache."
printf '%-56s %10s %10s %11s\n' "operation" "tessel" "GDAL" "GDAL/tessel"
printf '%-56s %10s %10s %11s\n' "read ${SIDE}x${SIDE} (GetTile / gdal_translate -srcwin)" \
  "${tessel[read]}" "$gdal_read" "$(ratio "$gdal_read" "${tessel[read]}")"
printf '%-56s %10s %10s %11s\n' "write ${SIDE}x${SIDE} in place (PutTile / WriteRaster)" \
  "${tessel[write]}" "$gdal_write" "$(ratio "$gdal_write" "${tessel[write]}")"
printf '%-56s %10s\n' "read ${SIDE} rows x ${NARROW} columns (GetTile)" "${tessel[narrow]}"
printf '%-56s %10s\n' "pread of the ${SIDE} whole rows touched" "${tessel[pread]}"
echo
echo "read / pread of touched bytes:   $(ratio "${tessel[read]}" "${tessel[pread]}") (aim: 2 or less)"
echo "narrow / pread of touched bytes: $(ratio "${tessel[narrow]}" "${tessel[pread]}")"
