#!/usr/bin/env bash
# Installs the build into a fresh prefix and runs Tessel's main job with the
# installed programs alone, from a working folder of its own: the program has
# to find its module, its texts and its platform library relative to itself.
#
#   installed_end_to_end.sh BUILD_DIR
set -euo pipefail
build=$1
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
prefix=$scratch/prefix
work=$scratch/work
mkdir -p "$work"
cd "$work"

run() { timeout -k 5 60 "$@"; }
fail() { echo "FAIL: $*" >&2; exit 1; }

run cmake --install "$build" --prefix "$prefix" >/dev/null
export PATH=$prefix/bin:/usr/bin:/bin XDG_DATA_HOME=$scratch/data XDG_CONFIG_HOME=$scratch/config
export TESSEL_BACKEND=headless
unset TESSEL_MODULE

[ "$(command -v tessel)" = "$prefix/bin/tessel" ] || fail "tessel is not the installed one"
# The program's own search path names the prefix's library folder, and the
# library is there: with no other path to search, the runs below prove it
# loads. (ldd answers by running the program; a sanitizer build's program
# once failed to answer it while the other tests ran beside it.)
readelf -d "$prefix/bin/tessel" | grep -q 'RUNPATH.*\[\$ORIGIN/../lib/tessel\]' &&
  [ -f "$prefix/lib/tessel/libtoolbox.so" ] ||
  fail "the installed tessel does not take its platform library from $prefix/lib/tessel"
unset LD_LIBRARY_PATH
# Debian wants manual pages compressed; man reads the page from the prefix.
MANPATH=$prefix/share/man run man --warnings -w tessel | grep -q 'man1/tessel\.1\.gz$' &&
  zcat "$prefix/share/man/man1/tessel.1.gz" | grep -q '^\.TH TESSEL 1' ||
  fail "the manual page is not installed compressed"

# What a desktop looks for under the prefix.
for file in share/applications/tessel.desktop share/mime/packages/tessel.xml \
  share/icons/hicolor/{16x16,32x32,48x48,64x64,128x128,256x256}/apps/tessel.png; do
  [ -s "$prefix/$file" ] || fail "the install has no $file"
done

run tessel-sample tiff image.tif --width 300 --height 200 --samples 3 --photometric 2 \
  --rows-per-strip 16
cp image.tif original.tif
rect=40,60,140,260

run tessel info image.tif | grep -q "TIFF" || fail "tessel info does not name the format"
run tessel extract image.tif --rect $rect -o part.tif >/dev/null
run convert part.tif -negate part.tif
out=$(run tessel export part.tif 2>&1) || fail "export failed: $out"
grep -q "written back" <<<"$out" || fail "export did not speak its own texts: $out"

run rastertool read original.tif $rect before.raw
run rastertool read image.tif $rect after.raw
run python3 - <<'PY' || fail "the image does not hold exactly the edited rectangle"
import sys
before, after = open("before.raw", "rb").read(), open("after.raw", "rb").read()
if after != before.translate(bytes(255 - v for v in range(256))):
    sys.exit("the rectangle does not hold the edited pixels")
old, new = open("original.tif", "rb").read(), open("image.tif", "rb").read()
changed = sum(a != b for a, b in zip(old, new))
if len(old) != len(new) or changed != len(before):
    sys.exit(f"{changed} bytes changed; the rectangle has {len(before)}")
PY

# Without a terminal, open speaks through an alert made from the installed
# program's own resources.
if TESSEL_ALERT_LOG=$scratch/alerts.log run tessel open missing.tif 2>/dev/null; then
  fail "tessel open took a file that is not there"
fi
grep -q "missing.tif" "$scratch/alerts.log" 2>/dev/null ||
  fail "the installed tessel open showed no alert for a missing file"

# The variable still wins over the installed module.
if out=$(TESSEL_MODULE=$scratch/none.plugin run tessel extract image.tif --rect $rect \
  -o other.tif 2>&1); then
  fail "extract ran without the module TESSEL_MODULE names"
fi
grep -q "none.plugin" <<<"$out" || fail "the failure does not name TESSEL_MODULE's file: $out"
echo "installed tessel extract and export work from $work"
