#!/usr/bin/env bash
# The desktop entry and the Scitex CT type as a desktop reads them: the entry
# valid, the type file valid and compiled by update-mime-database, and GLib
# telling files' types from names and from contents with it. Skipped (77)
# when the tools are not installed (tools/setup installs them).
#
#   desktop_files_test.sh SOURCE_DIR TESSEL_SAMPLE
set -euo pipefail
source_dir=$1
sample=$2
entry=$source_dir/host/desktop/tessel.desktop
types=$source_dir/host/desktop/tessel-mime.xml

for tool in desktop-file-validate xmllint update-mime-database gio; do
  command -v $tool >/dev/null || { echo "SKIP: $tool is not installed"; exit 77; }
done
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
run() { timeout -k 5 60 "$@"; }
fail() { echo "FAIL: $*" >&2; exit 1; }

out=$(run desktop-file-validate "$entry" 2>&1) || fail "desktop-file-validate: $out"
[ -z "$out" ] || fail "desktop-file-validate has remarks: $out"
grep -qx 'Exec=tessel open %f' "$entry" || fail "the entry does not run tessel open on the file"
type=$(xmllint --xpath 'string(//*[local-name()="mime-type"]/@type)' "$types")
[ "$type" = image/x-scitex-ct ] || fail "the type file defines '$type'"
for offered in image/tiff "$type"; do
  grep -q "^MimeType=.*$offered;" "$entry" || fail "the entry does not offer $offered"
done

mime=$scratch/share/mime
mkdir -p "$mime/packages"
cp "$types" "$mime/packages/tessel.xml"
run update-mime-database "$mime" 2>"$scratch/update.log" || fail "update-mime-database: $(cat "$scratch/update.log")"

cd "$scratch"
run "$sample" scitex plate.sct --width 31 --height 20 --channels 4
run "$sample" tiff image.tif --width 31 --height 20
head -c 4096 /dev/zero >zeros
# Each file's name, copied from which file, and the type GLib must give it:
# the endings alone, the header alone, and neither.
cases=(
  "plate.sct plate.sct $type"
  "PLATE.SCT plate.sct $type"
  "plate.ct plate.sct $type"
  "plate plate.sct $type"
  "plate.dat plate.sct $type"
  "image.tif image.tif image/tiff"
  "zeros.dat zeros application/octet-stream"
)
for row in "${cases[@]}"; do
  read -r name from expected <<<"$row"
  mkdir -p files
  [ "files/$name" -ef "$from" ] || cp "$from" "files/$name"
  got=$(XDG_DATA_DIRS=$scratch/share:/usr/share XDG_DATA_HOME=$scratch/none \
    run gio info -a standard::content-type "files/$name" | sed -n 's/.*content-type: //p')
  [ "$got" = "$expected" ] || fail "$name (made as $from) is $got, not $expected"
done
echo "the desktop entry is valid and Scitex CT files are told by name and by header"
