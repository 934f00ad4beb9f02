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

# pg_init DATADIR: creates a cluster whose local socket trusts its users (the
# superuser sets things up there) and whose TCP port asks for SCRAM passwords
# (the system connects there, as ordinary roles).
pg_init() {
  local data=$1
  mkdir -p "$data"
  [ "$(id -u)" -eq 0 ] && chown postgres "$data" "$(dirname "$data")"
  chmod 700 "$data"
  as_pg "$PG_BIN/initdb" -D "$data" -U postgres --auth-local=trust \
    --auth-host=scram-sha-256 -E UTF8 --locale=C.UTF-8 --no-sync >/dev/null
}

# pg_start DATADIR SOCKETDIR PORT [extra postgres options]
pg_start() {
  local data=$1 sock=$2 port=$3
  shift 3
  mkdir -p "$sock"
  [ "$(id -u)" -eq 0 ] && chown postgres "$sock"
  as_pg "$PG_BIN/pg_ctl" -D "$data" -l "$data/server.log" -w -t 60 \
    -o "-k $sock -p $port -c listen_addresses=127.0.0.1 $*" start >/dev/null
}

pg_stop() {
  as_pg "$PG_BIN/pg_ctl" -D "$1" -m fast -w stop >/dev/null 2>&1 || true
}

# The system's roles on the cluster (run as the superuser, over the socket):
# rejects_login, the role every workstation connects as before login, with
# the password REJECTS_LOGIN_PASSWORD (default "rejects_login").
make_login_role() {
  local password=${REJECTS_LOGIN_PASSWORD:-rejects_login}
  psql -q -X -v ON_ERROR_STOP=1 -d postgres -v pw="$password" <<'SQL' >/dev/null
SELECT NOT EXISTS (SELECT 1 FROM pg_roles WHERE rolname = 'rejects_login') AS missing \gset
\if :missing
CREATE ROLE rejects_login;
\endif
ALTER ROLE rejects_login LOGIN PASSWORD :'pw';
SQL
}

# load_demo DBNAME ROOT [OWNER]: a database with schema, script store,
# initial data, users and rights, and the demo register. db/roles.sql is the
# privileged step; everything else loads as rejects_owner.
load_demo() {
  local db=$1 root=$2 owner=${3:-}
  createdb ${owner:+-O "$owner"} "$db"
  PGOPTIONS="-c client_min_messages=warning" \
    psql -q -X -v ON_ERROR_STOP=1 -d "$db" -f "$root/db/roles.sql" \
    -c 'SET ROLE rejects_owner' \
    -f "$root/db/schema.sql" -f "$root/db/scripts.sql" -f "$root/db/init.sql" \
    -f "$root/db/users.sql" -f "$root/db/rights.sql" -f "$root/db/demo.sql" >/dev/null
}
