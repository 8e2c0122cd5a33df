# Shared by the benchmark scripts: source it, set REPEATS, then time commands.

# Defaults for scripts that set neither: the best of three, Debian's python3.
: "${REPEATS:=3}"
: "${PYTHON:=/usr/bin/python3}"

now() { date +%s.%N; }

# The wall seconds of one run of a command, its output dropped; n/a, with
# what it said, when it fails.
seconds_of() {
  local start said
  start=$(now)
  said=$("$@" 2>&1 >/dev/null) || { echo "$said" >&2; echo n/a; return; }
  echo "$(now) - $start" | bc -l
}

# The best wall time of REPEATS runs of a command, after one warming run.
best_of() {
  local best="" took
  for i in $(seq 0 $REPEATS); do
    took=$(seconds_of "$@")
    [ "$took" != n/a ] || { echo n/a; return; }
    if [ "$i" -gt 0 ] && { [ -z "$best" ] || [ "$(echo "$took < $best" | bc -l)" = 1 ]; }; then
      best=$took
    fi
  done
  printf '%.4f' "$best"
}

# $1 / $2 with two decimals; n/a when either is.
ratio() {
  if [ "$1" = n/a ] || [ "$2" = n/a ]; then echo n/a; return; fi
  printf '%.2f' "$(echo "$1 / $2" | bc -l)"
}

# GDAL and its Python bindings (Debian's python3, not another on PATH), and
# bc for the arithmetic above, installed when missing. Needs PYTHON set.
install_peer_tools() {
  if command -v bc >/dev/null && command -v gdal_translate >/dev/null &&
     command -v vips >/dev/null && "$PYTHON" -c 'import osgeo.gdal' 2>/dev/null; then
    return
  fi
  local sudo=""; [ "$(id -u)" -ne 0 ] && sudo=sudo
  $sudo apt-get install -y --no-install-recommends bc gdal-bin python3-gdal libvips-tools
}

# Configures BUILD (from ROOT) for timing and builds the targets named.
build_for_bench() {
  cmake -S "$ROOT" -B "$BUILD" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
  cmake --build "$BUILD" -j2 --target "$@" >/dev/null
}

# Writes IMAGE, the 20000 x 15000 RGB TIFF of 16 rows per strip the
# benchmarks read, unless it is there already. Needs tessel-sample built.
ensure_bench_image() {
  [ -s "$IMAGE" ] && return
  echo "writing $IMAGE ..." >&2
  "$BUILD/bin/tessel-sample" tiff "$IMAGE" --width 20000 --height 15000 --samples 3 \
    --photometric 2 --rows-per-strip 16
}

# Points the program at BUILD's module, and the platform's catalog,
# preferences and alert log into folder $1, out of the user's own.
run_tessel_in() {
  export XDG_DATA_HOME="$1/data" XDG_CONFIG_HOME="$1/config"
  export TESSEL_MODULE="$BUILD/lib/tessel.plugin" TESSEL_ALERT_LOG="$1/alerts.log"
}

# Writes $1/nosync.so: fsync and fdatasync that return at once, to be
# preloaded for the figures that leave the final sync out.
make_nosync_shim() {
  cat >"$1/nosync.c" <<'C'
int fsync(int fd) { (void)fd; return 0; }
int fdatasync(int fd) { (void)fd; return 0; }
C
  cc -shared -fPIC -O2 -o "$1/nosync.so" "$1/nosync.c"
}

# What every timing script does first: a work folder WORK (removed on exit)
# named after $1, the peer tools, BUILD built for timing with the program,
# its module, the sample writer and the preview bench, and the program
# pointed at WORK. Needs ROOT, BUILD and PYTHON set.
start_bench() {
  WORK="$(mktemp -d "/tmp/tessel-bench-$1-XXXXXX")"
  trap 'rm -rf "$WORK"' EXIT
  install_peer_tools
  build_for_bench tessel tessel_module tessel-sample tessel_bench_preview
  run_tessel_in "$WORK"
}
