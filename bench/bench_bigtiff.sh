#!/usr/bin/env bash
# Extract and export of a 4000 x 4000 rectangle of a 60000 x 40000 RGB
# BigTIFF (7.2 GB), stored in strips of 16 rows and in tiles of 512 x 512,
# beside the same rectangle of the 20000 x 15000 files of bench_layouts.sh
# and beside GDAL on the big files. Then the selection dialog's preview of
# the big images, start to finish without the dialog's pacing. One table;
# every figure from the page cache, best of REPEATS.
#
#   bench/bench_bigtiff.sh [BUILD_DIR]     (default: build-bench beside this folder)
#
# Aims: the big file within 1.2x of the small one (the cost of a rectangle
# does not grow with the file), at least 2x faster than GDAL, and the
# preview under 0.5 s. The big files are written by tifffile (not by us),
# once, into /tmp: about 15 GB, and the machine needs the memory to keep the
# rectangle's strips or tiles in the page cache. Not run by CI.
set -euo pipefail

ROOT="$(cd "$(dirname "$0")/.." && pwd)"
BUILD="${1:-$ROOT/build-bench}"
source "$(dirname "$0")/common.sh"
start_bench big

TOP=30000 LEFT=50000 SIDE=4000
SMALL_TOP=5000 SMALL_LEFT=8000
NAMES=(striped tiled)
declare -A SMALL_LAYOUT=([striped]="--rows-per-strip 16" [tiled]="--tiles 512x512")
declare -A BIG_LAYOUT=([striped]="strips 16" [tiled]="tiles 512")

small_image() { echo "/tmp/tessel-bench-20000x15000-rgb-$1.tif"; }
big_image() { echo "/tmp/tessel-bench-60000x40000-rgb-$1.tif"; }

for name in "${NAMES[@]}"; do
  small=$(small_image "$name") big=$(big_image "$name")
  if [ ! -s "$small" ]; then
    echo "writing $small ..." >&2
    # shellcheck disable=SC2086
    "$BUILD/bin/tessel-sample" tiff "$small" --width 20000 --height 15000 --samples 3 \
      --photometric 2 ${SMALL_LAYOUT[$name]}
  fi
  if [ ! -s "$big" ]; then
    echo "writing $big (7.2 GB) ..." >&2
    # shellcheck disable=SC2086
    "$PYTHON" "$ROOT/bench/make_big_tiff.py" "$big" 60000 40000 ${BIG_LAYOUT[$name]}
  fi
done

rect() { echo "$1,$2,$(($1 + SIDE)),$(($2 + SIDE))"; }
extract() { "$BUILD/bin/tessel" extract "$1" --rect "$2" -o "$WORK/doc.tif" --force; }
export_back() { "$BUILD/bin/tessel" export "$WORK/doc.tif"; }
gdal_extract() {
  gdal_translate -q --config GTIFF_DIRECT_IO YES -srcwin "$2" "$3" $SIDE $SIDE "$1" "$WORK/gdal.tif"
}
gdal_export() {
  "$PYTHON" "$ROOT/bench/gdal_write.py" "$1" "$2" "$3" $SIDE "$REPEATS" --fsync 2>/dev/null ||
    echo n/a
}
# Reads a file's pages into the page cache, so that every figure is warm.
warm() { cat "$1" >/dev/null; }

declare -A SMALL_EX SMALL_WR BIG_EX BIG_WR GDAL_EX GDAL_WR PREVIEW
for name in "${NAMES[@]}"; do
  small=$(small_image "$name") big=$(big_image "$name")
  warm "$small"
  SMALL_EX[$name]=$(best_of extract "$small" "$(rect $SMALL_TOP $SMALL_LEFT)")
  SMALL_WR[$name]=$(best_of export_back)
  warm "$big"
  BIG_EX[$name]=$(best_of extract "$big" "$(rect $TOP $LEFT)")
  BIG_WR[$name]=$(best_of export_back)
  GDAL_EX[$name]=$(best_of gdal_extract "$big" $LEFT $TOP)
  GDAL_WR[$name]=$(gdal_export "$big" $LEFT $TOP)
  PREVIEW[$name]=$("$BUILD/bin/tessel_bench_preview" --benchmark_filter=whole \
    --benchmark_repetitions="$REPEATS" "$big" 256 192 2>/dev/null | awk '/^whole / && NF == 2 {print $2}')
done

echo
echo "Rectangle ${SIDE}x$SIDE of a 20000 x 15000 and a 60000 x 40000 RGB TIFF; best of"
echo "$REPEATS, files in the page cache. Seconds."
printf '%-8s %9s %9s %9s %9s %9s %9s %9s %9s %9s %9s %9s\n' layout "small ex" "small wr" \
  "big ex" "big wr" "GDAL ex" "GDAL wr" "big/small" "big/sm wr" "GDAL/ex" "GDAL/wr" preview
for name in "${NAMES[@]}"; do
  printf '%-8s %9s %9s %9s %9s %9s %9s %9s %9s %9s %9s %9s\n' "$name" "${SMALL_EX[$name]}" \
    "${SMALL_WR[$name]}" "${BIG_EX[$name]}" "${BIG_WR[$name]}" "${GDAL_EX[$name]}" \
    "${GDAL_WR[$name]}" "$(ratio "${BIG_EX[$name]}" "${SMALL_EX[$name]}")" \
    "$(ratio "${BIG_WR[$name]}" "${SMALL_WR[$name]}")" \
    "$(ratio "${GDAL_EX[$name]}" "${BIG_EX[$name]}")" \
    "$(ratio "${GDAL_WR[$name]}" "${BIG_WR[$name]}")" "${PREVIEW[$name]:-n/a}"
done
echo "Aims: big/small at most 1.2, GDAL/ex and GDAL/wr at least 2, preview under 0.5 s."
