#!/usr/bin/env bash
# Runs one fuzz target for a while (see docs/building.md, "Fuzzing"):
#
#   tools/fuzz.sh TARGET SECONDS [libFuzzer options...]
#   tools/fuzz.sh --list
#
# Builds the target in build-fuzz/ (clang, libFuzzer, AddressSanitizer, UndefinedBehaviorSanitizer)
# when needed, then runs it with its dictionary on a scratch copy of its seed corpus
# (fuzz/corpus/TARGET) and of its kept findings (fuzz/regressions/TARGET), so the repository's
# corpus never fills up. Every kept finding is replayed first. An input that breaks a property is
# written to build-fuzz/fuzz-findings/TARGET/ and the script fails.
#
# Environment: LMD_FUZZ_BUILD_DIR (default build-fuzz), LMD_FUZZ_NO_BUILD=1 (use the build as it
# is), LMD_FUZZ_WORK (keep the scratch corpus and the log in this folder instead of a temporary
# one), LMD_FUZZ_JOBS (build jobs, default 2).
set -euo pipefail

here="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${LMD_FUZZ_BUILD_DIR:-$here/build-fuzz}"

targets() { sed -n 's/^lmd_fuzz_target(\([a-z_0-9]*\).*/\1/p' "$here/fuzz/CMakeLists.txt"; }

if [ "${1:-}" = "--list" ]; then
  targets
  exit 0
fi
if [ $# -lt 2 ] || ! [[ "$2" =~ ^[0-9]+$ ]]; then
  echo "usage: tools/fuzz.sh TARGET SECONDS [libFuzzer options...]   (targets: tools/fuzz.sh --list)" >&2
  exit 2
fi
target="$1"
seconds="$2"
shift 2
if ! targets | grep -qx "$target"; then
  echo "fuzz.sh: no target '$target'; the targets are:" >&2
  targets >&2
  exit 2
fi

if [ -z "${LMD_FUZZ_NO_BUILD:-}" ]; then
  if [ ! -f "$build/build.ninja" ]; then
    CC=clang CXX=clang++ cmake -S "$here" -B "$build" -G Ninja -DLMD_FUZZ=ON >/dev/null
  fi
  cmake --build "$build" -j "${LMD_FUZZ_JOBS:-2}" --target "fuzz_$target"
fi
binary="$build/fuzz/fuzz_$target"
if [ ! -x "$binary" ]; then
  echo "fuzz.sh: $binary is not built (configure with -DLMD_FUZZ=ON and clang)" >&2
  exit 2
fi

if [ -n "${LMD_FUZZ_WORK:-}" ]; then
  work="$LMD_FUZZ_WORK"
  mkdir -p "$work"
else
  work="$(mktemp -d "${TMPDIR:-/tmp}/lmd-fuzz-$target.XXXXXX")"
  trap 'rm -rf "$work"' EXIT
fi
mkdir -p "$work/corpus" "$work/findings"
for seeds in "$here/fuzz/corpus/$target" "$here/fuzz/regressions/$target"; do
  if [ -d "$seeds" ]; then
    cp -n "$seeds"/* "$work/corpus/" 2>/dev/null || true
  fi
done

options=(-max_total_time="$seconds" -timeout=25 -rss_limit_mb=2048 -print_final_stats=1
  -artifact_prefix="$work/findings/")
dict="$build/fuzz-dict/$target.dict"
if [ -s "$dict" ]; then
  options+=(-dict="$dict")
fi

status=0
"$binary" "${options[@]}" "$@" "$work/corpus" > "$work/fuzz.log" 2>&1 || status=$?
grep -E '^#[0-9]+.*(INITED|DONE)|^stat::(number_of_executed_units|average_exec_per_sec|peak_rss_mb)' \
  "$work/fuzz.log" || true
if [ "$status" -ne 0 ]; then
  kept="$build/fuzz-findings/$target"
  mkdir -p "$kept"
  cp "$work/findings"/* "$kept/" 2>/dev/null || true
  tail -n 60 "$work/fuzz.log" >&2
  echo "fuzz.sh: $target broke a property or crashed; the input is in $kept/" >&2
  exit 1
fi
echo "fuzz.sh: $target ran $seconds s without a finding"
