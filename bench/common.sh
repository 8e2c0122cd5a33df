# Shared by the benchmark scripts: source it, set REPEATS, then time commands.

now() { date +%s.%N; }

# The best wall time of REPEATS runs of a command, after one warming run.
best_of() {
  local best="" start took
  for i in $(seq 0 $REPEATS); do
    start=$(now); "$@" >/dev/null; took=$(echo "$(now) - $start" | bc -l)
    if [ "$i" -gt 0 ] && { [ -z "$best" ] || [ "$(echo "$took < $best" | bc -l)" = 1 ]; }; then
      best=$took
    fi
  done
  printf '%.4f' "$best"
}

# $1 / $2 with two decimals.
ratio() { printf '%.2f' "$(echo "$1 / $2" | bc -l)"; }

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
