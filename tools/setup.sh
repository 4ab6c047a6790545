#!/usr/bin/env bash
# Installs what Lumenda3D needs on Debian 12, builds it, and either runs it or tests it.
#   tools/setup.sh run    install, build, start the program
#   tools/setup.sh test   install, build, run every test (also under ASan/UBSan)
#   tools/setup.sh build  install and build only
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
  # Node.js runs the agent-protocol client tests; any installed node will do.
  if ! command -v node >/dev/null 2>&1; then missing+=(nodejs npm); fi
  if [ "${#missing[@]}" -gt 0 ]; then
    echo "== Installing Debian packages: ${missing[*]}"
    as_root env DEBIAN_FRONTEND=noninteractive apt-get update -q
    as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends "${missing[@]}"
  else
    echo "== All Debian packages are installed"
  fi
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

install_packages
case "$mode" in
  build)
    build build
    ;;
  run)
    build build
    echo
    echo "Lumenda3D is being built up in steps. The editor window and the game player are not part"
    echo "of this build yet; what runs today is the game checker over the document and schema services."
    echo "Checking the starter game against the command schema:"
    echo
    ./build/lumenda3d-check media/examples/starter.xml
    ;;
  test)
    build build
    run_tests build
    build build-asan -DLMD_SANITIZE=ON -DLMD_BUILD_BENCH=OFF -DCMAKE_BUILD_TYPE=Debug
    ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 run_tests build-asan
    ;;
  *)
    echo "usage: tools/setup.sh run|test|build" >&2
    exit 2
    ;;
esac
