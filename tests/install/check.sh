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
gcc -Wall -Wextra -Werror -I "$include" -x c -fsyntax-only "$include/zulib/cursor/entry/cursorlib.h" || fail "cursorlib.h in C"
pass "$count headers compile alone"

# Only the interface is visible, under a version. (grep reads all of its input here: one that stops at the first
# hit would fail the command in front of it.)
undecorated=$(nm -D --defined-only "$libdir/libzulib.so" "$libdir/libzuodbc.so" | grep -E ' [TDBRVW] ' | grep -vc '@@ZU' || true)
[ "$undecorated" -eq 0 ] || fail "$undecorated exported symbols have no version"
nm -D --defined-only "$libdir/libzulib.so" | grep ' CLFetchScroll@@' >/dev/null || fail "CLFetchScroll is not exported"
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

# The demo: its exit code, and one line that only a working cursor prints.
cmake -S examples/scroll -B "$scratch/scroll" -G Ninja -DCMAKE_PREFIX_PATH="$scratch/prefix" >/dev/null
cmake --build "$scratch/scroll" >/dev/null || fail "examples/scroll does not build"
demo=$(env -u LC_ALL -u LC_MESSAGES -u LANG "$scratch/scroll/scroll") || fail "the demo ended with an error: $demo"
grep -q '5000 rows delivered going backwards' <<<"$demo" || fail "the demo printed: $demo"
grep -q '99.5' <<<"$demo" || fail "the demo shows no updated row"
grep -q '34000:.*No statement of this connection has a cursor of this name' <<<"$demo" || fail "the demo shows no error"
demo=$(env -u LC_ALL -u LC_MESSAGES LANG=de_DE.UTF-8 "$scratch/scroll/scroll")
grep -q '34000:.*Keine Anweisung dieser Verbindung hat einen Cursor dieses Namens' <<<"$demo" ||
  fail "the demo's error is not German: $demo"
pass "the demo"

# Lines sorted through files, in the order and with the bytes of the system's sort; some are long, some equal,
# and the last one does not end.
cmake -S examples/sort -B "$scratch/sort" -G Ninja -DCMAKE_PREFIX_PATH="$scratch/prefix" >/dev/null
cmake --build "$scratch/sort" >/dev/null || fail "examples/sort does not build"
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

echo "$passed passed, 0 failed"
