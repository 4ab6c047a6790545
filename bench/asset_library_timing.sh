#!/usr/bin/env bash
# Times the asset library opening a local store of many pictures: the longest time the library's
# own work (listing, the grid, turning decoded thumbnails into textures) held one frame of the
# main thread, and the editor's frame times meanwhile. Reading and decoding the pictures run on
# the job service and are not in that figure by design. Runs the real editor under Xvfb (Mesa's
# software OpenGL) in its test build lumenda3d-testdriver (built with the tests).
#
#   bash bench/asset_library_timing.sh [build folder] [pictures] [side in pixels]
#
# Defaults: build/, 500 pictures of 512 x 512 pixels (PNG), put into the local store of a fresh
# data root before the editor starts. The script opens the "Asset Library" tab, waits until
# every thumbnail the grid asked for (the rows on screen; rows out of view ask when scrolled to)
# is made, prints the library's worst frame, then turns the mouse wheel over the grid down to
# its last row (every row passes the screen and asks for its thumbnails), waits until the last
# picture's thumbnail is shown and prints the worst frame of the whole run.
set -euo pipefail
here="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"

if [ -z "${LMD_TIMING_UNDER_XVFB:-}" ]; then
  LMD_TIMING_UNDER_XVFB=1 exec xvfb-run -a -s "-screen 0 1280x800x24" bash "$0" "$@"
fi

build="$(cd "${1:-$here/build}" && pwd)"
count="${2:-500}"
side="${3:-512}"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT

mkdir -p "$work/home/data/local-assets/textures"
python3 - "$work/home/data/local-assets/textures" "$count" "$side" <<'PY'
import struct, sys, zlib
folder, count, side = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
def chunk(kind, data):
    return struct.pack('>I', len(data)) + kind + data + struct.pack('>I', zlib.crc32(kind + data) & 0xffffffff)
for i in range(count):
    r, g, b = (i * 37) % 256, (i * 91) % 256, (i * 151) % 256
    row = b'\x00' + bytes([r, g, b]) * side
    png = b'\x89PNG\r\n\x1a\n' + chunk(b'IHDR', struct.pack('>IIBBBBB', side, side, 8, 2, 0, 0, 0)) + \
          chunk(b'IDAT', zlib.compress(row * side, 1)) + chunk(b'IEND', b'')
    open('%s/picture%03d.png' % (folder, i), 'wb').write(png)
PY

cat > "$work/timing.script" <<SCRIPT
until loaded
frames 30
library-cost reset
user-click workflow Asset Library
timing 120
until thumbnails-done
library-cost
user-wheel assetLibraryPanel cell:picture000.png $((count * 2 / 3 + 20)) -3
until thumbnails-done
frames 10
screenshot ${LMD_TIMING_SHOT:-/dev/null}
until asset-thumbnail picture$(printf '%03d' $((count - 1))).png
library-cost
quit
SCRIPT

LUMENDA3D_HOME="$work/home" HOME="$work/home" XDG_CACHE_HOME="$work/cache" \
  LUMENDA3D_TEST_SCRIPT="$work/timing.script" "$build/lumenda3d-testdriver" > "$work/run.out" 2>/dev/null || true
grep '^LMD-TEST \(timing\|library\|FAIL\)' "$work/run.out" | sed 's/^LMD-TEST //'
