#!/usr/bin/env bash
# The report against the raw read: wall time and peak resident memory of nrw-report on a month
# of one establishment, next to the time a database's own client takes to read that month's tax
# lines (all columns of the document and the tax line, ordered by key) to /dev/null.
#
#   bench/report.sh [--build DIR] [--sizes "187500 375000 750000"] [--runs 3]
#                   [--formats "sections text pdf"] [--storages "memory sqlite"]
#                   [--databases "sqlite postgresql"] [--out bench/RESULTS.md] [--cache DIR]
#
# Sizes are numbers of documents (750,000 give about 1,060,000 tax lines). The runs go in
# rounds: each round runs the raw read and every report of every size and database once, so that
# a slow stretch of the machine falls on all sizes and modes alike rather than on one size's
# cells; each cell is the median of its --runs rounds. Databases are generated once and cached (SQLite
# files and a PostgreSQL cluster under the cache folder, default bench/cache); set
# NRW_BENCH_PG_URL to use a server of your own instead of the cached cluster. The tables go to
# standard output and to --out, followed by bench/profile-notes.md (what the profile showed).
set -euo pipefail

here="$(cd "$(dirname "$0")" && pwd)"
root="$(cd "$here/.." && pwd)"
build="$root/build"
sizes="187500 375000 750000"
runs=3
formats="sections text pdf"
storages="memory sqlite"
databases="sqlite postgresql"
out="$here/RESULTS.md"
cache="${NRW_BENCH_CACHE:-$here/cache}"

while [ $# -gt 0 ]; do
  case "$1" in
    --build) build="$2"; shift 2 ;;
    --sizes) sizes="$2"; shift 2 ;;
    --runs) runs="$2"; shift 2 ;;
    --formats) formats="$2"; shift 2 ;;
    --storages) storages="$2"; shift 2 ;;
    --databases) databases="$2"; shift 2 ;;
    --out) out="$2"; shift 2 ;;
    --cache) cache="$2"; shift 2 ;;
    *) echo "report.sh: unknown option $1" >&2; exit 2 ;;
  esac
done

nrw="$build/bin/nrw-report"
[ -x "$nrw" ] || { echo "report.sh: $nrw not found; build first (make build)" >&2; exit 1; }
for tool in sqlite3 /usr/bin/time; do
  command -v "$tool" >/dev/null || { echo "report.sh: $tool is missing (scripts/install-deps.sh)" >&2; exit 1; }
done
mkdir -p "$cache"
work="$(mktemp -d "${TMPDIR:-/tmp}/nrw-bench.XXXXXX")"
pg_dir="$cache/pg"
pg_started=""
cleanup() {
  rm -rf "$work"
  if [ -n "$pg_started" ]; then
    bash "$root/scripts/pg-throwaway.sh" halt "$pg_dir"
  fi
}
trap cleanup EXIT

# The generator's version: a cached database is made again when the schema or the generator
# changes.
version="$(cd "$root" && git log -1 --format=%h -- schema 2>/dev/null || echo none)"
[ -n "$version" ] || version=none

# --- databases -------------------------------------------------------------------------------

sqlite_db() {  # docs -> path of the cached SQLite file
  local docs=$1 file="$cache/month-$1-$version.db"
  if [ ! -f "$file" ]; then
    echo "report.sh: generating $docs documents into $file" >&2
    "$nrw" demo-db "$file.part" --companies 1 --estabs 1 --docs "$docs" --seed 1 --quiet
    mv "$file.part" "$file"
  fi
  echo "$file"
}

# Sets `pg_url` to the server's maintenance database, starting the cached cluster once (in this
# shell, so that the exit handler halts it); returns 1 when no server can be had.
pg_url=""
pg_server() {
  if [ -n "$pg_url" ]; then
    return 0
  fi
  if [ -n "${NRW_BENCH_PG_URL:-}" ]; then
    pg_url="$NRW_BENCH_PG_URL"
    return 0
  fi
  pg_url="$(bash "$root/scripts/pg-throwaway.sh" start "$pg_dir")" || { pg_url=""; return 1; }
  pg_started=1
}

