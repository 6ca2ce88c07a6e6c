#!/usr/bin/env bash
# Runs every test of a build folder through CTest, with a throwaway PostgreSQL cluster for the
# tests that need one (they skip, saying so, when it cannot be started).
set -euo pipefail
build_dir="${1:-build}"
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

ctest --test-dir "$build_dir" --output-on-failure -j "$(nproc)"
