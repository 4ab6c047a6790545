#!/bin/bash
# Times the export of a game for Linux by stage, twice in a fresh data root: the first run makes
# the runtime template, the second must take it from the cache (its template stage is then a few
# milliseconds and it says "Using the cached Linux runtime template").
#
#   bash tools/export-timing.sh [build folder] [game.xml]
#
# Defaults: build/ and the largest example game.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build}
game=${2:-$(ls -S "$root"/media/examples/*.xml | head -1)}
home=$(mktemp -d "${TMPDIR:-/tmp}/lmd-export-timing.XXXXXX")
trap 'rm -rf "$home"' EXIT
echo "game: $game"
for run in first second; do
  echo "== $run export"
  LUMENDA3D_HOME="$home" "$build/lumenda3d-export" --timings "$game" >"$home/$run.txt"
  grep -E "^time |Using the cached|Building the Linux runtime template: the player" "$home/$run.txt"
done
if ! grep -q "Using the cached Linux runtime template" "$home/second.txt"; then
  echo "FAIL: the second export made the template again"
  exit 1
fi
echo "the second export took the template from the cache"
