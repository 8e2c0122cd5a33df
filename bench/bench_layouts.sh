#!/usr/bin/env bash
# Extract and export of a 4000 x 4000 rectangle of a 20000 x 15000 RGB TIFF
# stored three ways: in strips of 16 rows, in tiles of 512 x 512, and with
# each channel in its own plane (PlanarConfiguration 2, strips of 16 rows);
# beside GDAL on the same files (gdal_translate -srcwin with direct reads, and
# its windowed write in place, synced as an export is). Then the bytes the
# selection dialog's preview reads from the tiled image, against its size,
# and the calls and bytes extract and export of the rectangle move in the
# striped image (from strace), against the rectangle's own bytes.
# One table; every figure from the page cache, best of REPEATS.
#
#   bench/bench_layouts.sh [BUILD_DIR]     (default: build-bench beside this folder)
#
# Aims: tiled and planar within 1.5x of striped, each at least 2x faster than
# GDAL; the tiled preview reads no more than 2% of the file. Needs about 3 GB
# in /tmp. Not run by CI.
set -euo pipefail

ROOT="$(cd "$(dirname "$0")/.." && pwd)"
BUILD="${1:-$ROOT/build-bench}"
source "$(dirname "$0")/common.sh"
start_bench layouts

TOP=5000 LEFT=8000 SIDE=4000
RECT=$TOP,$LEFT,$((TOP + SIDE)),$((LEFT + SIDE))
declare -A LAYOUT=(
  [striped]="--rows-per-strip 16"
  [tiled]="--tiles 512x512"
  [planar]="--rows-per-strip 16 --planar 2"
)
NAMES=(striped tiled planar)

for name in "${NAMES[@]}"; do
  image="/tmp/tessel-bench-20000x15000-rgb-$name.tif"
  if [ ! -s "$image" ]; then
    echo "writing $image ..." >&2
    # shellcheck disable=SC2086
    "$BUILD/bin/tessel-sample" tiff "$image" --width 20000 --height 15000 --samples 3 \
      --photometric 2 ${LAYOUT[$name]}
  fi
  cat "$image" >/dev/null
done

extract() { "$BUILD/bin/tessel" extract "$1" --rect $RECT -o "$WORK/doc.tif" --force; }
export_back() { "$BUILD/bin/tessel" export "$WORK/doc.tif"; }
gdal_extract() {
  gdal_translate -q --config GTIFF_DIRECT_IO YES -srcwin $LEFT $TOP $SIDE $SIDE "$1" \
    "$WORK/gdal.tif"
}

# What a command does to IMAGE ($1) with pread64 and pwrite64: how many
# bytes it read and wrote, and in how many calls; n/a without strace.
image_io() {
  local image=$1
  shift
  command -v strace >/dev/null || { echo n/a; return; }
  strace -f -qq -y -e trace=pread64,pwrite64 -o "$WORK/strace.log" "$@" >/dev/null 2>&1 || {
    echo n/a
    return
  }
  awk -v image="<$image>" '
    index($0, image) && /= [0-9]+$/ { kind = /pwrite64/ ? "wrote" : "read"; n[kind]++; b[kind] += $NF }
    END { printf "read %d bytes in %d calls, wrote %d bytes in %d calls\n",
                 b["read"], n["read"], b["wrote"], n["wrote"] }' "$WORK/strace.log"
}

declare -A EXTRACT EXPORT GDAL_EXTRACT GDAL_EXPORT
for name in "${NAMES[@]}"; do
  image="/tmp/tessel-bench-20000x15000-rgb-$name.tif"
  EXTRACT[$name]=$(best_of extract "$image")
  if [ "${EXTRACT[$name]}" != n/a ]; then
    EXPORT[$name]=$(best_of export_back)
  else
    EXPORT[$name]=n/a
  fi
  GDAL_EXTRACT[$name]=$(best_of gdal_extract "$image")
  GDAL_EXPORT[$name]=$("$PYTHON" "$ROOT/bench/gdal_write.py" "$image" $LEFT $TOP $SIDE \
    "$REPEATS" --fsync 2>/dev/null || echo n/a)
done

# The preview of the tiled image, at the dialog's size: bytes read.
tiled="/tmp/tessel-bench-20000x15000-rgb-tiled.tif"
preview_read=$("$BUILD/bin/tessel_bench_preview" --benchmark_filter=whole \
  --benchmark_min_time=0 "$tiled" 256 192 2>/dev/null | awk '/^read /{print $2}')
file_bytes=$(stat -c %s "$tiled")

echo
echo "Rectangle ${SIDE}x$SIDE at ($LEFT,$TOP) of a 20000 x 15000 RGB TIFF; best of $REPEATS,"
echo "files in the page cache. Seconds."
printf '%-9s %9s %9s %9s %9s %12s %12s %12s\n' layout extract export "GDAL ex" "GDAL wr" \
  "ex/striped" "GDAL/ex" "GDAL/export"
for name in "${NAMES[@]}"; do
  printf '%-9s %9s %9s %9s %9s %12s %12s %12s\n' "$name" "${EXTRACT[$name]}" "${EXPORT[$name]}" \
    "${GDAL_EXTRACT[$name]}" "${GDAL_EXPORT[$name]}" \
    "$(ratio "${EXTRACT[$name]}" "${EXTRACT[striped]}")" \
    "$(ratio "${GDAL_EXTRACT[$name]}" "${EXTRACT[$name]}")" \
    "$(ratio "${GDAL_EXPORT[$name]}" "${EXPORT[$name]}")"
done
# The rectangle of the striped image once more, under strace: what
# extract and export move in the image file.
striped="/tmp/tessel-bench-20000x15000-rgb-striped.tif"
extract_io=$(image_io "$striped" "$BUILD/bin/tessel" extract "$striped" --rect $RECT \
  -o "$WORK/doc.tif" --force)
export_io=$(image_io "$striped" "$BUILD/bin/tessel" export "$WORK/doc.tif")

echo
echo "striped, the rectangle's own samples: $((SIDE * SIDE * 3)) bytes"
echo "  extract: $extract_io"
echo "  export:  $export_io"
if [ -n "$preview_read" ]; then
  printf 'tiled preview (256 x 192) read %s bytes of %s: %s%% (aim: 2%% or less)\n' \
    "$preview_read" "$file_bytes" "$(echo "scale=3; 100 * $preview_read / $file_bytes" | bc -l)"
else
  echo "tiled preview: n/a (the preview did not run)"
fi
