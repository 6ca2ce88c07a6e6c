#!/usr/bin/env bash
# The demo: writes the demo company database (2 companies, 2 establishments each, 3,000
# documents in January 2026) and prints the report for every establishment, entries and exits,
# all taxes, natures, other information and the CFOP summary, as PDF, text and sections trace.
set -euo pipefail
build_dir="${1:-build}"
mkdir -p out
"$build_dir/bin/nrw-report" demo-db out/demo.db --docs 3000 --seed 1
params=(--db out/demo.db --quiet
  --set pDataInicial=01/01/2026 --set pDataFinal=31/01/2026
  --set pTipoMovimento=12 --set "pTipoImposto=1;2;10;11;12;13;15"
  --set pListarTotalImposto=1 --set pListarOutrasInfo=1 --set pExibirDadosNatureza=1
  --set pExibirDadosPessoa=1 --set pExibirDadosProduto=1 --set pTotalizar=4
  --estab 1:1 --estab 1:2 --estab 2:1 --estab 2:2)
"$build_dir/bin/nrw-report" print "${params[@]}" --format pdf --output out/resumo.pdf
"$build_dir/bin/nrw-report" print "${params[@]}" --format text --output out/resumo.txt
"$build_dir/bin/nrw-report" print "${params[@]}" --format sections --output out/resumo.sections.jsonl
"$build_dir/bin/nrw-report" print "${params[@]}" --format xlsx --output out/resumo.xlsx
echo "demo: out/resumo.pdf, out/resumo.txt, out/resumo.sections.jsonl and out/resumo.xlsx (company database: out/demo.db)"

# A second report, of real books: an EFD ICMS/IPI file imported into its own database (a public
# sample from ../shared when present, else the project's own example file).
sample="$(cd "$(dirname "$0")/.." && pwd)/../shared/data/sped/efd_ce_fortcolor-0002_2012-03_v005.txt"
if [ -f "$sample" ]; then
  efd="$sample" from=01/03/2012 to=31/03/2012
else
  efd="$(dirname "$0")/../schema/efd/exemplo-2020-09.txt" from=01/09/2020 to=30/09/2020
fi
rm -f out/efd.db
"$build_dir/bin/nrw-report" import-efd --quiet --db out/efd.db "$efd"
efd_params=(--db out/efd.db --quiet --estab 1:1 --from "$from" --to "$to" --entries --exits
  --taxes icms,ipi,st,pis --summary cfop --set pListarOutrasInfo=1)
"$build_dir/bin/nrw-report" print "${efd_params[@]}" --format pdf --output out/efd.pdf
"$build_dir/bin/nrw-report" print "${efd_params[@]}" --format text --output out/efd.txt
echo "demo: out/efd.pdf and out/efd.txt, the books of $(basename "$efd") (database: out/efd.db)"
