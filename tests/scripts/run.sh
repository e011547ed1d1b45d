#!/usr/bin/env bash
# scripts/run builds what its first word needs, once, and again when a source changes; the programs here are tiny.
set -u
# shellcheck source=tests/live/common.bash
. "$(dirname -- "${BASH_SOURCE[0]}")/../live/common.bash"

cd "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")/../.." || exit 1
copy=$(mktemp -d) || exit 1
trap 'rm -rf "$copy"' EXIT
mkdir -p "$copy"/{scripts,wyrt,base,build}
cp scripts/run scripts/lib.sh "$copy/scripts" || exit 1
cat >"$copy/CMakeLists.txt" <<'END'
cmake_minimum_required(VERSION 3.25)
project(tiny LANGUAGES CXX)
add_executable(wyrt wyrt/main.cpp)
if(EXISTS ${PROJECT_SOURCE_DIR}/wyrtlog/main.cpp)
    add_executable(wyrtlog wyrtlog/main.cpp)
endif()
END
program() { # FILE TEXT: a program that prints the text and its arguments
    printf '#include <cstdio>\nint main(int n, char** a) { std::printf("%s");\n' "$2" >"$1"
    printf 'for (int i = 1; i < n; i++) std::printf(" %%s", a[i]); }\n' >>"$1"
}
# says NAME EXPECTED [ARGUMENT...]
says() {
    local name=$1 expected=$2 said
    shift 2
    said=$("$copy/scripts/run" "$@" 2>"$copy/errors")
    if [ "$said" = "$expected" ]; then ok "$name"; else bad "$name" "it prints '$said' $(tail -n 3 "$copy/errors" | tr '\n' ' ')"; fi
}
built() { [ -s "$copy/errors" ]; } # whether the last run had something to build
program "$copy/wyrt/main.cpp" first
says 'builds and runs' 'first -b x' -b x
says 'runs again' 'first'
if built; then bad 'a second run builds nothing' "$(tail -n 1 "$copy/errors")"; else ok 'a second run builds nothing'; fi
says 'a log command without wyrtlog' 'first show' show

sleep 0.02 # the times of files have steps
program "$copy/wyrt/main.cpp" second
says 'a changed source' 'second'
mkdir "$copy/view" && touch "$copy/view/table.h"
says 'a new folder' 'second'
if built; then ok 'a new folder is seen'; else bad 'a new folder is seen' 'nothing was built'; fi

mkdir "$copy/wyrtlog" && program "$copy/wyrtlog/main.cpp" log
says 'with wyrtlog there' 'second -b' -b
if [ -e "$copy/build/wyrtlog" ]; then bad 'wyrtlog waits for its command' 'it is built'; else ok 'wyrtlog waits for its command'; fi
for word in show why info stats export chart push serve; do
    rm -f "$copy/build/wyrtlog"
    says "$word" "second $word" "$word"
    if [ "$("$copy/build/wyrtlog" 2>&1)" = log ]; then ok "$word has wyrtlog"; else bad "$word has wyrtlog" 'it is not built'; fi
done
says 'show again' 'second show' show
if built; then bad 'a second show builds nothing' "$(tail -n 1 "$copy/errors")"; else ok 'a second show builds nothing'; fi

sleep 0.02
echo 'int main() { return' >"$copy/wyrt/main.cpp"
if "$copy/scripts/run" >/dev/null 2>&1; then bad 'a broken source' 'it runs'; else ok 'a broken source'; fi
sleep 0.02
program "$copy/wyrt/main.cpp" third
says 'mended' 'third'
