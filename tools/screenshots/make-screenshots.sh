#!/bin/sh
# Makes the README's pictures of Tessel's dialogs without a display: the
# headless backend runs each dialog under a script whose `save` commands
# write the front window as PNG. Each picture is taken at 1x (NAME.png) and
# at 2x (NAME@2x.png), as a screen of twice the density shows it; the
# scripts' coordinates are the same for both.
#
#   tools/screenshots/make-screenshots.sh [BUILD_DIR [OUT_DIR]]
#
# BUILD_DIR is a configured and built tree (default: build); it needs the
# tessel program, the plug-in module and tessel-sample. OUT_DIR defaults to
# docs/images. Nothing outside a scratch folder and OUT_DIR is touched.
set -eu

here=$(cd "$(dirname "$0")/../.." && pwd)
build=$(cd "${1:-$here/build}" && pwd)
out=${2:-$here/docs/images}
mkdir -p "$out"
out=$(cd "$out" && pwd)

tessel="$build/bin/tessel"
sample="$build/bin/tessel-sample"
for program in "$tessel" "$sample" "$build/lib/tessel.plugin"; do
  if [ ! -e "$program" ]; then
    echo "make-screenshots: $program is missing; build the tree first" >&2
    exit 1
  fi
done

work=$(mktemp -d "${TMPDIR:-/tmp}/tessel-screenshots-XXXXXX")
trap 'rm -rf "$work"' EXIT
cd "$work"

# The real module, no display.
export TESSEL_MODULE="$build/lib/tessel.plugin" TESSEL_BACKEND=headless
unset TESSEL_SELECT_FILE TESSEL_ALERT_LOG 2>/dev/null || true

# Runs tessel under the script given on standard input; a stuck dialog must
# not hang the run. Exit statuses are the dialogs' business, not ours.
run() {
  cat > script.txt
  timeout -k 5 60 "$tessel" "$@" --script script.txt > /dev/null 2>> tessel.log || true
}

# Takes the four pictures at one scale, in a folder of its own with a home
# of its own: an export that goes ahead changes its document and the
# selection dialog remembers its grid, so each scale starts afresh.
# (The body is not indented, for the sake of the scripts' here-documents.)
take_pictures() {
scale=$1 suffix=$2
mkdir "$work/$scale"
cd "$work/$scale"
export HOME="$work/$scale" XDG_CONFIG_HOME="$work/$scale/config" XDG_DATA_HOME="$work/$scale/data"
export TESSEL_SCALE="$scale"

# The about box, as it first shows.
run about <<SCRIPT
save $out/about$suffix.png
click 1
SCRIPT

# An export refused with the plug-in's alert: the image file was replaced by
# one of another size after the document was cut from it. The file dialog
# that follows is cancelled.
"$sample" tiff image.tif --width 640 --height 480 --samples 3 --photometric 2
"$tessel" extract image.tif --rect 40,60,240,360 -o changed.tif > /dev/null
"$sample" tiff image.tif --width 600 --height 480 --samples 3 --photometric 2
run export changed.tif <<SCRIPT
save $out/alert$suffix.png
click 1
press escape
SCRIPT

# The file dialog of an export whose image moved: in the image's old folder
# the folder "moved" (the only row) is opened with a double-click and the
# image in it selected, then the picture is taken and Choose clicked.
mkdir scene
"$sample" tiff scene/image.tif --width 640 --height 480 --samples 3 --photometric 2
"$tessel" extract scene/image.tif --rect 40,60,240,360 -o moved.tif > /dev/null
mkdir scene/moved
mv scene/image.tif scene/moved/image.tif
run export moved.tif <<SCRIPT
down 60 86
up 60 86
down 60 86
up 60 86
wait 40
down 60 86
up 60 86
save $out/file-dialog$suffix.png
click 1
SCRIPT

# The selection dialog on an RGB image without a thumbnail: the preview is
# left to fill in, the grid switched on, and its middle cell chosen. The
# image is a fixed-seed cloud picture from ImageMagick rather than a sample,
# whose noise would hide the grid.
convert -seed 11 -size 1200x900 plasma:'#4a8fd0'-'#e8c070' -blur 0x3 -depth 8 \
  -type TrueColor -compress none photo.tif
run select photo.tif <<SCRIPT
wait 150
click 7
down 140 156
up 140 156
wait 30
save $out/selection$suffix.png
click 1
SCRIPT
}

take_pictures 1 ""
take_pictures 2 "@2x"

for picture in about alert file-dialog selection; do
  for made in "$picture.png" "$picture@2x.png"; do
    if [ ! -s "$out/$made" ]; then
      echo "make-screenshots: $made was not made; see what tessel said:" >&2
      cat "$work"/*/tessel.log >&2
      exit 1
    fi
  done
done
echo "wrote $out/about.png, alert.png, file-dialog.png and selection.png, and each @2x"
