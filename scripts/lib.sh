# shellcheck shell=bash
# What the scripts share: finding tools, installing missing ones, configuring a build tree.
# Sourced, never run. Everything here speaks on standard error.

say() { printf '%s\n' "$*" >&2; }

# Two functions of their own, so that the answers can be replaced when this file is tested.
os_release() { cat /etc/os-release 2>/dev/null; }
is_root() { [ "$(id -u)" -eq 0 ]; }

has() { command -v "$1" >/dev/null 2>&1; }

is_debian() {
    has apt-get && os_release | grep -Eq '^ID(_LIKE)?=.*(debian|ubuntu)'
}

# True when cmake is there and new enough for CMakeLists.txt.
has_cmake() {
    local version
    has cmake && version=$(cmake --version 2>/dev/null) || return 1
    [[ $version =~ ([0-9]+)\.([0-9]+) ]] || return 1
    ((BASH_REMATCH[1] > 3 || (BASH_REMATCH[1] == 3 && BASH_REMATCH[2] >= 25)))
}

# The folders of the program's own sources.
# shellcheck disable=SC2034 # for those that source this file
product=(base parse record classic sample model why view wyrt wyrtlog)

has_header() { printf '#include <%s>\n' "$1" | "${CXX:-c++}" -x c++ -E -o /dev/null - 2>/dev/null; }

# libraries_of ROOT: the needs that the program's sources bring, one a line. CMakeLists.txt finds them in the same way.
libraries_of() {
    local need header
    for need in cli11 libmnl zstd zlib sqlite3 microhttpd curl; do
        header=$(header_of "$need")
        if grep -rqsF --include='*.h' --include='*.cpp' "#include <$header>" "${product[@]/#/$1/}"; then echo "$need"; fi
    done
    if [ -e "$1/wyrtlog/chart/page/main.js" ]; then echo dygraphs; fi
}

# The header by which a library is known.
header_of() {
    case $1 in
        gtest) echo gtest/gtest.h ;;
        cli11) echo CLI/CLI.hpp ;;
        libmnl) echo libmnl/libmnl.h ;;
        zstd) echo zstd.h ;;
        zlib) echo zlib.h ;;
        sqlite3) echo sqlite3.h ;;
        microhttpd) echo microhttpd.h ;;
        curl) echo curl/curl.h ;;
    esac
}

# The sanitizers' part of clang++ is a package of its own in newer systems.
has_clang_sanitizers() {
    has clang++ && printf 'int main() {}\n' | clang++ -fsanitize=address,undefined -x c++ -o /dev/null - 2>/dev/null
}

# The name of a clang-format that knows all of .clang-format; version 14 crashes on it.
clang_format() {
    local name
    for name in clang-format-19 clang-format; do
        if [[ $("$name" --version 2>/dev/null) =~ version\ ([0-9]+) ]] && ((BASH_REMATCH[1] >= 16)); then
            echo "$name"
            return 0
        fi
    done
    return 1
}

# One word each for what a script can ask for: is it there?
has_need() {
    case $1 in
        compiler) if [ -n "${CXX:-}" ]; then has "$CXX"; else has c++ || has g++ || has clang++; fi ;;
        cmake) has_cmake ;;
        generator) has ninja || has make || has gmake ;;
        gtest | cli11 | libmnl | zstd | zlib | sqlite3 | microhttpd | curl) has_header "$(header_of "$1")" ;;
        dygraphs) [ -e /usr/share/javascript/dygraphs/dygraph.min.js ] ;;
        clang-sanitizers) has_clang_sanitizers ;;
        clang-format) clang_format >/dev/null ;;
        *) has "$1" ;;
    esac
}

# ... and the package that brings it.
package_of() {
    case $1 in
        compiler | g++) echo g++ ;;
        gcov) echo gcc ;;
        clang++) echo clang ;;
        generator) echo make ;;
        gtest) echo libgtest-dev ;;
        cli11) echo libcli11-dev ;;
        libmnl) echo libmnl-dev ;;
        zstd) echo libzstd-dev ;;
        zlib) echo zlib1g-dev ;;
        sqlite3) echo libsqlite3-dev ;;
        microhttpd) echo libmicrohttpd-dev ;;
        curl) echo libcurl4-openssl-dev ;;
        dygraphs) echo libjs-dygraphs ;;
        clang-sanitizers) echo libclang-rt-dev ;;
        clang-format) echo clang-format-19 ;;
        dpkg-shlibdeps) echo dpkg-dev ;;
        *) echo "$1" ;;
    esac
}

