#!/usr/bin/env bash
# What the programs load, and what their packages hold. The packages are made where dpkg is, of what is built already.
set -u
# shellcheck source=tests/live/common.bash
. "$(dirname -- "${BASH_SOURCE[0]}")/common.bash"

wyrt=${WYRT:?WYRT must name the program}
build=$(dirname -- "$wyrt")
sandbox=$(mktemp -d) || exit 1
trap 'rm -rf "$sandbox"' EXIT
export LC_ALL=C

# --- Libraries

# others PROGRAM NAME...: the libraries that it loads and that are not named.
others() {
    local program=$1
    shift
    ldd "$program" | sed -n 's/^[[:space:]]*\(lib[^ ]*\)\.so.*/\1/p' | grep -vxF "$(printf '%s\n' "$@")" | tr '\n' ' '
}
if ! ldd "$wyrt" >/dev/null 2>&1; then
    echo "skip package-libraries: ldd cannot tell"
elif ldd "$wyrt" | grep -q 'asan\|ubsan\|tsan'; then
    echo "skip package-libraries: a build with sanitizers"
else
    why=$(others "$wyrt" libc libm libstdc++ libgcc_s libmnl)
    [ "$(ldd "$wyrt" | grep -c 'libmnl\|libstdc++')" = 2 ] || why="nothing was listed"
    verdict package-libraries "${why:+wyrt also loads $why}"
    why=$(ldd "$build/wyrtlog" | grep 'not found')
    ldd "$build/wyrtlog" | grep -q libzstd || why='wyrtlog does not load zstd'
    verdict package-libraries-log "$why"
fi

# --- What cmake --install brings

cmake --install "$build" --prefix "$sandbox/installed" >/dev/null 2>"$sandbox/err" || {
    bad package-install "$(<"$sandbox/err")"
    exit 0
}
why=
for file in bin/wyrt bin/wyrtlog share/man/man1/wyrt.1.gz share/man/man1/wyrt-show.1.gz share/man/man7/wyrt-why.7.gz \
    share/bash-completion/completions/wyrt share/zsh/site-functions/_wyrt share/doc/wyrt/README.md; do
    [ -s "$sandbox/installed/$file" ] || why="$file is missing"
done
[ -z "$(find "$sandbox/installed" -name '*.service')" ] || why='a service is installed'
[ "$("$sandbox/installed/bin/wyrt" --version)" = "$("$wyrt" --version)" ] || why='it does not run'
verdict package-install "$why"

# Every link from one document to another, and to a file that a service names.
why=
documents=$sandbox/installed/share/doc/wyrt
while IFS=: read -r document link; do
    [ -e "$(dirname -- "$document")/$link" ] || why="${document#"$documents"/} links to $link, which is not installed"
done < <(find "$documents" -name '*.md' -exec grep -noE '\]\([^)#: ]+[)#]' {} + | sed 's/:[0-9]*:](/:/; s/.$//')
[ -n "$(find "$documents" -name '*.md' -exec grep -lE '\]\(docs/' {} +)" ] || why='no document links to another'
for file in $(grep -hoE '/usr/share/doc/wyrt/[^ ]*' "$(dirname -- "${BASH_SOURCE[0]}")"/../../packaging/*.service); do
    [ -e "$documents/${file#/usr/share/doc/wyrt/}" ] || why="a service names $file, which is not installed"
done
verdict package-links "$why"

# --- The packages

for tool in dpkg-deb dpkg-shlibdeps file; do # cpack needs all of them
    command -v "$tool" >/dev/null && continue
    echo "skip package-files: there is no $tool"
    exit 0
done
# In a folder of its own: the build's stays as it is.
if ! (cd "$sandbox" && cpack --config "$build/CPackConfig.cmake" -G DEB -B "$sandbox/made") >"$sandbox/out" 2>&1; then
    bad package-files "$(tail -n 1 "$sandbox/out")"
    exit 0
fi
# files PACKAGE, fields PACKAGE FIELD
files() { dpkg-deb -c "$sandbox"/made/"$1"_*.deb | awk '{print $6}' | grep -v '/$' | sort; }
field() { dpkg-deb -f "$sandbox"/made/"$1"_*.deb "$2"; }

files wyrt >"$sandbox/wyrt" && files wyrtlog >"$sandbox/wyrtlog"
why=$(comm -12 "$sandbox/wyrt" "$sandbox/wyrtlog" | sed 's/$/ is in both packages/')
for file in ./usr/bin/wyrt ./lib/systemd/system/wyrt.service ./lib/systemd/system/wyrt@.service \
    ./etc/wyrt/recorder/wyrt.conf ./etc/wyrt/default.conf ./etc/logrotate.d/wyrt ./usr/libexec/wyrt/wyrt-log \
    ./usr/share/man/man1/wyrt-live.1.gz ./usr/share/doc/wyrt/copyright; do
    grep -qxF "$file" "$sandbox/wyrt" || why="wyrt lacks $file"
done
for file in ./usr/bin/wyrtlog ./usr/share/man/man1/wyrt-show.1.gz ./usr/share/doc/wyrtlog/copyright; do
    grep -qxF "$file" "$sandbox/wyrtlog" || why="wyrtlog lacks $file"
done
verdict package-files "$why"

why=
for package in wyrt wyrtlog; do
    configured=$(dpkg-deb --ctrl-tarfile "$sandbox"/made/"${package}"_*.deb | tar -xO ./conffiles 2>/dev/null | sort)
    [ "$configured" = "$(sed -n 's/^\.\(\/etc\/.*\)/\1/p' "$sandbox/$package")" ] || why="conffiles of $package are not its files in /etc"
done
verdict package-conffiles "$why"

why=$(field wyrt Depends | tr ',' '\n' | sed 's/^ *//; s/ .*//' | grep -vxE 'libc6|libgcc-s1|libmnl0|libstdc\+\+6')
field wyrt Recommends | grep -q wyrtlog || why='wyrt does not recommend wyrtlog'
field wyrtlog Depends | grep -qF "wyrt (= $(field wyrt Version))" || why='wyrtlog depends on another wyrt'
field wyrtlog Replaces | grep -qF 'wyrt (<< 1.2.0)' || why='wyrtlog does not replace what was one package'
verdict package-depends "$why"

# --- One static program

# With g++ alone: the C++ library of another compiler may have no archive.
if [ -x "$build/../static/wyrt" ]; then
    static=$build/../static/wyrt
    why=
    ldd "$static" 2>&1 | grep -qE 'not a dynamic executable|statically linked' || why='it is not static'
    [ "$("$static" live proc -i 200ms -c 1 2>&1 | grep -c '^PROC')" = 1 ] || why="it shows: $("$static" live proc -i 200ms -c 1 2>&1 | tail -n 1)"
    verdict package-static "$why"
else
    echo "skip package-static: scripts/package static has not built it"
fi
