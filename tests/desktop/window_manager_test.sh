#!/usr/bin/env bash
# The real tessel on a virtual screen with a real window manager: each kind of
# window it opens (the about box, the selection dialog, a file dialog and an
# alert) carries its title from the resources, opens in the middle of the
# screen, and tells the window manager that its size is fixed.
# Usage: window_manager_test.sh TESSEL TESSEL_SAMPLE
# Exits 77 (skipped) when Xvfb, openbox or the X utilities are missing.
set -euo pipefail

tessel=$1
sample=$2
readonly screen_width=1024 screen_height=768

for tool in Xvfb openbox xprop xwininfo; do
  command -v "$tool" >/dev/null || { echo "skipped: $tool is not installed"; exit 77; }
done

work=$(mktemp -d)
pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  wait 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT
cd "$work"

failures=0
fail() {
  echo "FAIL: $*"
  failures=$((failures + 1))
}

# Polls COMMAND every tenth of a second for up to ten seconds.
wait_for() {
  for _ in $(seq 100); do
    "$@" >/dev/null 2>&1 && return 0
    sleep 0.1
  done
  return 1
}

start_desktop() {
  # Xvfb picks a free display number and writes it to the file.
  timeout -k 5 300 Xvfb -displayfd 3 -screen 0 "${screen_width}x${screen_height}x24" \
    -nolisten tcp 3>display.number >xvfb.log 2>&1 &
  pids+=($!)
  wait_for grep -q . display.number || { echo "Xvfb did not start"; cat xvfb.log; exit 1; }
  export DISPLAY=":$(cat display.number)"
  timeout -k 5 300 openbox >openbox.log 2>&1 &
  pids+=($!)
  wait_for sh -c 'xprop -root _NET_SUPPORTING_WM_CHECK | grep -q "window id"' ||
    { echo "openbox did not start"; cat openbox.log; exit 1; }
}

# The id of tessel's window once the window manager has framed it.
tessel_window() {
  local id
  id=$(xwininfo -root -tree | awk '/\("tessel" "tessel"\)/ { print $1; exit }')
  [ -n "$id" ] && xprop -id "$id" _NET_FRAME_EXTENTS | grep -q = && echo "$id"
}

# A numeric field from xwininfo, e.g. "Absolute upper-left X".
window_field() { xwininfo -id "$1" | sed -n "s/^ *$2: *//p"; }

check_window() {
  local what=$1 id=$2 title=$3
  local name hints x y width height left top centre_x centre_y
  name=$(xprop -id "$id" -notype _NET_WM_NAME | sed -n 's/^_NET_WM_NAME = "\(.*\)"$/\1/p')
  [ "$name" = "$title" ] || fail "$what: title \"$name\", expected \"$title\""
  name=$(xprop -id "$id" -notype WM_NAME | sed -n 's/^WM_NAME = "\(.*\)"$/\1/p')
  [ "$name" = "$title" ] || fail "$what: WM_NAME \"$name\", expected \"$title\""

  width=$(window_field "$id" Width)
  height=$(window_field "$id" Height)
  hints=$(xprop -id "$id" WM_NORMAL_HINTS)
  grep -q "minimum size: $width by $height" <<<"$hints" ||
    fail "$what: minimum size is not ${width}x${height}: $hints"
  grep -q "maximum size: $width by $height" <<<"$hints" ||
    fail "$what: maximum size is not ${width}x${height}: $hints"
  xprop -id "$id" _NET_WM_ALLOWED_ACTIONS | grep -q MAXIMIZE && fail "$what: can be maximised"
  # Managers that draw buttons from the Motif hints: functions move,
  # minimise and close (0x2c); border, title, menu and minimise (0x3a).
  xprop -id "$id" _MOTIF_WM_HINTS | grep -q '= 0x3, 0x2c, 0x3a,' ||
    fail "$what: the frame may offer maximising: $(xprop -id "$id" _MOTIF_WM_HINTS)"

  # The frame's corner sits where the window asked to be; the window inside
  # it is offset by the frame's left and top edges.
  centre_x=$(((screen_width - width) / 2))
  centre_y=$(((screen_height - height) / 2))
  read -r left _ top _ < <(xprop -id "$id" -notype _NET_FRAME_EXTENTS | sed 's/.*= //; s/,//g')
  x=$(($(window_field "$id" "Absolute upper-left X") - left))
  y=$(($(window_field "$id" "Absolute upper-left Y") - top))
  [ "$x,$y" = "$centre_x,$centre_y" ] ||
    fail "$what: ${width}x${height} framed at $x,$y, not centred at $centre_x,$centre_y"
  echo "${width}x${height}" >"$what.size"
}

# Runs tessel with ARGS, checks the window it opens, and closes it.
expect_window() {
  local what=$1 title=$2 id pid
  shift 2
  timeout -k 5 60 "$tessel" "$@" >"$what.out" 2>&1 &
  pid=$!
  if id=$(wait_for_window); then
    check_window "$what" "$id" "$title"
  else
    fail "$what: no window appeared"
    cat "$what.out"
  fi
  kill "$pid" 2>/dev/null || true
  wait "$pid" 2>/dev/null || true
  wait_for sh -c '! xwininfo -root -tree | grep -q "(\"tessel\" \"tessel\")"' ||
    fail "$what: the window stayed after tessel ended"
}

wait_for_window() {
  for _ in $(seq 100); do
    tessel_window && return 0
    sleep 0.1
  done
  return 1
}

start_desktop
timeout -k 5 60 "$sample" tiff image.tif --width 64 --height 48 >/dev/null
timeout -k 5 60 "$tessel" extract image.tif --rect 0,0,10,10 -o document.tif >/dev/null
expect_window about "About Tessel" about
expect_window selection "Select a rectangle" select image.tif
expect_window file-dialog "Acquire: open an image" acquire
# The image changed size after the document was cut from it: export refuses
# in an alert.
timeout -k 5 60 "$sample" tiff image.tif --width 32 --height 20 >/dev/null
expect_window alert "Tessel" export document.tif

# On a screen of twice the density the same window is twice as large, and
# still centred and of fixed size.
TESSEL_SCALE=2 expect_window about-2x "About Tessel" about
IFS=x read -r width height <about.size
[ "$(cat about-2x.size 2>/dev/null)" = "$((2 * width))x$((2 * height))" ] ||
  fail "about at 2x: $(cat about-2x.size 2>/dev/null), not twice ${width}x${height}"

[ "$failures" -eq 0 ] || exit 1
echo "all windows named, centred and of fixed size"