pg_db() {  # server-url docs -> URL of the cached database for that size
  local server=$1 docs=$2 name="nrw_bench_$2_$version"
  local url="${server%/*}/$name"
  if ! psql -XqtA "$server" -c "select 1 from pg_database where datname = '$name'" | grep -q 1; then
    echo "report.sh: generating $docs documents into PostgreSQL database $name" >&2
    psql -Xq "$server" -c "create database \"$name\""
    if ! "$nrw" demo-db "$url" --companies 1 --estabs 1 --docs "$docs" --seed 1 --quiet; then
      psql -Xq "$server" -c "drop database \"$name\""
      return 1
    fi
    # Settled before it is measured: otherwise the first reads write the fresh rows' hint bits
    # and autovacuum runs beside the measurements.
    psql -Xq "$url" -c "vacuum analyze"
  fi
  echo "$url"
}

# --- measuring -------------------------------------------------------------------------------

# The raw read: every column of the document and of its tax lines, entries then exits merged
# by key (position 3 is the document key, 21 the line's sequence).
raw_query() {
  local branch='select d.*, i.* from LCTOFIS%s d join LCTOFIS%sIMPOSTO i on i.CHAVELCTOFIS%s = d.CHAVELCTOFIS%s where d.CODIGOEMPRESA = 1 and d.CODIGOESTAB = 1 and d.DATALCTOFIS between '"'2026-01-01'"' and '"'2026-01-31'"
  printf "$branch union all $branch order by 3, 21" ENT ENT ENT ENT SAI SAI SAI SAI
}

median() { sort -n | awk '{v[NR]=$1} END {print v[int((NR+1)/2)]}'; }

# run_once COMMAND...: runs the command once, reading nothing; prints "wall_seconds peak_kb".
run_once() {
  if ! /usr/bin/time -f '%e %M' -o "$work/time" "$@" </dev/null >/dev/null 2>"$work/err"; then
    echo "report.sh: failed: $*" >&2
    cat "$work/err" >&2
    return 1
  fi
  awk 'END {print $1, $2}' "$work/time"
}

report_command() {  # db format storage: sets the array `command`
  command=("$nrw" print --db "$1" --estab 1:1 --from 01/01/2026 --to 31/01/2026 --entries --exits
    --taxes icms,iss,ipi,funrural,complementar,st,pis --set pListarOutrasInfo=1 --summary cfop
    --format "$2" --storage "$3" --output "$work/report.$2" --quiet)
}

tax_lines() {  # sqlite-file
  sqlite3 "$1" "select (select count(*) from LCTOFISENTIMPOSTO) + (select count(*) from LCTOFISSAIIMPOSTO)"
}

# Every month first ("tax-lines database target" a line), so that no generation falls between
# two measurements.
targets="$work/targets"
: >"$targets"
for docs in $sizes; do
  file="$(sqlite_db "$docs")"
  lines="$(tax_lines "$file")"
  for database in $databases; do
    case "$database" in
      sqlite) echo "$lines sqlite $file" >>"$targets" ;;
      postgresql)
        command -v psql >/dev/null || { echo "report.sh: psql missing; PostgreSQL skipped" >&2; continue; }
        if ! pg_server; then
          echo "report.sh: no PostgreSQL server could be started; PostgreSQL skipped" >&2
          continue
        fi
        echo "$lines postgresql $(pg_db "$pg_url" "$docs")" >>"$targets"
        ;;
      *) echo "report.sh: unknown database $database" >&2; exit 2 ;;
    esac
  done
done

