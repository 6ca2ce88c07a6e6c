#!/usr/bin/env bash
# A throwaway PostgreSQL cluster for the tests, on 127.0.0.1 and a free port, in a temporary
# folder, run as an unprivileged user (the postgres account when started as root). The postgres
# role is trusted; other roles log in with a password.
#   pg-throwaway.sh start DIR   prints the connection URL; the cluster lives in DIR
#   pg-throwaway.sh stop DIR    stops it and removes DIR
#   pg-throwaway.sh halt DIR    stops it and keeps DIR: a later start reuses the cluster and
#                               its databases (the benchmarks cache their databases so)
set -euo pipefail

command=${1:?start or stop}
dir=${2:?folder}
# The server takes the folder for its socket as given, from its own working directory.
dir=$(realpath -m -- "$dir")

bin_dir=$(ls -d /usr/lib/postgresql/*/bin 2>/dev/null | sort -V | tail -1 || true)
if [ -z "$bin_dir" ] || [ ! -x "$bin_dir/initdb" ]; then
  echo "pg-throwaway: PostgreSQL server binaries not found" >&2
  exit 2
fi

run_as() {
  if [ "$(id -u)" -eq 0 ]; then
    runuser -u postgres -- "$@"
  else
    "$@"
  fi
}

free_port() {
  python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1]); s.close()'
}

case "$command" in
  start)
    mkdir -p "$dir"
    if [ "$(id -u)" -eq 0 ]; then
      chown postgres "$dir"
    fi
    if [ ! -f "$dir/data/PG_VERSION" ]; then
      run_as "$bin_dir/initdb" -D "$dir/data" -A trust -U postgres -E UTF8 --locale=C.UTF-8 >"$dir/initdb.log" 2>&1
    fi
    # The postgres account gets in without a password (the tests' own administration); every
    # other role must give its password, so the password paths of libpq can be tested.
    run_as tee "$dir/data/pg_hba.conf" >/dev/null <<'HBA'
local all postgres trust
host  all postgres 127.0.0.1/32 trust
local all all scram-sha-256
host  all all 127.0.0.1/32 scram-sha-256
HBA
    port=$(free_port)
    run_as "$bin_dir/pg_ctl" -D "$dir/data" -l "$dir/server.log" -w -t 60 \
      -o "-p $port -k $dir -c listen_addresses=127.0.0.1 -c fsync=off -c full_page_writes=off" \
      start >/dev/null
    echo "postgresql://postgres@127.0.0.1:$port/postgres"
    ;;
  stop)
    if [ -d "$dir/data" ]; then
      run_as "$bin_dir/pg_ctl" -D "$dir/data" -m fast -w stop >/dev/null 2>&1 || true
    fi
    rm -rf "$dir"
    ;;
  halt)
    if [ -d "$dir/data" ]; then
      run_as "$bin_dir/pg_ctl" -D "$dir/data" -m fast -w stop >/dev/null 2>&1 || true
    fi
    ;;
  *)
    echo "usage: pg-throwaway.sh start|stop|halt DIR" >&2
    exit 2
    ;;
esac
