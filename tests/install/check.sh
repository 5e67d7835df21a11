#!/usr/bin/env bash
# Installs a build into a scratch directory and uses the result as a stranger would: every installed
# header alone, the README's examples through the CMake package and through pkg-config, the demo.
#
# usage: check.sh BUILD_DIRECTORY
set -euo pipefail
cd "$(dirname "$0")/../.."
build=$1
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
passed=0

pass() {
  passed=$((passed + 1))
  echo "ok: $*"
}
fail() {
  echo "FAILED: $*" >&2
  exit 1
}

cmake --install "$build" --prefix "$scratch/prefix" >/dev/null
include=$scratch/prefix/include
libdir=$(dirname "$(find "$scratch/prefix" -name libzulib.so)")

# Each header compiles alone: in C++17, and in C where all it declares has C linkage.
count=0
while read -r header; do
  g++ -std=c++17 -Wall -Wextra -Werror -I "$include" -x c++ -fsyntax-only "$include/$header" || fail "$header in C++17"
  count=$((count + 1))
done < <(cd "$include" && find . -name '*.h' | sort)
[ "$count" -gt 5 ] || fail "only $count headers were installed"
for header in cursor/entry/cursorlib.h net/connection.h; do
  gcc -Wall -Wextra -Werror -I "$include" -x c -fsyntax-only "$include/zulib/$header" || fail "$header in C"
done
pass "$count headers compile alone"

# Only the interface is visible, under a version. (grep reads all of its input here: one that stops at the first
# hit would fail the command in front of it.)
undecorated=$(nm -D --defined-only "$libdir/libzulib.so" "$libdir/libzuodbc.so" | grep -E ' [TDBRVW] ' | grep -vc '@@ZU' || true)
[ "$undecorated" -eq 0 ] || fail "$undecorated exported symbols have no version"
for name in CLFetchScroll ConnectionOpen MapHostNameToAddress GSSLock; do
  nm -D --defined-only "$libdir/libzulib.so" | grep " $name@@" >/dev/null || fail "$name is not exported"
done
nm -D --defined-only "$libdir/libzulib.so" | grep ' SQLFetch@@' >/dev/null && fail "libzulib.so exports SQLFetch"
nm -D --defined-only "$libdir/libzuodbc.so" | grep ' SQLFetch@@' >/dev/null || fail "SQLFetch is not exported"
readelf -d "$libdir/libzulib.so" | grep 'SONAME.*libzulib.so.0' >/dev/null || fail "libzulib.so has no SONAME"
pass "exports and SONAME"

# The examples that the README shows: an application and a driver's first lines.
example=$scratch/example
mkdir "$example"
block() { awk -v wanted="$1" '/^```/ { inside = /^```cpp$/ && ++n == wanted; next } inside' README.md; }
block 1 >"$example/application.cpp"
block 2 >"$example/driver.cpp"
grep -q SQLFetchScroll "$example/application.cpp" || fail "the README shows no application"
grep -q ZuErrorList "$example/driver.cpp" || fail "the README shows no driver"
printf '[mydata]\nServer = db.example\n' >"$scratch/animals.ini"

# Runs an example program in the scratch directory and looks for the text that it has to print.
run_example() {
  local output
  output=$(cd "$scratch" && LD_LIBRARY_PATH=$libdir "$1") || fail "$1 ended with an error: $output"
  grep -q "$2" <<<"$output" || fail "$1 printed: $output"
}

cat >"$example/CMakeLists.txt" <<'CMAKE'
cmake_minimum_required(VERSION 3.25)
project(example LANGUAGES CXX)
find_package(zulib REQUIRED)
add_executable(application application.cpp)
target_link_libraries(application PRIVATE zulib::zuodbc)
add_executable(driver driver.cpp)
target_link_libraries(driver PRIVATE zulib::zulib)
CMAKE
cmake -S "$example" -B "$example/build" -G Ninja -DCMAKE_PREFIX_PATH="$scratch/prefix" >/dev/null
cmake --build "$example/build" >/dev/null || fail "the README's examples do not build by the CMake package"
run_example "$example/build/application" Zebra
run_example "$example/build/driver" 'server: db.example'
run_example "$example/build/driver" 'source: mydata, code page: UTF-8'
pass "the README's examples through find_package"

