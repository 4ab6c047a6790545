#!/usr/bin/env bash
# Starts the real editor with its agent server on a free loopback port and runs one MCP client
# check against it, then stops the editor and removes its data, also when the check fails.
#
#   run-with-editor.sh <check> <lumenda3d> <lmd-mcp> <artifacts dir>
#
#   e2e          editor-e2e.mjs: the official MCP client over HTTP and through lmd-mcp
#   conformance  the MCP conformance suite (server mode) with conformance-baseline.yml
#
# Runs under an X display (CTest wraps it in xvfb-run). The editor gets a fresh data root
# ($LUMENDA3D_HOME) whose settings set the four agent permissions to Approve, so that no call
# waits for a permission prompt. Exits 77 (CTest: skipped) when the Node packages are not
# installed: tools/setup.sh installs them with `npm ci` in this folder.
set -uo pipefail

check="$1"
editor="$(realpath "$2")"
bridge="$(realpath "$3")"
artifacts="$(realpath -m "$4")"
here="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
node="$here/node_modules/.bin/node"

if [ ! -x "$node" ] || [ ! -d "$here/node_modules/@modelcontextprotocol/sdk" ]; then
  echo "SKIPPED: the MCP client packages are not installed (bash tools/setup.sh test installs them; or run npm ci in $here)"
  exit 77
fi
mkdir -p "$artifacts"

work="$(mktemp -d "${TMPDIR:-/tmp}/lmd-mcp-e2e.XXXXXX")"
editor_pid=""
cleanup() {
  if [ -n "$editor_pid" ] && kill -0 "$editor_pid" 2>/dev/null; then
    kill -TERM "$editor_pid" 2>/dev/null
    for _ in $(seq 1 50); do
      kill -0 "$editor_pid" 2>/dev/null || break
      sleep 0.1
    done
    kill -KILL "$editor_pid" 2>/dev/null
    wait "$editor_pid" 2>/dev/null
  fi
  rm -rf "$work"
}
trap cleanup EXIT
trap 'exit 130' INT TERM

export LUMENDA3D_HOME="$work/home"
export LUMENDA3D_SERVER=""
export XDG_CACHE_HOME="$work/cache"
mkdir -p "$LUMENDA3D_HOME/config/lmdEditor" "$XDG_CACHE_HOME"
# The editor settings entry (docs/data-locations.md): 1 is Approve for each agent permission.
printf '%s\n' '{"mcpPermRun":1,"mcpPermProjects":1,"mcpPermExport":1,"mcpPermInput":1}' \
  > "$LUMENDA3D_HOME/config/lmdEditor/settings.txt"

# A port that nothing listens on right now: bind to port 0 and let the system choose.
free_port() {
  "$node" -e 'const s=require("net").createServer();s.listen(0,"127.0.0.1",()=>{console.log(s.address().port);s.close()})'
}
port="$(free_port)"

"$editor" --mcp on --mcp-port "$port" "$here/data/e2e-game.xml" > "$work/editor.out" 2> "$work/editor.err" &
editor_pid=$!

show_editor_output() {
  echo "--- editor stdout (last lines)"; tail -30 "$work/editor.out"
  echo "--- editor stderr (last lines)"; grep -v '^ALSA' "$work/editor.err" | tail -30
}

# Wait for the listener: at most about 30 seconds, and not at all once the editor has died.
ready=0
for _ in $(seq 1 300); do
  if ! kill -0 "$editor_pid" 2>/dev/null; then break; fi
  if (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null; then ready=1; break; fi
  sleep 0.1
done
if [ "$ready" -ne 1 ]; then
  echo "FAILED: the editor's agent server did not start listening on port $port"
  show_editor_output
  exit 1
fi
echo "== editor listening on http://127.0.0.1:$port/mcp"

cd "$here"
case "$check" in
e2e)
  LMD_MCP_PORT="$port" LMD_MCP_BRIDGE="$bridge" LMD_FREE_PORT="$(free_port)" LMD_E2E_ARTIFACTS="$artifacts" \
    "$node" --test --test-reporter=spec editor-e2e.mjs
  code=$?
  ;;
conformance)
  results="$artifacts/mcp-conformance"
  rm -rf "$results"
  "$node" node_modules/.bin/conformance server --url "http://127.0.0.1:$port/mcp" \
    --expected-failures conformance-baseline.yml -o "$results"
  code=$?
  ;;
*)
  echo "unknown check: $check (use e2e or conformance)" >&2
  exit 2
  ;;
esac

if ! kill -0 "$editor_pid" 2>/dev/null; then
  echo "FAILED: the editor ended during the check"
  code=1
fi
if [ "$code" -ne 0 ]; then show_editor_output; fi
exit "$code"
