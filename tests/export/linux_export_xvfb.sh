#!/bin/bash
# Exports example games for Linux with the command-line exporter, unpacks each archive into an
# empty folder and plays it there as someone without the editor would: no build tree on PATH or
# LD_LIBRARY_PATH, a fresh HOME. Checks that the game started (its log), that the screen is a real
# picture, and that holding a key moves the game's player.
#
#   linux_export_xvfb.sh <lumenda3d-export> <artifacts folder> <game.xml>:<object>:<key> ...
#
# <object>:<key> may be empty (a game played by clicks): then only start and picture are checked.
# Runs under xvfb-run (DISPLAY and XAUTHORITY come from it).
set -u
exporter=$1
artifacts=$2
shift 2
mkdir -p "$artifacts"
artifacts=$(cd "$artifacts" && pwd)
exporter=$(cd "$(dirname "$exporter")" && pwd)/$(basename "$exporter")
work=$(mktemp -d "${TMPDIR:-/tmp}/lmd-export-e2e.XXXXXX")
trap 'rm -rf "$work"' EXIT
build_dir=$(dirname "$exporter")
failures=0

fail() {
  echo "FAIL: $*"
  failures=$((failures + 1))
}

# Mean and deviation of a PNG's brightness (8-bit grey, RGB or RGBA, or a palette of any depth:
# the player's encoder picks the smallest form that holds the picture).
png_stats() {
  python3 - "$1" <<'PY'
import struct, sys, zlib
data = open(sys.argv[1], 'rb').read()
assert data[:8] == b'\x89PNG\r\n\x1a\n', 'not a PNG'
pos, idat, palette = 8, b'', []
while pos < len(data):
    length, kind = struct.unpack('>I4s', data[pos:pos + 8])
    body = data[pos + 8:pos + 8 + length]
    if kind == b'IHDR':
        width, height, depth, colour, _, _, interlace = struct.unpack('>IIBBBBB', body[:13])
        assert interlace == 0, 'interlaced'
    elif kind == b'PLTE':
        palette = [tuple(body[i:i + 3]) for i in range(0, len(body), 3)]
    elif kind == b'IDAT':
        idat += body
    pos += 12 + length
channels = {0: 1, 2: 3, 3: 1, 4: 2, 6: 4}[colour]
assert depth == 8 or colour in (0, 3), 'unexpected depth %d for colour type %d' % (depth, colour)
bits = channels * depth
stride, bpp = (width * bits + 7) // 8, max(1, bits // 8)
raw, prev, values = zlib.decompress(idat), bytearray(stride), []
for y in range(height):
    f, line = raw[y * (stride + 1)], bytearray(raw[y * (stride + 1) + 1:(y + 1) * (stride + 1)])
    for i in range(stride):
        a = line[i - bpp] if i >= bpp else 0
        b, c = prev[i], prev[i - bpp] if i >= bpp else 0
        if f == 1: line[i] = (line[i] + a) & 255
        elif f == 2: line[i] = (line[i] + b) & 255
        elif f == 3: line[i] = (line[i] + (a + b) // 2) & 255
        elif f == 4:
            p = a + b - c; pa, pb, pc = abs(p - a), abs(p - b), abs(p - c)
            line[i] = (line[i] + (a if pa <= pb and pa <= pc else b if pb <= pc else c)) & 255
    prev = line
    for x in range(0, width, 4):
        if colour == 3 or (colour == 0 and depth < 8):
            v = (line[x * depth // 8] >> (8 - depth - (x * depth) % 8)) & ((1 << depth) - 1)
            rgb = palette[v] if colour == 3 else (v * 255 // ((1 << depth) - 1),) * 3
        elif colour in (0, 4):
            rgb = (line[x * channels],) * 3
        else:
            rgb = line[x * channels:x * channels + 3]
        values.append(0.3 * rgb[0] + 0.59 * rgb[1] + 0.11 * rgb[2])
mean = sum(values) / len(values)
print('%.0f %.0f' % (mean, (sum(v * v for v in values) / len(values) - mean * mean) ** 0.5))
PY
}

for spec in "$@"; do
  IFS=: read -r game object key <<<"$spec"
  name=$(basename "$game" .xml)
  echo "== $name"
  out="$work/exports/$name-linux.tar.gz"
  if ! LUMENDA3D_HOME="$work/home" "$exporter" --name "$name" "$game" "$out" >"$work/$name-export.txt" 2>&1; then
    fail "$name: the export failed: $(tail -3 "$work/$name-export.txt")"
    continue
  fi
  grep -q "^100.0% Done" "$work/$name-export.txt" || fail "$name: no Done in the export's progress"

  unpacked="$work/unpacked-$name"
  mkdir "$unpacked"
  tar -xzf "$out" -C "$unpacked" || { fail "$name: the archive does not unpack"; continue; }
  app="$unpacked/$name"
  [ -x "$app/AppRun" ] || { fail "$name: no AppRun in the archive"; continue; }

  # The player's own libraries come from the export, nothing from the build tree.
  resolved=$(LD_LIBRARY_PATH="$app/lib" ldd "$app/lumenda3d-player")
  echo "$resolved" | grep -q "not found" && fail "$name: libraries not found: $(echo "$resolved" | grep 'not found')"
  for lib in libOgreMain liblua5.4 libBulletDynamics libSDL2_mixer; do
    echo "$resolved" | grep "$lib" | grep -q "$app/lib/" || fail "$name: $lib does not come from the export"
  done
  echo "$resolved" | grep -q "$build_dir" && fail "$name: a library comes from the build tree"

  shot="$artifacts/export-$name.png"
  rm -f "$shot"
  args=(--size 960x600 --frames 240 --screenshot "$shot")
  [ -n "$object" ] && args+=(--watch "$object" --press "$key")
  # The sanitizers' settings pass through (a sanitized build's player, under ctest): they name
  # no folder of the build tree.
  (cd "$unpacked" && env -i HOME="$work/run-home" PATH=/usr/bin:/bin DISPLAY="$DISPLAY" \
      XAUTHORITY="${XAUTHORITY:-}" ${ASAN_OPTIONS:+"ASAN_OPTIONS=$ASAN_OPTIONS"} \
      ${UBSAN_OPTIONS:+"UBSAN_OPTIONS=$UBSAN_OPTIONS"} "$app/AppRun" "${args[@]}" >"$work/$name-out.txt" 2>"$work/$name-err.txt")
  code=$?
  [ $code -eq 0 ] || fail "$name: the game exited with $code: $(grep -v ALSA "$work/$name-err.txt" | tail -3)"
  grep -q "Game started on level" "$work/$name-err.txt" || fail "$name: the log does not show the game starting"
  grep -q "does not load" "$work/$name-err.txt" && fail "$name: the logic did not load: $(grep 'does not load' "$work/$name-err.txt")"
  if [ -f "$shot" ]; then
    read -r mean deviation < <(png_stats "$shot")
    echo "   picture: mean $mean, deviation $deviation"
    [ "${mean:-0}" -gt 15 ] && [ "${deviation:-0}" -gt 12 ] || fail "$name: the screen is blank (mean $mean, deviation $deviation)"
  else
    fail "$name: no screenshot"
  fi
  if [ -n "$object" ]; then
    start=$(awk -v o="$object" '$1 == "watch" && $2 == o && $3 == "start" {print $4, $5, $6}' "$work/$name-out.txt")
    end=$(awk -v o="$object" '$1 == "watch" && $2 == o && $3 == "end" {print $4, $5, $6}' "$work/$name-out.txt")
    moved=$(awk -v a="$start" -v b="$end" 'BEGIN { split(a, p); split(b, q);
      d = sqrt((p[1]-q[1])^2 + (p[2]-q[2])^2 + (p[3]-q[3])^2); print (d > 0.5) ? "yes" : "no"; }')
    echo "   $object: $start -> $end after holding $key"
    [ -n "$start" ] && [ -n "$end" ] && [ "$moved" = yes ] || fail "$name: holding $key did not move $object ($start -> $end)"
  fi
done

if [ $failures -ne 0 ]; then
  echo "$failures check(s) failed"
  exit 1
fi
echo "all exported games play"