export PKG_CONFIG_PATH=$libdir/pkgconfig
g++ -std=c++17 "$example/application.cpp" -o "$example/by_pkgconfig" $(pkg-config --cflags --libs zuodbc) ||
  fail "the application does not build by pkg-config"
run_example "$example/by_pkgconfig" Zebra
g++ -std=c++17 "$example/driver.cpp" -o "$example/driver_by_pkgconfig" $(pkg-config --cflags --libs zulib) ||
  fail "the driver does not build by pkg-config"
run_example "$example/driver_by_pkgconfig" '1509: The file no/such/directory/log was not found.'
pass "the README's examples through pkg-config"

for source in examples/*/; do
  name=$(basename "$source")
  cmake -S "$source" -B "$scratch/$name" -G Ninja -DCMAKE_PREFIX_PATH="$scratch/prefix" >/dev/null
  cmake --build "$scratch/$name" >/dev/null || fail "$source does not build"
done

# The demo: its exit code, and one line that only a working cursor prints.
demo=$(env -u LC_ALL -u LC_MESSAGES -u LANG "$scratch/scroll/scroll") || fail "the demo ended with an error: $demo"
grep -q '5000 rows delivered going backwards' <<<"$demo" || fail "the demo printed: $demo"
grep -q '99.5' <<<"$demo" || fail "the demo shows no updated row"
grep -q '34000:.*No statement of this connection has a cursor of this name' <<<"$demo" || fail "the demo shows no error"
demo=$(env -u LC_ALL -u LC_MESSAGES LANG=de_DE.UTF-8 "$scratch/scroll/scroll")
grep -q '34000:.*Keine Anweisung dieser Verbindung hat einen Cursor dieses Namens' <<<"$demo" ||
  fail "the demo's error is not German: $demo"
pass "the demo"

# The shell, which finds its libraries beside itself.
"$scratch/prefix/bin/zusql" "Driver=SQLite3;Database=$scratch/shell.db" -F csv \
  -e "create table t (a integer); insert into t values (7); select a from t" >"$scratch/shell.csv" ||
  fail "zusql ended with an error"
[ "$(tr -d '\r' <"$scratch/shell.csv" | paste -sd' ')" = "a 7" ] || fail "zusql printed: $(cat "$scratch/shell.csv")"
pass "the shell"

# Lines sorted through files, in the order and with the bytes of the system's sort; some are long, some equal,
# and the last one does not end.
awk 'BEGIN { srand(1); for (i = 0; i < 30000; i++) { line = int(rand() * 5000) "," i; if (i % 1000 == 0) while (length(line) < 3000) line = line line; print line }
     printf "7,end" }' >"$scratch/lines"
LC_ALL=C sort -s -k 1.2,1.4 "$scratch/lines" >"$scratch/expected"
mkdir "$scratch/sorttmp"
for memory in 128K 4M; do
  TMPDIR=$scratch/sorttmp "$scratch/sort/zusort" --key 2,4 --memory $memory <"$scratch/lines" >"$scratch/sorted" ||
    fail "zusort ended with an error"
  cmp -s "$scratch/expected" "$scratch/sorted" || fail "zusort --memory $memory sorts otherwise than sort"
done
[ -z "$(ls "$scratch/sorttmp")" ] || fail "zusort left files"
pass "the sorter of lines"

# The pipe: a line there and back, its log, and the errors of a token without a ticket and of a port that is closed.
cat >"$scratch/server.py" <<'PYTHON'
import socket
server = socket.socket()
server.bind(("127.0.0.1", 0))
server.listen()
print(server.getsockname()[1], flush=True)
for _ in range(2):
    peer, _ = server.accept()
    peer.sendall(peer.recv(1000).upper())
    peer.close()
PYTHON
python3 "$scratch/server.py" >"$scratch/port" &
server=$!
for ((tries = 0; tries < 100; ++tries)); do
  [ -s "$scratch/port" ] && break
  sleep 0.1
done
address=127.0.0.1,$(cat "$scratch/port")
mkdir "$scratch/there"
in_english() { (cd "$scratch/there" && env -u LC_ALL -u LC_MESSAGES -u LANG "$@" 2>&1); }
[ "$(in_english "$scratch/pipe/pipe" "$address" hello)" = HELLO ] || fail "the pipe brought no reply"
[ "$(in_english "$scratch/pipe/pipe" --log "$address" again)" = AGAIN ] || fail "the pipe with --log brought no reply"
wait "$server"
grep -q '^61 67 61 69 6E 0A ' "$scratch/there/0.out" || fail "the log does not show what was sent"
grep -q '^41 47 41 49 4E 0A ' "$scratch/there/0.out" || fail "the log does not show what came"
output=$(in_english "$scratch/pipe/pipe" "$address" late) && fail "a closed port is no error"
grep -q '7505: The connection to the server could not be made' <<<"$output" || fail "the pipe printed: $output"
output=$(in_english env KRB5_CONFIG=/dev/null KRB5CCNAME=FILE:/nowhere "$scratch/pipe/pipe" \
  --token db/localhost@EXAMPLE "$address" hello) && fail "a token without a ticket"
grep -q '2749: There are no Kerberos credentials' <<<"$output" || fail "the pipe printed: $output"
pass "the pipe"

# A connection string with the settings of its data source, and two that cannot be understood.
printf '[my data]\nServer = db.example\nuid = nobody\nPWD = a;b\n' >"$scratch/dsn.ini"
zudsn() { env -u LC_ALL -u LC_MESSAGES LANG="${language:-C}" "$scratch/dsn/zudsn" --profile "$scratch/dsn.ini" "$@" 2>&1; }
[ "$(zudsn --string "DSN='my data';UID=scott")" = "DSN='my data';UID=scott;Server=db.example;PWD='a;b'" ] ||
  fail "zudsn does not merge"
[ "$(zudsn 'DSN=my data;Port=7' | sed 's/  */ /g' | paste -sd/)" = \
  'DSN my data /Port 7 /Server db.example (data source)/uid nobody (data source)/PWD ******** (data source)' ] ||
  fail "zudsn prints other attributes"
