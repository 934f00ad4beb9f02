# Shared helpers of scripts/test and scripts/run: a private PostgreSQL 15
# cluster started from the Debian binaries. Sourced, not run.

PG_BIN=${PG_BIN:-/usr/lib/postgresql/15/bin}

# Runs a command as the owner of the cluster: initdb refuses root, so as root
# the cluster belongs to "postgres".
as_pg() {
  if [ "$(id -u)" -eq 0 ]; then
    runuser -u postgres -- "$@"
  else
    "$@"
  fi
}

free_port() {
  python3 - <<'PY'
import socket
s = socket.socket()
s.bind(("127.0.0.1", 0))
print(s.getsockname()[1])
s.close()
PY
}

# pg_init DATADIR: creates a cluster with trust authentication for local use.
pg_init() {
  local data=$1
  mkdir -p "$data"
  [ "$(id -u)" -eq 0 ] && chown postgres "$data" "$(dirname "$data")"
  chmod 700 "$data"
  as_pg "$PG_BIN/initdb" -D "$data" -U postgres -A trust -E UTF8 \
    --locale=C.UTF-8 --no-sync >/dev/null
}

# pg_start DATADIR SOCKETDIR PORT [extra postgres options]
pg_start() {
  local data=$1 sock=$2 port=$3
  shift 3
  mkdir -p "$sock"
  [ "$(id -u)" -eq 0 ] && chown postgres "$sock"
  as_pg "$PG_BIN/pg_ctl" -D "$data" -l "$data/server.log" -w -t 60 \
    -o "-k $sock -p $port -c listen_addresses='' $*" start >/dev/null
}

pg_stop() {
  as_pg "$PG_BIN/pg_ctl" -D "$1" -m fast -w stop >/dev/null 2>&1 || true
}

# load_demo DBNAME: a database with schema, script store, initial data and
# the demo register.
load_demo() {
  local db=$1 root=$2
  createdb "$db"
  psql -q -X -v ON_ERROR_STOP=1 -d "$db" \
    -f "$root/db/schema.sql" -f "$root/db/scripts.sql" -f "$root/db/init.sql" \
    -f "$root/db/demo.sql" >/dev/null
}
