#!/usr/bin/env bash
# Runs bench/report.sh on a small month (one run of each mode), so that the benchmark script
# cannot rot, and checks that its table has a row for every mode. It times nothing that a test
# judges: the figures are the benchmark's business.
set -euo pipefail
source_dir=$1
build_dir=$2
work="$(mktemp -d "${TMPDIR:-/tmp}/nrw-bench-smoke.XXXXXX")"
trap 'rm -rf "$work"' EXIT

databases=sqlite
if [ -n "${NRW_TEST_PG_URL:-}" ]; then
  databases="sqlite postgresql"
  export NRW_BENCH_PG_URL="$NRW_TEST_PG_URL"
fi
bash "$source_dir/bench/report.sh" --build "$build_dir" --sizes 600 --runs 1 \
  --databases "$databases" --cache "$work/cache" --out "$work/results.md" >/dev/null

status=0
for database in $databases; do
  for mode in "baseline | -" "sections | memory" "sections | sqlite" "text | memory" \
    "text | sqlite" "pdf | memory" "pdf | sqlite"; do
    # The ratio is "-" when the raw read of so small a month is under the clock's resolution.
    if ! grep -Eq "^\| [0-9]+ \| $database \| ${mode//|/\\|} \| [0-9.]+ \| [0-9]+ \| ([0-9.]+|-) \|$" \
      "$work/results.md"; then
      echo "bench_report_smoke: no row for $database, $mode" >&2
      status=1
    fi
  done
done
grep -q '^| database | output | storage | tax lines | wall (s) | growth |$' "$work/results.md" ||
  { echo "bench_report_smoke: no growth table" >&2; status=1; }
exit $status