output=$(zudsn 'A=1;B=2;a=3') && fail "a keyword that comes twice is no error"
[ "$output" = "zudsn: 2705: The attribute string cannot be understood at position 9 of the connection string. A keyword \
stands there for the second time, before =." ] || fail "zudsn printed: $output"
output=$(language=de_DE.UTF-8 zudsn 'PWD=1;Password=2') && fail "two words that mean the same are no error"
grep -q '2705: .*PWD und Password bedeuten dasselbe' <<<"$output" || fail "zudsn printed: $output"
pass "the reader of connection strings"

# Words counted in a tree, as the system's tools count them.
cmake -S examples/tree -B "$scratch/tree" -G Ninja -DCMAKE_PREFIX_PATH="$scratch/prefix" >/dev/null
cmake --build "$scratch/tree" >/dev/null || fail "examples/tree does not build"
awk 'BEGIN { srand(2); for (i = 0; i < 60000; i++) printf "W%d%s", int(rand() * rand() * 20000), i % 9 ? " " : ".\n" }' >"$scratch/text"
LC_ALL=C tr -cs 'A-Za-z0-9' '\n' <"$scratch/text" | tr A-Z a-z | LC_ALL=C sort | uniq -c >"$scratch/expected"
"$scratch/tree/zuwords" <"$scratch/text" >"$scratch/counted" || fail "zuwords ended with an error"
cmp -s "$scratch/expected" "$scratch/counted" || fail "zuwords counts otherwise than uniq"
LC_ALL=C sort -k 1,1nr -k 2,2 "$scratch/expected" | sed -n 1,20p >"$scratch/top"
"$scratch/tree/zuwords" --top 20 <"$scratch/text" | cmp -s "$scratch/top" || fail "zuwords --top 20 ranks otherwise"
pass "the counter of words"

