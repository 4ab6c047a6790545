#!/bin/bash
# A Windows export as a user makes it, with the real programs: the cloud server is started with a
# fresh database, its administrator adds a Windows runtime template, and lumenda3d-export exports
# a game for Windows with the installer. The installer is listed and unpacked with 7z and its files
# checked; a second export takes the template from the cache; with the server gone the cached
# template still serves. A server without a Windows template makes the export fail with a
# sentence that says so, and nothing is delivered.
#
#   windows_export_cloud.sh <lumenda3d-cloud> <lumenda3d-export> <game.xml>
#
# The template's player is a small Windows program made here with makensis: it stands in for the
# Windows build of the player, which this tree does not make.
set -u
cloud=$1
exporter=$2
game=$3
for tool in makensis 7z; do
  command -v $tool >/dev/null || { echo "SKIP: $tool is not installed"; exit 77; }
done
work=$(mktemp -d "${TMPDIR:-/tmp}/lmd-windows-export.XXXXXX")
server_pid=
cleanup() {
  [ -n "$server_pid" ] && kill "$server_pid" 2>/dev/null && wait "$server_pid" 2>/dev/null
  rm -rf "$work"
}
trap cleanup EXIT
failures=0
fail() {
  echo "FAIL: $*"
  failures=$((failures + 1))
}

start_server() {
  rm -f "$work/port"
  "$cloud" --data-dir "$work/cloud" --no-seed --port-file "$work/port" >"$work/server.log" 2>&1 &
  server_pid=$!
  for _ in $(seq 100); do [ -s "$work/port" ] && break; sleep 0.1; done
  [ -s "$work/port" ] || { echo "FAIL: the server did not start"; cat "$work/server.log"; exit 1; }
  export LUMENDA3D_SERVER=http://127.0.0.1:$(cat "$work/port")
}

export LUMENDA3D_HOME=$work/home
mkdir -p "$work/cloud" "$work/template"
start_server

# No Windows template on the server: a clear failure, nothing delivered.
if "$exporter" --name "Cave Run" --platform windows "$game" >"$work/none.out" 2>"$work/none.err"; then
  fail "an export without a Windows template succeeded"
fi
grep -q "No Windows runtime template is available: the server has no Windows runtime template" "$work/none.err" ||
  fail "the failure does not say why: $(cat "$work/none.err")"
[ -z "$(ls -A "$LUMENDA3D_HOME/exports" 2>/dev/null)" ] || fail "a failed export left files: $(ls "$LUMENDA3D_HOME/exports")"

# The administrator adds a Windows runtime template.
printf 'Unicode true\nOutFile "%s"\nSilentInstall silent\nSection\nSectionEnd\n' \
  "$work/template/lumenda3d-player.exe" >"$work/player.nsi"
makensis -V1 "$work/player.nsi" >/dev/null || { echo "FAIL: makensis"; exit 1; }
echo "runtime media" >"$work/template/runtime.txt"
(cd "$work/template" && 7z a -tzip "$work/windows.zip" . >/dev/null)
"$cloud" admin --data-dir "$work/cloud" add-runtime-template --platform windows --version 1.0.0 \
  --archive "$work/windows.zip" || fail "the template was not accepted"

"$exporter" --name "Cave Run" --platform windows --installer "$game" >"$work/first.out" 2>&1 ||
  fail "the installer export failed: $(tail -3 "$work/first.out")"
grep -q "Downloading the Windows runtime 1.0.0" "$work/first.out" || fail "the template was not downloaded"
grep -q "Building the installer" "$work/first.out" || fail "no installer step"
setup=$LUMENDA3D_HOME/exports/Cave\ Run-setup.exe
[ "$(tail -1 "$work/first.out")" = "$setup" ] || fail "the deliverable is not the installer: $(tail -1 "$work/first.out")"
[ -f "$LUMENDA3D_HOME/exports/Cave Run-windows.zip" ] || fail "no ZIP beside the installer"
listing=$(7z l "$setup")
for file in "Cave Run.exe" "runtime.txt" "game/bin.dat" "game/app.json" "app.ico" "Uninstall.exe"; do
  grep -qF "$file" <<<"$listing" || fail "the installer has no $file"
done
7z x -y -o"$work/installed" "$setup" >/dev/null || fail "7z cannot unpack the installer"
cmp -s "$work/installed/Cave Run.exe" "$work/template/lumenda3d-player.exe" || fail "the game's program is not the template's player"
grep -q '"displayName": "Cave Run"' "$work/installed/game/app.json" || fail "app.json: $(cat "$work/installed/game/app.json")"

# The second export takes the cached template.
"$exporter" --name "Cave Run" --platform windows "$game" >"$work/second.out" 2>&1 || fail "the second export failed"
grep -q "Downloading" "$work/second.out" && fail "the second export downloaded the template again"
grep -q "is up to date" "$work/second.out" || fail "the second export did not check the template"

# Offline: the cached template serves.
kill "$server_pid"; wait "$server_pid" 2>/dev/null; server_pid=
"$exporter" --name "Cave Run" --platform windows "$game" >"$work/offline.out" 2>&1 || fail "the offline export failed"
grep -q "Using the cached Windows runtime 1.0.0" "$work/offline.out" || fail "the offline export did not use the cache"

[ $failures -eq 0 ] && echo "windows export from the cloud template: ok"
exit $((failures > 0))
