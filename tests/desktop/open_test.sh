#!/usr/bin/env bash
# tessel open as the desktop entry runs it: without a terminal, headless,
# with xdg-open and xdg-user-dir replaced by programs that record their
# arguments. Documents and images are read back with tifffile.
#
#   open_test.sh TESSEL TESSEL_SAMPLE
set -euo pipefail
tessel=$1
sample=$2
scratch=$(mktemp -d)
trap 'chmod -R u+w "$scratch"; rm -rf "$scratch"' EXIT
cd "$scratch"

fail() { echo "FAIL: $*" >&2; exit 1; }
mkdir -p fake home pictures images data config
cat >fake/xdg-open <<'EOF'
#!/bin/sh
printf '%s\n' "$@" >"$RECORDS/xdg-open.args"
EOF
cat >fake/xdg-user-dir <<'EOF'
#!/bin/sh
printf '%s\n' "$@" >"$RECORDS/xdg-user-dir.args"
[ -n "$PICTURES" ] || exit 1
echo "$PICTURES"
EOF
chmod +x fake/*
export RECORDS=$scratch PICTURES=$scratch/pictures HOME=$scratch/home
export XDG_DATA_HOME=$scratch/data XDG_CONFIG_HOME=$scratch/config TESSEL_BACKEND=headless
export TESSEL_ALERT_LOG=$scratch/alerts.log
path=$scratch/fake:/usr/bin:/bin

# Runs tessel with standard error on a file, as a desktop starts it; the
# alert log and the recorders start empty. $status holds its exit status.
open_file() {
  rm -f alerts.log xdg-open.args xdg-user-dir.args
  status=0
  timeout -k 5 60 env PATH="${run_path:-$path}" "$tessel" open "$@" >out.txt 2>err.txt || status=$?
  touch alerts.log
}
# The detached opener may still be starting when tessel has ended.
opened() {
  for _ in $(seq 50); do
    [ -s xdg-open.args ] && { cat xdg-open.args; return; }
    sleep 0.1
  done
}
same_pixels() {
  timeout -k 5 60 /usr/bin/python3 - "$@" <<'PY' || fail "$1 does not hold the pixels of $2"
import sys, tifffile, numpy
document, image = (tifffile.imread(p) for p in sys.argv[1:3])
sys.exit(0 if numpy.array_equal(document, image) else 1)
PY
}

timeout -k 5 30 "$sample" tiff images/image.tif --width 64 --height 48 --samples 3 \
  --photometric 2 --rows-per-strip 8
cp images/image.tif original.tif
# The name acquire gives a document by default, from a run of its own.
mkdir named && cp original.tif named/image.tif
(cd named && PATH=$path timeout -k 5 60 "$tessel" acquire image.tif >/dev/null 2>&1) ||
  fail "tessel acquire did not run"
default_name=$(cd named && ls -- *.tif | grep -vx image.tif)

# An image in a folder that takes documents: the document beside it, shown.
open_file images/image.tif
[ $status -eq 0 ] || fail "open of an image ended with $status: $(cat err.txt)"
document=$scratch/images/$default_name
[ -f "$document" ] || fail "no document $default_name beside the image: $(ls images)"
same_pixels "$document" original.tif
[ "$(opened)" = "$document" ] || fail "xdg-open was given '$(cat xdg-open.args 2>/dev/null)'"
grep -qF "$document" alerts.log || fail "the alert did not say what was written: $(cat alerts.log)"
[ ! -s out.txt ] || fail "open printed on standard output without a terminal: $(cat out.txt)"

# Opened again: a new document, the first one untouched.
cp "$document" first.tif
open_file images/image.tif
second="$scratch/images/${default_name%.tif} 2.tif"
[ $status -eq 0 ] && [ -f "$second" ] || fail "a second open did not make '$second': $(ls images)"
[ "$(opened)" = "$second" ] || fail "xdg-open was given '$(cat xdg-open.args 2>/dev/null)'"
cmp -s first.tif "$document" || fail "a second open changed the first document"

# A folder that cannot be written: the pictures folder xdg-user-dir names,
# or home when it names none.
mkdir locked && cp original.tif locked/image.tif && chmod 555 locked
for case in "$scratch/pictures named" " home"; do
  read -r PICTURES _ <<<"$case"
  expected=${PICTURES:-$HOME}
  open_file locked/image.tif
  [ $status -eq 0 ] || fail "open from a locked folder ended with $status: $(cat err.txt)"
  [ "$(cat xdg-user-dir.args)" = PICTURES ] || fail "xdg-user-dir was not asked for PICTURES"
  [ -f "$expected/$default_name" ] || fail "no document in $expected: $(ls "$expected")"
  [ "$(opened)" = "$expected/$default_name" ] || fail "xdg-open was not given the document"
  grep -qF "goes to $expected" alerts.log || fail "the alert did not name $expected"
  [ -z "$(ls locked | grep -v '^image.tif$')" ] || fail "open wrote into the locked folder"
done
export PICTURES=$scratch/pictures

# A document edited by another program: open writes it back, shows nothing.
timeout -k 5 60 convert "$document" -negate "$document"
open_file "$document"
[ $status -eq 0 ] || fail "open of a document ended with $status: $(cat err.txt)"
timeout -k 5 60 /usr/bin/python3 - images/image.tif original.tif <<'PY' || fail "the image was not written back"
import sys, tifffile, numpy
image, original = (tifffile.imread(p) for p in sys.argv[1:3])
sys.exit(0 if numpy.array_equal(image, 255 - original) else 1)
PY
grep -q "written back" alerts.log || fail "the alert did not say the document was written back"
sleep 0.5
[ ! -e xdg-open.args ] || fail "open of a document ran xdg-open"

# Without xdg-open the document is still made, and the alert says how to go on.
mkdir bare && ln -s "$scratch/fake/xdg-user-dir" bare/
cp original.tif images/other.tif
run_path=$scratch/bare open_file images/other.tif
[ $status -eq 1 ] || fail "open without xdg-open ended with $status"
grep -q "xdg-open could not be started" alerts.log || fail "no alert about xdg-open: $(cat alerts.log)"
ls images | grep -q '^other.tif (' || fail "the document was not written without xdg-open"

# Files the desktop types by their contents, whatever their names say: a
# Scitex CT file named .ct and a TIFF named .data are acquired, and the CT
# document goes back into its image; zeros named .ct are refused.
mkdir typed
timeout -k 5 30 "$sample" scitex typed/plate.ct --width 40 --height 30
timeout -k 5 30 "$sample" tiff typed/scan.data --width 40 --height 30 --samples 3 --photometric 2
head -c 4096 /dev/zero >typed/blank.ct
cp typed/plate.ct plate.original
for image in typed/plate.ct typed/scan.data; do
  open_file "$image"
  [ $status -eq 0 ] || fail "open of $image ended with $status: $(cat alerts.log)"
  [[ "$(opened)" == "$scratch/$image ("*").tif" ]] || fail "xdg-open was given '$(opened)' for $image"
done
ct_document=$(ls typed/plate.ct\ \(*.tif)
timeout -k 5 60 convert "$ct_document" -negate "$ct_document"
open_file "$ct_document"
[ $status -eq 0 ] || fail "the CT document was not written back: $(cat alerts.log)"
timeout -k 5 60 /usr/bin/python3 - typed/plate.ct plate.original <<'PY' || fail "the CT image changed outside its pixels"
import sys
new, old = (open(p, "rb").read() for p in sys.argv[1:3])
sys.exit(0 if len(new) == len(old) and new[:2048] == old[:2048] and new[2048:] != old[2048:] else 1)
PY
open_file typed/blank.ct
[ $status -eq 1 ] && grep -q "code 498" alerts.log || fail "zeros named .ct were not refused: $(cat alerts.log)"

# On a terminal the messages stay there and no alert opens.
rm -f alerts.log
PATH=$path timeout -k 5 60 script -qec "'$tessel' open missing.tif" /dev/null >terminal.txt || true
grep -q "missing.tif" terminal.txt || fail "on a terminal the message was not printed"
[ ! -s alerts.log ] || fail "on a terminal an alert opened: $(cat alerts.log)"
echo "tessel open acquires and shows images, writes documents back, and speaks in alerts"
