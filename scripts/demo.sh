#!/usr/bin/env bash
# The demo: runs the report module through the host program for January 2026.
set -euo pipefail
build_dir="${1:-build}"
"$build_dir/bin/nrw-report" print \
  --set pDataInicial=01/01/2026 --set pDataFinal=31/01/2026 \
  --set pTipoMovimento=12 --set pTipoImposto="1;2;10;11;12;13;15" \
  --estab 1:1
