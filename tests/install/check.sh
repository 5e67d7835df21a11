#!/usr/bin/env bash
# Installs a build into a scratch directory and uses the result as a stranger would: every installed
# header alone, the README's example through the CMake package and through pkg-config, the demo.
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

# The example that the README shows.
example=$scratch/example
mkdir "$example"
sed -n '/^```cpp$/,/^```$/{/^```/d;p}' README.md >"$example/main.cpp"
[ -s "$example/main.cpp" ] || fail "the README shows no example"

# Runs an example program in the scratch directory and looks for the row that it has to print.
run_example() {
  local output
  output=$(cd "$scratch" && LD_LIBRARY_PATH=$libdir "$1") || fail "$1 ended with an error: $output"
  grep -q 'Zebra' <<<"$output" || fail "$1 printed: $output"
}

cat >"$example/CMakeLists.txt" <<'CMAKE'
cmake_minimum_required(VERSION 3.25)
project(example LANGUAGES CXX)
find_package(zulib REQUIRED)
add_executable(example main.cpp)
target_link_libraries(example PRIVATE zulib::zuodbc)
add_executable(both main.cpp)
target_link_libraries(both PRIVATE zulib::zuodbc zulib::zulib)
CMAKE
cmake -S "$example" -B "$example/build" -G Ninja -DCMAKE_PREFIX_PATH="$scratch/prefix" >/dev/null
cmake --build "$example/build" >/dev/null || fail "the example does not build by the CMake package"
run_example "$example/build/example"
run_example "$example/build/both"
pass "the README's example through find_package"

export PKG_CONFIG_PATH=$libdir/pkgconfig
g++ -std=c++17 "$example/main.cpp" -o "$example/by_pkgconfig" $(pkg-config --cflags --libs zuodbc) ||
  fail "the example does not build by pkg-config"
run_example "$example/by_pkgconfig"
pkg-config --exists zulib || fail "pkg-config does not know zulib"
pass "the README's example through pkg-config"

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

echo "$passed passed, 0 failed"
