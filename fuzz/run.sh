#!/usr/bin/env bash
# Runs every libFuzzer program of a fuzz build for a fixed time, starting from the checked-in
# corpus; inputs that reach new code are merged into fuzz/corpus/<target> (commit them), and a
# crashing input is kept as fuzz/crashes/<target>-crash-* (make it a corpus file once fixed).
#   fuzz/run.sh BUILD_DIR SECONDS
set -euo pipefail
build_dir=${1:?build folder}
seconds=${2:-60}
here="$(cd "$(dirname "$0")" && pwd)"
mkdir -p "$here/crashes"
status=0
for target in filter layout conversions efd_reader; do
  work="$(mktemp -d "${TMPDIR:-/tmp}/nrw-fuzz.XXXXXX")"
  if ! "$build_dir/bin/fuzz_$target" -max_total_time="$seconds" -print_final_stats=1 \
      -artifact_prefix="$here/crashes/$target-" "$work" "$here/corpus/$target" >"$work.log" 2>&1; then
    echo "fuzz: $target crashed; see $here/crashes/" >&2
    status=1
  fi
  runs=$(grep -m1 'stat::number_of_executed_units' "$work.log" | awk '{print $2}')
  "$build_dir/bin/fuzz_$target" -merge=1 "$here/corpus/$target" "$work" >/dev/null 2>&1 || true
  echo "fuzz: $target: ${runs:-?} executions in $seconds s; corpus $(ls "$here/corpus/$target" | wc -l) files"
  rm -rf "$work" "$work.log"
done
exit $status
