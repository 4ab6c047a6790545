#!/usr/bin/env bash
# Installs what Lumenda3D needs on Debian 12, builds it, and either runs it or tests it.
#   tools/setup.sh run    install, build, register Lumenda3DApp:// links, start the editor
#   tools/setup.sh test   install, build, run every test (also under ASan/UBSan), fuzz briefly
#   tools/setup.sh build  install and build only
#   tools/setup.sh cloud       start only the local cloud server (lumenda3d-cloud) in the background
#   tools/setup.sh cloud-stop  stop that server
# Safe to run again: it installs only missing packages and builds incrementally.
set -euo pipefail

here="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
cd "$here"
mode="${1:-run}"
jobs="$(nproc 2>/dev/null || echo 2)"

as_root() {
  if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

install_packages() {
  local wanted missing=()
  mapfile -t wanted < <(grep -vE '^\s*(#|$)' tools/debian-packages.txt | awk '{print $1}')
  for p in "${wanted[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
      missing+=("$p")
    fi
  done
  # npm installs the agent-protocol client tests' packages (install_test_packages); the tests
  # themselves run on the Node 22 that those packages bring.
  if ! command -v npm >/dev/null 2>&1; then missing+=(nodejs npm); fi
  if [ "${#missing[@]}" -gt 0 ]; then
    echo "== Installing Debian packages: ${missing[*]}"
    as_root env DEBIAN_FRONTEND=noninteractive apt-get update -q
    as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends "${missing[@]}"
  else
    echo "== All Debian packages are installed"
  fi
}

# The MCP client tests (tests/mcp-e2e) use the official MCP SDK, the MCP conformance suite and a
# Node 22 binary, all pinned in that folder's package-lock.json: install them when they are
# missing or the lock file changed since the last install.
install_test_packages() {
  local dir=tests/mcp-e2e
  if [ -x "$dir/node_modules/.bin/node" ] && [ "$dir/node_modules/.package-lock.json" -nt "$dir/package-lock.json" ]; then
    echo "== The MCP client test packages are installed"
    return 0
  fi
  echo "== Installing the MCP client test packages (npm ci in $dir)"
  (cd "$dir" && npm ci --no-audit --no-fund)
}

build() {
  local dir="$1"; shift
  echo "== Building in $dir"
  cmake -S . -B "$dir" -G Ninja "$@" >/dev/null
  cmake --build "$dir" -j "$jobs"
}

run_tests() {
  local dir="$1"
  echo "== Testing ($dir)"
  # Tests never touch the user's folders: each test makes its own data root, and this one
  # catches anything that would still fall back to HOME.
  local home; home="$(mktemp -d)"
  HOME="$home" XDG_CACHE_HOME="$home/.cache" ctest --test-dir "$dir" --output-on-failure -j "$jobs"
  rm -rf "$home"
}

# Every fuzz target for a few seconds (fuzz/, docs/building.md "Fuzzing"): a build folder of its
# own, with clang, that compiles only what the targets reach; then each target replays its seed
# corpus and kept findings and mutates for a few seconds, as many at a time as there are cores.
# It runs after the other tests, so it never competes with them for the machine.
fuzz_briefly() {
  echo "== Building the fuzz targets (build-fuzz)"
  CC=clang CXX=clang++ cmake -S . -B build-fuzz -G Ninja -DLMD_FUZZ=ON >/dev/null
  cmake --build build-fuzz -j "$jobs"
  echo "== Fuzzing every target briefly (build-fuzz)"
  ctest --test-dir build-fuzz --output-on-failure -j "$jobs"
}

# Registers the editor for "Lumenda3DApp://" links, for this user only: a desktop entry under
# ~/.local/share/applications that starts the built editor, made the default handler of the
# scheme when xdg-mime is there. Harmless on machines without a desktop.
install_url_handler() {
  local apps="${XDG_DATA_HOME:-$HOME/.local/share}/applications"
  if ! mkdir -p "$apps" 2>/dev/null; then
    echo "== Not registering the Lumenda3DApp:// links: cannot create $apps"
    return 0
  fi
  sed "s|^Exec=.*|Exec=\"$here/build/lumenda3d\" %u|" tools/desktop/lumenda3d.desktop > "$apps/lumenda3d.desktop"
  if command -v update-desktop-database >/dev/null 2>&1; then
    update-desktop-database -q "$apps" 2>/dev/null || true
  fi
  if command -v xdg-mime >/dev/null 2>&1; then
    xdg-mime default lumenda3d.desktop x-scheme-handler/lumenda3dapp 2>/dev/null || true
  fi
  echo "== Lumenda3DApp:// links open the editor ($apps/lumenda3d.desktop)"
}

# Starts the editor on its starting project. Without a desktop session there is no screen to
# show it on: it then runs for a moment under Xvfb and leaves a screenshot instead.
start_editor() {
  echo
  if [ -n "${DISPLAY:-}" ] || [ -n "${WAYLAND_DISPLAY:-}" ]; then
    echo "== Starting the editor: ./build/lumenda3d (see docs/running.md)"
    exec ./build/lumenda3d
  fi
  local shot="$here/build/editor-screenshot.png"
  echo "== No desktop session (DISPLAY is not set): starting the editor under Xvfb for a moment"
  if xvfb-run -a -s "-screen 0 1280x800x24" ./build/lumenda3d --screenshot "$shot" > "$here/build/editor-run.log" 2>&1; then
    echo "== The editor started and rendered its starting project: $shot (log: build/editor-run.log)"
  else
    echo "== The editor did not write its screenshot; see build/editor-run.log"
    return 1
  fi
  echo "   On a desktop, run ./build/lumenda3d (or: bash tools/setup.sh run) to use it."
}

# The local cloud server: lumenda3d-cloud on loopback with its SQLite database under the data
# root, started in the background and left running as a service of this user, so that the
# editor, later editor runs and Lumenda3DApp:// links all reach the same server. Its port is kept
# in <cloud folder>/port (a free one is chosen the first time) and reused at every start.
cloud_dir() {
  if [ -n "${LUMENDA3D_HOME:-}" ]; then echo "$LUMENDA3D_HOME/data/cloud"
  else echo "${XDG_DATA_HOME:-$HOME/.local/share}/Lumenda3D/cloud"; fi
}

cloud_healthy() {
  local port="$1" answer
  [ -n "$port" ] || return 1
  exec 9<>"/dev/tcp/127.0.0.1/$port" 2>/dev/null || return 1
  printf 'GET /api/health HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n\r\n' >&9
  answer="$(timeout 5 head -n 1 <&9 2>/dev/null || true)"
  exec 9<&- 9>&- 2>/dev/null || true
  [[ "$answer" == *" 200 "* ]]
}

start_cloud() {
  local dir port pid rc
  dir="$(cloud_dir)"
  mkdir -p "$dir"
  port="$(cat "$dir/port" 2>/dev/null || true)"
  pid="$(cat "$dir/server.pid" 2>/dev/null || true)"
  if [ -n "$pid" ] && kill -0 "$pid" 2>/dev/null && cloud_healthy "$port"; then
    echo "== The local cloud server runs already: http://127.0.0.1:$port (pid $pid)"
  else
    for try in stored free; do
      [ "$try" = free ] && port=0
      [[ "$port" =~ ^[0-9]+$ ]] || port=0
      rm -f "$dir/server.pid"
      nohup setsid ./build/cloud/lumenda3d-cloud --data-dir "$dir" --listen "127.0.0.1:$port" \
        --port-file "$dir/port" >>"$dir/server.log" 2>&1 </dev/null &
      pid=$!
      echo "$pid" > "$dir/server.pid"
      rc=""
      for _ in $(seq 1 100); do
        if ! kill -0 "$pid" 2>/dev/null; then wait "$pid" 2>/dev/null && rc=0 || rc=$?; break; fi
        port="$(cat "$dir/port" 2>/dev/null || true)"
        if cloud_healthy "$port"; then break; fi
        sleep 0.1
      done
      if [ -z "$rc" ] && cloud_healthy "$port"; then break; fi
      # Exit code 3: the kept port is taken now; choose a free one instead.
      if [ "$rc" != 3 ] || [ "$try" = free ]; then
        echo "== The local cloud server did not start (log: $dir/server.log)" >&2
        return 1
      fi
    done
    echo "== Started the local cloud server: http://127.0.0.1:$port (pid $pid, data in $dir)"
  fi
  export LUMENDA3D_SERVER="http://127.0.0.1:$port"
  export LUMENDA3D_UPDATE_SERVER="${LUMENDA3D_UPDATE_SERVER:-$LUMENDA3D_SERVER}"
}

stop_cloud() {
  local dir pid
  dir="$(cloud_dir)"
  pid="$(cat "$dir/server.pid" 2>/dev/null || true)"
  if [ -n "$pid" ] && kill -0 "$pid" 2>/dev/null; then
    kill "$pid" && rm -f "$dir/server.pid"
    echo "== Stopped the local cloud server (pid $pid)"
  else
    echo "== No local cloud server is running"
  fi
}

# The editor uses the cloud server named by LUMENDA3D_SERVER; without one, it gets the local one.
use_cloud() {
  if [ -n "${LUMENDA3D_SERVER:-}" ]; then
    echo "== Using the cloud server $LUMENDA3D_SERVER"
  else
    start_cloud || echo "== Going on without a cloud server: cloud features will say they are unavailable"
  fi
}

install_packages
case "$mode" in
  build)
    build build
    ;;
  run)
    build build
    install_url_handler
    use_cloud
    start_editor
    ;;
  cloud)
    build build
    start_cloud
    ;;
  cloud-stop)
    stop_cloud
    exit 0
    ;;
  test)
    build build
    install_test_packages
    run_tests build
    build build-asan -DLMD_SANITIZE=ON -DLMD_BUILD_BENCH=OFF -DCMAKE_BUILD_TYPE=Debug
    ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 run_tests build-asan
    fuzz_briefly
    ;;
  *)
    echo "usage: tools/setup.sh run|test|build|cloud|cloud-stop" >&2
    exit 2
    ;;
esac
