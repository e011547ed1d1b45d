#!/usr/bin/env bash
# scripts/arrows finds every arrow that the house does not have: a file with such an include is put into a copy of the tree.
set -u
# shellcheck source=tests/live/common.bash
. "$(dirname -- "${BASH_SOURCE[0]}")/../live/common.bash"

cd "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")/../.." || exit 1
copy=$(mktemp -d) || exit 1
trap 'rm -rf "$copy"' EXIT
for folder in base parse record classic sample model why view wyrt wyrtlog packaging; do
    mkdir -p "$copy/$folder"
    [ -d "$folder" ] && (cd "$folder" && find . -name '*.cpp' -o -name '*.h') |
        while read -r file; do install -D "$folder/$file" "$copy/$folder/$file"; done
done
cp CMakeLists.txt "$copy" || exit 1

# tried FILE LINE: what is said when FILE has the LINE, or more of it.
tried() {
    local kept=''
    mkdir -p "$(dirname "$copy/$1")"
    [ -e "$copy/$1" ] && kept=$(mktemp -p "$copy") && cp "$copy/$1" "$kept"
    printf '%s\n' "$2" >>"$copy/$1"
    scripts/arrows "$copy"
    status=$?
    if [ -n "$kept" ]; then mv "$kept" "$copy/$1"; else rm "$copy/$1"; fi
    return "$status"
}
refused() { # FILE LINE
    local said
    if said=$(tried "$1" "$2"); then
        bad "refused: $1: $2" 'it passes'
    elif [[ $said != "$1:"* || $said == *$'\n'* ]]; then
        bad "refused: $1: $2" "it says '$said'"
    else
        ok "refused: $1: $2"
    fi
}
allowed() { # FILE LINE
    local said
    if said=$(tried "$1" "$2" 2>&1); then ok "allowed: $1: $2"; else bad "allowed: $1: $2" "$said"; fi
}

if said=$(scripts/arrows "$copy" 2>&1); then ok 'the tree as it is'; else bad 'the tree as it is' "$said"; fi

# Nobody but the one line of main knows classic.
for folder in base parse record sample model why view wyrt wyrtlog packaging; do
    refused "$folder/made.cpp" '#include "classic/collect/slots.h"'
done
refused wyrt/main.cpp '#include "classic/collect/slots.h"'
refused record/classic/made.h '#include "classic/monitor/records.h"'

# The rows of the table, from the bottom to the top.
refused base/words.h '#include "base/door.h"'
refused base/output.h '#include "parse/stat.h"'
refused parse/made.h '#include "record/field.h"'
refused record/made.h '#include "base/door.h"'
refused record/made.h '#include "base/output.h"'
refused record/classic/made.h '#include "base/output.h"'
refused classic/collect/made.cpp '#include "classic/monitor/format.h"'
refused classic/made.cpp '#include "sample/disk.h"'
refused sample/made.cpp '#include "record/disk.h"'
refused model/made.cpp '#include "base/door.h"'
refused model/made.cpp '#include "view/disk.h"'
refused why/made.cpp '#include "model/disk.h"'
refused why/made.cpp '#include "parse/stat.h"'
refused view/made.cpp '#include "sample/disk.h"'
refused wyrt/made.cpp '#include "wyrtlog/show.h"'
refused wyrtlog/made.cpp '#include "sample/disk.h"'
refused packaging/made.cpp '#include "base/door.h"'
allowed base/made.cpp '#include "base/words.h"'
allowed parse/made.cpp '#include "base/door.h"'
allowed record/made.cpp '#include "base/words.h"'
allowed record/made.cpp '#include "record/classic/kinds.h"'
allowed classic/collect/made.cpp '#include "record/classic/kinds.h"'
allowed classic/monitor/made.cpp '#include "classic/collect/slots.h"'
allowed sample/made.cpp '#include "parse/stat.h"'
allowed model/made.cpp '#include "sample/disk.h"'
allowed why/made.cpp '#include "record/disk.h"'
allowed view/made.cpp '#include "why/rules.h"'
allowed wyrt/made.cpp '#include "view/areas.h"'
allowed wyrtlog/made.cpp '#include "base/door.h"'

# However it is written.
refused record/made.h '#include <base/door.h>'
refused record/made.h '  #  include   "base/door.h" // only once'
refused sample/made.cpp '#include "../record/disk.h"'
refused sample/made.cpp '#include "sample/../record/disk.h"'
refused base/made.cpp '#include "words.h"'
refused base/made.cpp '#include HEADER'

# The pure ones do not go past the door either.
refused record/made.cpp '#include <unistd.h>'
refused view/made.cpp '#include <fstream>'
refused base/text.h '#include <fcntl.h>'
allowed parse/made.cpp '#include <fcntl.h>'
allowed record/made.cpp '#include <string>'