# ... and its name for people.
name_of() {
    case $1 in
        compiler) echo "a C++20 compiler (g++)" ;;
        cmake) echo "cmake 3.25 or newer" ;;
        generator) echo "make or ninja" ;;
        gtest) echo "GoogleTest" ;;
        cli11) echo "CLI11" ;;
        clang-sanitizers) echo "the sanitizers of clang++" ;;
        clang-format) echo "clang-format 16 or newer" ;;
        *) echo "$1" ;;
    esac
}

missing_of() {
    local need
    for need in "$@"; do
        has_need "$need" || echo "$need"
    done
}

# Sees that all of the named needs are there. Calls the package manager only when one is not.
require() {
    local missing=() packages=() names='' need said
    mapfile -t missing < <(missing_of "$@")
    ((${#missing[@]})) || return 0
    for need in "${missing[@]}"; do
        packages+=("$(package_of "$need")")
        names+=${names:+, }$(name_of "$need")
    done
    if ! is_debian; then
        say "Missing: $names. Please install with this system's package manager."
        return 1
    fi
    if ! is_root; then
        say "Missing: $names. Please install as root: apt-get install ${packages[*]}"
        return 1
    fi

    say "Installing ${packages[*]} ..."
    said=$(apt_install "${packages[@]}" 2>&1 </dev/null) || {
        say "$said"
        say "Missing: $names. Installing failed: apt-get install ${packages[*]}"
        return 1
    }
    hash -r
    mapfile -t missing < <(missing_of "${missing[@]}")
    ((${#missing[@]})) || return 0
    names=
    for need in "${missing[@]}"; do
        names+=${names:+, }$(name_of "$need")
    done
    say "Missing: $names. This system's packages do not bring it; please install it by other means."
    return 1
}

apt_install() {
    export DEBIAN_FRONTEND=noninteractive
    # A fresh machine has no package lists, an old one has stale ones. That one of several sources
    # cannot be reached need not matter: the installation shows.
    apt-get -q -o DPkg::Lock::Timeout=120 update
    apt-get -q -y -o DPkg::Lock::Timeout=120 install --no-install-recommends "$@"
}

jobs() { nproc 2>/dev/null || echo 2; }

# configure SOURCE BUILD [CMAKE-ARGUMENT...]: quiet unless it fails. An existing tree that can no longer
# be configured (moved here from elsewhere, its generator or compiler gone) is configured afresh.
configure() {
    local source=$1 build=$2 said generator='Unix Makefiles'
    shift 2
    if [ -e "$build/CMakeCache.txt" ]; then
        cmake -S "$source" -B "$build" --log-level=WARNING "$@" >/dev/null 2>&1 </dev/null && return 0
    fi
    has ninja && generator=Ninja
    said=$(cmake --fresh -S "$source" -B "$build" -G "$generator" --log-level=WARNING "$@" 2>&1 </dev/null) && return 0
    say "$said"
    return 1
}

# The trees that more than one script builds: a release with its coverage twin by g++, and one with the sanitizers by
# clang++. Of what a debugger needs, the second keeps line numbers only: a sanitizer's report names nothing else.
# shellcheck disable=SC2034 # for those that source this file
{
    tested=(-DWYRT_TESTS=ON -DWYRT_FUZZ_REPLAY=ON -DWYRT_WERROR=ON -DWYRT_BENCH=ON)
    gcc_tree=("${tested[@]}" -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_COMPILER=g++ -DWYRT_COVERAGE=ON)
    clang_tree=("${tested[@]}" -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_CXX_FLAGS_DEBUG=-g1
        "-DCMAKE_CXX_FLAGS=-O1 -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer -D_GLIBCXX_ASSERTIONS")
    has ld.gold && clang_tree+=(-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=gold) # five times as quick as ld
    launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=)
    has ccache && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
}

# build_tree BUILD [TARGET...]: the compiler's words only when it fails.
build_tree() {
    local said build=$1
    shift
    said=$(cmake --build "$build" ${1:+--target "$@"} -j "$(jobs)" 2>&1 </dev/null) && return 0
    # Of a long parallel build, the lines that say nothing but "compiling X" are left out.
    say "$(printf '%s\n' "$said" | grep -Ev '^\[ *[0-9]+(%|/[0-9]+)\] (Building|Linking|Built)')"
    return 1
}