# Text between code pages, there and back, in pieces of several sizes, as the system's iconv converts it.
python3 - "$scratch" <<'PYTHON'
import random, sys
random.seed(3)
for name, letters in {"latin": "aB7~\näßéñöø", "han": "日本語の文字を変換するカナ中国 x\n", "cyrillic": "Привет x\n"}.items():
    with open(f"{sys.argv[1]}/{name}", "w", encoding="utf-8") as file:
        file.write("".join(random.choices(letters, k=50000)))
PYTHON
zuconv=$scratch/zuconv/zuconv
while read -r text page names; do
  iconv -f UTF-8 -t "$page" "$scratch/$text" >"$scratch/encoded"
  for name in $names; do
    for piece in 16 1001 64K; do
      "$zuconv" --from UTF-8 --to "$name" --piece $piece <"$scratch/$text" | cmp -s "$scratch/encoded" ||
        fail "zuconv --to $name --piece $piece converts otherwise than iconv"
      "$zuconv" --from "$name" --to 106 --piece $piece <"$scratch/encoded" | cmp -s "$scratch/$text" ||
        fail "zuconv --from $name --piece $piece converts otherwise than iconv"
    done
  done
done <<'PAGES'
latin ISO-8859-1 4 latin1
latin WINDOWS-1252 2252
latin UTF-8 106
han UTF-16LE 1014
han UTF-16BE utf-16be
han EUC-JP 18
han GB18030 gb18030
cyrillic KOI8-R 2084
cyrillic ISO-8859-5 8
PAGES
output=$(echo 日 | in_english "$zuconv" --from utf-8 --to 4 --report error) && fail "a character that Latin-1 lacks is no error"
grep -q 'HY000: The text could not be converted' <<<"$output" || fail "zuconv printed: $output"
output=$(echo 日 | in_english "$zuconv" --from utf-8 --to 4) || fail "zuconv ended with an error: $output"
grep -q '01000: A character' <<<"$output" || fail "zuconv printed: $output"
[ "$(echo 日 | in_english "$zuconv" --from utf-8 --to 4 --report none)" = $'\x1a' ] || fail "zuconv --report none warns"
output=$(in_english "$zuconv" --from nowhere --to 4 </dev/null) && fail "a page that does not exist"
grep -q 'there is no code page nowhere' <<<"$output" || fail "zuconv printed: $output"
pass "the converter of text"

# A statement's tree, and the place of an error.
output=$("$scratch/sqltree/zusqltree" tests/language/data/sql.bnf 'SELECT f(a) FROM t') || fail "zusqltree: $output"
[ "$(tr -s ' \n' ' ' <<<"$output")" = "goal statement select-statement query query-term select SELECT select-list \
select-item derived-item expression term factor primary function name f ( arguments expression-list expression term \
factor primary column name a ) from-clause FROM table-reference table-primary named-table table-name name t " ] ||
  fail "zusqltree printed: $output"
output=$("$scratch/sqltree/zusqltree" tests/language/data/sql.bnf 'SELECT a FROM t WHERE a IS 1') && fail "a wrong statement"
[ "$output" = 'SELECT a FROM t WHERE a IS 1
                           ^
expected NULL' ] || fail "zusqltree printed: $output"
pass "the tree of a statement"

# The driver over PostgreSQL's protocol, by the package alone, loaded and refused by a port that nobody listens on.
cmake -S drivers/pgwire -B "$scratch/pgwire" -G Ninja -DCMAKE_PREFIX_PATH="$scratch/prefix" >/dev/null
cmake --build "$scratch/pgwire" >/dev/null || fail "drivers/pgwire does not build"
cmake --install "$scratch/pgwire" --prefix "$scratch/prefix" >/dev/null
driver=$(find "$scratch/prefix" -name libzupgwire.so)
nm -D --defined-only "$driver" | grep ' [TDBRVW] ' | grep -v ' SQL' >/dev/null && fail "the driver exports more than ODBC"
output=$(in_english "$scratch/scroll/scroll" --connect "Driver=$driver;Server=127.0.0.1;Port=1;UID=me" --sql "select 1") &&
  fail "a closed port is no error of the driver"
grep -q '08S01.*The connection to the server could not be made' <<<"$output" || fail "the driver reported: $output"
pass "the driver over PostgreSQL's protocol"

echo "$passed passed, 0 failed"
