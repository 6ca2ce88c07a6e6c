#!/usr/bin/env bash
# Runs every test of the build folders given (default: build) through CTest, with a throwaway
# PostgreSQL cluster for the tests that need one (they skip, saying so, when it cannot start).
set -euo pipefail
[ $# -gt 0 ] || set -- build
here="$(cd "$(dirname "$0")" && pwd)"

pg_dir="$(mktemp -d "${TMPDIR:-/tmp}/nrw-pg.XXXXXX")"
cleanup() { bash "$here/pg-throwaway.sh" stop "$pg_dir"; }
trap cleanup EXIT

if url="$(bash "$here/pg-throwaway.sh" start "$pg_dir" 2>/dev/null)"; then
  export NRW_TEST_PG_URL="$url"
  echo "run-tests: PostgreSQL test cluster at $url"
else
  echo "run-tests: PostgreSQL could not be started; its tests will be skipped"
  cat "$pg_dir"/*.log 2>/dev/null | tail -5 || true
fi

# Every build folder named runs the suite against the same cluster (the release build and the
# AddressSanitizer + UndefinedBehaviorSanitizer one).
for dir in "$@"; do
  echo "run-tests: $dir"
  ctest --test-dir "$dir" --output-on-failure -j "$(nproc)"
done
