#!/usr/bin/env bash
# Runs every libFuzzer target of a build for SECONDS each, on a scratch copy of its seed
# corpus (tests/fuzz/corpus/<target>/), so the corpus in the repository stays small.
# Fails when any target finds a crash; the crashing inputs are kept in BUILD_DIR/fuzz-artifacts.
#
#   scripts/run-fuzzers.sh BUILD_DIR SECONDS
set -euo pipefail

build=${1:?usage: run-fuzzers.sh BUILD_DIR SECONDS}
seconds=${2:?usage: run-fuzzers.sh BUILD_DIR SECONDS}
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
artifacts="$build/fuzz-artifacts"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

shopt -s nullglob
targets=("$build"/tests/fuzz/*_fuzz)
if [ ${#targets[@]} -eq 0 ]; then
  echo "run-fuzzers: no fuzz targets in $build/tests/fuzz" >&2
  exit 1
fi

failed=0
for exe in "${targets[@]}"; do
  [ -x "$exe" ] || continue
  name=$(basename "$exe")
  corpus="$work/$name"
  mkdir -p "$corpus" "$work/$name.crashes"
  if [ -d "$root/tests/fuzz/corpus/$name" ]; then
    cp "$root/tests/fuzz/corpus/$name"/. "$corpus"/ -r
  fi
  echo "== $name: ${seconds}s"
  if "$exe" -max_total_time="$seconds" -timeout=20 -print_final_stats=1 \
      -artifact_prefix="$work/$name.crashes/" "$corpus" >"$work/$name.log" 2>&1; then
    grep -E '^stat::number_of_executed_units|^Done ' "$work/$name.log" || true
  else
    echo "!! $name found a crash:" >&2
    tail -n 40 "$work/$name.log" >&2
    mkdir -p "$artifacts"
    cp "$work/$name.crashes"/* "$artifacts"/ 2>/dev/null || true
    failed=1
  fi
done

if [ $failed -ne 0 ]; then
  echo "run-fuzzers: crashing inputs kept in $artifacts" >&2
fi
exit $failed
