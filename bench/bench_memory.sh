#!/usr/bin/env bash
# Peak memory (resident set, from /usr/bin/time -v) of tessel extract and
# tessel export of a SIDE x SIDE rectangle of an RGB TIFF. The image is
# made sparse by tifffile (its pixels are holes until export fills them),
# so only the document and the rectangle's rows take disk space: about
# 2.5 GB in /tmp for the default 20000 x 20000.
#
#   bench/bench_memory.sh [BUILD_DIR] [SIDE]    (default: build-bench, 20000)
#
# Documents are read and written strip by strip, so both figures should stay
# near the strip and band buffers (tens of MB) whatever SIDE is. Not run by CI.
set -euo pipefail

ROOT="$(cd "$(dirname "$0")/.." && pwd)"
BUILD="${1:-$ROOT/build-bench}"
SIDE="${2:-20000}"
PYTHON=/usr/bin/python3
WORK="$(mktemp -d /tmp/tessel-bench-memory-XXXXXX)"
IMAGE="$WORK/image.tif"
DOCUMENT="$WORK/document.tif"
source "$(dirname "$0")/common.sh"

[ -x "$BUILD/bin/tessel" ] || build_for_bench tessel tessel_module
run_tessel_in "$WORK"
trap 'rm -rf "$WORK"' EXIT

"$PYTHON" - "$IMAGE" "$SIDE" <<'PY'
import sys, numpy, tifffile
side = int(sys.argv[2])
# No data given: tifffile leaves the pixels unwritten, a hole in the file.
tifffile.imwrite(sys.argv[1], shape=(side, side, 3), dtype=numpy.uint8,
                 photometric='rgb', rowsperstrip=16)
PY

# The peak resident set of a command, in MB; n/a, with what it said, when it fails.
peak_mb() {
  local report
  report=$(/usr/bin/time -v "$@" 2>&1 >/dev/null) || { echo "$report" >&2; echo n/a; return; }
  echo "$report" | awk -F: '/Maximum resident set size/ { printf "%.0f", $2 / 1024 }'
}

extract_mb=$(peak_mb "$BUILD/bin/tessel" extract "$IMAGE" --rect 0,0,$SIDE,$SIDE \
  -o "$DOCUMENT" --force)
export_mb=$(peak_mb "$BUILD/bin/tessel" export "$DOCUMENT")
document_mb=$(( $(stat -c %s "$DOCUMENT") / 1000000 ))

echo
echo "Rectangle ${SIDE}x${SIDE} of an RGB TIFF (16 rows per strip); document $document_mb MB."
printf '%-24s %12s\n' "command" "peak RSS MB"
printf '%-24s %12s\n' "tessel extract" "$extract_mb"
printf '%-24s %12s\n' "tessel export" "$export_mb"
