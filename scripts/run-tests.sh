#!/usr/bin/env bash
# Runs every test of a build folder through CTest.
set -euo pipefail
build_dir="${1:-build}"
ctest --test-dir "$build_dir" --output-on-failure -j "$(nproc)"
