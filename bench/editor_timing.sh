#!/usr/bin/env bash
# Times the editor: from process start to its first frame, and the frame time with an example
# game open. Runs the real editor under Xvfb (Mesa's software OpenGL) with a test script, in its
# test build lumenda3d-testdriver (built with the tests).
#
#   bash bench/editor_timing.sh [build folder] [runs] [game]
#
# Defaults: build/, 5 runs, media/examples/platformer.xml. Prints one line per run and the
# medians. "Start to first frame" is measured from just before the editor is started to the end
# of its first frame (wall clock), so it includes loading the program, the window and the game.
# The frame time is over 300 frames after the game has loaded, in the Scene tab.
set -euo pipefail
here="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"

if [ -z "${LMD_TIMING_UNDER_XVFB:-}" ]; then
  # Once more, inside one X server for all runs.
  LMD_TIMING_UNDER_XVFB=1 exec xvfb-run -a -s "-screen 0 1280x800x24" bash "$0" "$@"
fi

build="$(cd "${1:-$here/build}" && pwd)"
runs="${2:-5}"
game_arg="${3:-$here/media/examples/platformer.xml}"
game="$(cd "$(dirname "$game_arg")" && pwd)/$(basename "$game_arg")"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT

printf '%s\n' "until loaded" "frames 30" "timing 300" "quit" > "$work/timing.script"

for i in $(seq 1 "$runs"); do
  rm -rf "$work/home"
  mkdir -p "$work/home"
  start=$(date +%s%N)
  LUMENDA3D_HOME="$work/home" HOME="$work/home" XDG_CACHE_HOME="$work/cache" \
    LUMENDA3D_TEST_SCRIPT="$work/timing.script" "$build/lumenda3d-testdriver" "$game" > "$work/run.out" 2>/dev/null
  first=$(sed -n 's/^LMD-TEST first-frame realtime_ns=\([0-9]*\).*/\1/p' "$work/run.out")
  timing=$(sed -n 's/^LMD-TEST timing //p' "$work/run.out")
  echo "run $i: start to first frame $(( (first - start) / 1000000 )) ms; $timing" | tee -a "$work/all.txt"
done

median() { sort -n | awk '{a[NR]=$1} END {print a[int((NR+1)/2)]}'; }
echo "median start to first frame: $(sed -n 's/.*first frame \([0-9]*\) ms.*/\1/p' "$work/all.txt" | median) ms"
echo "median frame time: $(sed -n 's/.*median_ms=\([0-9.]*\).*/\1/p' "$work/all.txt" | median) ms"
