#!/usr/bin/env bash
# check.sh BUILD_DIRECTORY: unmodified programs on our driver manager, over real drivers. pyodbc and iusql speak UTF-16;
# PHP and isql speak bytes. The servers are the script's own, on loopback ports, and end with it.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
library=$(cd "$1" && pwd)/lib
drivers=/usr/lib/$(uname -m)-linux-gnu/odbc
scratch=$(mktemp -d)
chmod 711 "$scratch"
mariadb=
stop() {
  [ -z "$mariadb" ] || kill "$mariadb" 2>/dev/null || true
  [ ! -d "$scratch/postgres/data" ] || as postgres "$postgres/pg_ctl" -D "$scratch/postgres/data" -m immediate stop >/dev/null || true
  [ -z "$mariadb" ] || wait "$mariadb" 2>/dev/null || true
  rm -rf "$scratch"
}
trap stop EXIT

# As the user of a server where that is another one: servers refuse to run as root.
as() {
  local user=$1
  shift
  if [ "$(id -u)" -eq 0 ]; then (cd / && runuser -u "$user" -- "$@"); else "$@"; fi
}
room() {
  mkdir "$scratch/$1"
  [ "$(id -u)" -ne 0 ] || chown "$1" "$scratch/$1"
}
free_port() { python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])'; }
fail() {
  echo "$*" >&2
  exit 1
}

postgres=$(ls -d /usr/lib/postgresql/*/bin | tail -1)
postgres_port=$(free_port)
room postgres
as postgres "$postgres/initdb" -D "$scratch/postgres/data" -A trust -U postgres -E UTF8 --locale=C --no-sync >/dev/null
as postgres "$postgres/pg_ctl" -D "$scratch/postgres/data" -l "$scratch/postgres/log" -w -t 60 \
  -o "-F -p $postgres_port -h 127.0.0.1 -k ''" start >/dev/null

mariadb_port=$(free_port)
room mysql
as mysql mariadb-install-db --no-defaults --datadir="$scratch/mysql/data" --auth-root-authentication-method=normal \
  >"$scratch/install.log" 2>&1 || fail "$(cat "$scratch/install.log")"
if [ "$(id -u)" -eq 0 ]; then user=(--user=mysql); else user=(); fi
mariadbd --no-defaults "${user[@]}" --datadir="$scratch/mysql/data" --socket="$scratch/mysql/socket" \
  --pid-file="$scratch/mysql/pid" --bind-address=127.0.0.1 --port="$mariadb_port" --character-set-server=utf8mb4 \
  >"$scratch/mariadb.log" 2>&1 &
mariadb=$!
for _ in $(seq 100); do
  mariadb-admin --no-defaults --socket="$scratch/mysql/socket" -u root ping >/dev/null 2>&1 && break
  sleep 0.2
done
mariadb --no-defaults --socket="$scratch/mysql/socket" -u root -e "
  create database clients; create user 'u'@'127.0.0.1' identified by 'p'; grant all on clients.* to 'u'@'127.0.0.1'"

export ODBCINI=$scratch/odbc.ini ODBCSYSINI=$scratch
: >"$scratch/odbcinst.ini"
# Each data source twice: with the driver's own cursors, and with the cursor library.
source_of() {
  for cursors in driver library; do
    printf '[%s-%s]\nIANAAppCodePage=106\nCursors=%s\n' "$1" $cursors $cursors
    printf '%s\n' "${@:2}"
  done
}
{
  source_of sqlite "Driver=$drivers/libsqlite3odbc.so" "Database=$scratch/sqlite.db"
  for form in a w; do
    source_of "postgres$form" "Driver=$drivers/psqlodbc$form.so" Servername=127.0.0.1 "Port=$postgres_port" \
      Database=postgres Username=postgres
  done
  source_of mariadb "Driver=$drivers/libmaodbc.so" SERVER=127.0.0.1 "PORT=$mariadb_port" DATABASE=clients UID=u PWD=p \
    CHARSET=utf8mb4
} >"$scratch/odbc.ini"

export LD_LIBRARY_PATH=$library/compat
for cursors in driver library; do
  scroll=()
  [ $cursors = driver ] || scroll=(scroll)
  for source in sqlite postgresa postgresw mariadb; do
    options=()
    [ $source != postgresa ] || options=(narrow)
    [ $source != mariadb ] || options=(short)
    [ $source != sqlite ] || options=(single)
    timeout 120 /usr/bin/python3 "$here/client.py" "DSN=$source-$cursors" "${options[@]}" || fail "pyodbc: $source-$cursors"
    timeout 60 php "$here/client.php" "$source-$cursors" "${scroll[@]}" || fail "PHP: $source-$cursors"
    answer=$(printf 'select 40 + 2\n' | timeout 60 isql -b "$source-$cursors" -v)
    grep -q 42 <<<"$answer" || fail "isql: $source-$cursors: $answer"
    [ $source != postgresa ] || continue  # a driver without UTF-16 data
    answer=$(printf 'select 40 + 2\n' | timeout 60 iusql -b "$source-$cursors" -v)
    grep -q 42 <<<"$answer" || fail "iusql: $source-$cursors: $answer"
  done
done
echo "pyodbc, PHP, isql and iusql run over SQLite, PostgreSQL (both drivers) and MariaDB, with and without the cursor library"
