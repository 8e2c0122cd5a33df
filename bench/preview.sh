#!/usr/bin/env bash
# The selection dialog's preview of a 20000 x 15000 RGB TIFF (16 rows per
# strip) at the size the dialog shows it, 256 x 192: the whole preview (every
# step, without the dialog's idle pacing) and one step of five rows, beside
# gdal_translate -outsize -r nearest and vipsthumbnail making a picture of the
# same size from the same file, in the same run. Prints one table.
#
#   bench/preview.sh [BUILD_DIR]      (default: build-bench beside this folder)
#
# Aims: the whole preview at least 3x faster than GDAL's nearest; one step
# under 2 ms. vipsthumbnail is left out, with a note, when it is not
# installed. Needs about 1 GB in /tmp. Not run by CI.
set -euo pipefail

ROOT="$(cd "$(dirname "$0")/.." && pwd)"
BUILD="${1:-$ROOT/build-bench}"
IMAGE="${TESSEL_BENCH_IMAGE:-/tmp/tessel-bench-20000x15000-rgb.tif}"
OUT="$(mktemp -d /tmp/tessel-bench-preview-XXXXXX)"
WIDTH=256 HEIGHT=192 REPEATS=5
PYTHON=/usr/bin/python3
source "$(dirname "$0")/common.sh"
install_peer_tools

build_for_bench tessel-sample tessel_bench_preview

# The platform's file catalog stays out of the user's own data folder.
export XDG_DATA_HOME="$OUT/data"
trap 'rm -rf "$OUT"' EXIT

ensure_bench_image
cat "$IMAGE" >/dev/null  # every figure below is taken from the page cache

declare -A tessel
while read -r name seconds; do tessel[$name]=$seconds; done < <(
  "$BUILD/bin/tessel_bench_preview" --benchmark_repetitions=$REPEATS \
    --benchmark_report_aggregates_only=true "$IMAGE" $WIDTH $HEIGHT 2>/dev/null |
    grep -E '^(whole|step) [0-9.]+$')

gdal=$(best_of gdal_translate -q -of GTiff -outsize $WIDTH $HEIGHT -r nearest "$IMAGE" \
  "$OUT/gdal.tif")
if command -v vipsthumbnail >/dev/null; then
  vips=$(best_of vipsthumbnail "$IMAGE" --size ${WIDTH}x${HEIGHT} -o "$OUT/vips.tif")
else
  vips=""
fi

step_ms=$(printf '%.3f' "$(echo "${tessel[step]} * 1000" | bc -l)")
echo
echo "Preview ${WIDTH}x${HEIGHT} of $IMAGE, RGB, 16 rows per strip;"
echo "mean of $REPEATS repetitions (tessel), best of $REPEATS runs (peers), seconds, file in the page cache."
printf '%-52s %10s %12s\n' "operation" "seconds" "peer/tessel"
printf '%-52s %10s\n' "tessel: whole preview (Start, every Continue, Finish)" "$(printf '%.4f' "${tessel[whole]}")"
printf '%-52s %10s %12s\n' "gdal_translate -outsize -r nearest" "$gdal" \
  "$(ratio "$gdal" "${tessel[whole]}")"
if [ -n "$vips" ]; then
  printf '%-52s %10s %12s\n' "vipsthumbnail --size" "$vips" "$(ratio "$vips" "${tessel[whole]}")"
else
  echo "vipsthumbnail: not installed, left out"
fi
echo
echo "one step of 5 rows: $step_ms ms (aim: under 2 ms)"
echo "GDAL / whole preview: $(ratio "$gdal" "${tessel[whole]}") (aim: 3 or more)"
