#!/usr/bin/env bash
# The editor and the cloud server end to end with the official MCP client (cloud-e2e.mjs), which
# starts the server and the editors itself, in a temporary folder removed afterwards.
#
#   run-cloud-e2e.sh <lumenda3d> <lumenda3d-cloud> <artifacts dir>
#
# Runs under an X display (CTest wraps it in xvfb-run). Exits 77 (CTest: skipped) when the Node
# packages are not installed: tools/setup.sh installs them with `npm ci` in this folder.
set -uo pipefail

here="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
node="$here/node_modules/.bin/node"
if [ ! -x "$node" ] || [ ! -d "$here/node_modules/@modelcontextprotocol/sdk" ]; then
  echo "SKIPPED: the MCP client packages are not installed (bash tools/setup.sh test installs them; or run npm ci in $here)"
  exit 77
fi

work="$(mktemp -d "${TMPDIR:-/tmp}/lmd-cloud-e2e.XXXXXX")"
trap 'rm -rf "$work"' EXIT
mkdir -p "$(realpath -m "$3")"

cd "$here"
LMD_EDITOR="$(realpath "$1")" LMD_CLOUD="$(realpath "$2")" LMD_E2E_ARTIFACTS="$(realpath -m "$3")" \
  LMD_E2E_GAME="$here/data/e2e-game.xml" LMD_E2E_WORK="$work" \
  "$node" --test --test-reporter=spec cloud-e2e.mjs
code=$?
if [ "$code" -ne 0 ]; then
  for log in "$work"/*.log; do
    [ -f "$log" ] || continue
    echo "--- $(basename "$log") (last lines)"
    grep -v '^ALSA' "$log" | tail -30
  done
fi
exit "$code"