# The rounds: "tax-lines database output storage wall peak_kb" a run.
runs_file="$work/runs"
: >"$runs_file"
for ((round = 1; round <= runs; round++)); do
  while read -r lines database target; do
    if [ "$database" = sqlite ]; then
      result="$(run_once sqlite3 "$target" "$(raw_query)")"
    else
      result="$(run_once psql -Xq "$target" -c "\\copy ($(raw_query)) to '/dev/null'")"
    fi
    echo "$lines $database baseline - $result" >>"$runs_file"
    echo "report.sh: round $round of $runs, $lines tax lines, $database, raw read: ${result% *} s" >&2
    for format in $formats; do
      for storage in $storages; do
        report_command "$target" "$format" "$storage"
        result="$(run_once "${command[@]}")"
        echo "$lines $database $format $storage $result" >>"$runs_file"
        echo "report.sh: round $round of $runs, $lines tax lines, $database, $format, $storage: ${result% *} s" >&2
      done
    done
  done <"$targets"
done

# The medians of each cell, in the order measured, and each with its raw read's median:
# "tax-lines database output storage wall peak_kb baseline_wall".
medians="$work/medians"
: >"$medians"
awk '!seen[$1 " " $2 " " $3 " " $4]++ {print $1, $2, $3, $4}' "$runs_file" |
  while read -r lines database output storage; do
    cell="$lines $database $output $storage"
    wall="$(awk -v cell="$cell" '$1 " " $2 " " $3 " " $4 == cell {print $5}' "$runs_file" | median)"
    rss="$(awk -v cell="$cell" '$1 " " $2 " " $3 " " $4 == cell {print $6}' "$runs_file" | median)"
    echo "$cell $wall $rss" >>"$medians"
  done
rows="$work/rows"
awk 'NR == FNR { if ($3 == "baseline") base[$1 " " $2] = $5; next } { print $0, base[$1 " " $2] }' \
  "$medians" "$medians" >"$rows"

# --- the tables ------------------------------------------------------------------------------

{
  echo "# Report benchmark"
  echo
  echo "\`bench/report.sh\` on $(nproc) cores ($(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2 | sed 's/^ *//')),"
  echo "commit $(cd "$root" && git rev-parse --short HEAD 2>/dev/null || echo unknown), $(date -u +%Y-%m-%d)."
  echo "One establishment's month: entries and exits, all taxes, other information and the CFOP"
  if [ "$runs" -eq 1 ]; then
    echo "summary. One run of each; ratio = wall time / the raw read of the same database and size."
  else
    echo "summary. Median of $runs rounds (each round runs every cell once); ratio = wall time / the raw"
    echo "read of the same database and size."
  fi
  echo
  echo "| tax lines | database | output | storage | wall (s) | peak RSS (MB) | ratio |"
  echo "|---:|---|---|---|---:|---:|---:|"
  # A raw read under the clock's hundredth of a second (a tiny month) gives no ratio.
  awk '{ratio = $7 > 0 ? sprintf("%.2f", $5 / $7) : "-"
        printf "| %s | %s | %s | %s | %.2f | %.0f | %s |\n", $1, $2, $3, $4, $5, $6 / 1024, ratio}' "$rows"
  echo
  echo "Growth: wall time at each size over the wall time at the size before it."
  echo
  echo "| database | output | storage | tax lines | wall (s) | growth |"
  echo "|---|---|---|---:|---:|---:|"
  sort -k2,2 -k3,3 -k4,4 -k1,1n "$rows" | awk '
    { mode = $2 " " $3 " " $4
      growth = (mode == last_mode && last_wall > 0) ? sprintf("%.2f for %.2fx the lines", $5 / last_wall, $1 / last_lines) : "-"
      printf "| %s | %s | %s | %s | %.2f | %s |\n", $2, $3, $4, $1, $5, growth
      last_mode = mode; last_wall = $5; last_lines = $1 }'
  if [ -f "$here/profile-notes.md" ]; then
    echo
    cat "$here/profile-notes.md"
  fi
} >"$work/table.md"

mkdir -p "$(dirname "$out")"
cp "$work/table.md" "$out"
cat "$work/table.md"
