#!/bin/sh
# A PostgreSQL server on a free port of loopback, in a directory of its own, for as long as standard input is
# open. Prints "port" and its number, or why there is none.

# The server refuses to run as root. The user that it runs as may not be allowed to read this file.
[ "$(id -u)" != 0 ] || exec runuser -u postgres -- sh -c "$(cat "$0")"

bin=$(ls -d /usr/lib/postgresql/*/bin 2>/dev/null | sort -V | tail -n 1)
[ -n "$bin" ] || { echo "no PostgreSQL server is installed"; exit 1; }
umask 077
dir=$(mktemp -d /tmp/zulibpgXXXXXX) && cd "$dir" || exit 1
trap 'rm -rf "$dir"' EXIT
trap '' INT TERM HUP
timeout 60 "$bin/initdb" -D data -A trust -U postgres -E UTF8 --locale=C --no-sync >log 2>&1 </dev/null ||
  { cat log; exit 1; }
for port in $(shuf -i 20000-32000 -n 5) none; do
  timeout 60 "$bin/pg_ctl" -D data -l server -w -t 50 -o "-F -p $port -h 127.0.0.1 -k ''" start >>log 2>&1 </dev/null &&
    break
done
[ "$port" != none ] || { cat log server; exit 1; }
echo "port $port"
exec >/dev/null 2>&1
read -r _
"$bin/pg_ctl" -D data -m immediate -w -t 30 stop
