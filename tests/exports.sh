#!/bin/sh
# What the headers mark as exported, the list and the plug-in's symbols are the same:
# tests/exports.sh HEADER_FOLDER LIST NM PLUGIN
set -eu
headers=$1 list=$2 nm=$3 plugin=$4
export LC_ALL=C

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
grep -v '^#' "$list" | sort >"$folder/listed"

# Constructors and destructors have several symbols each, of one name.
"$nm" --dynamic --defined-only --demangle "$plugin" | cut -d ' ' -f 3- | sort -u |
    sed -E 's/\(.*//; s/\[abi:cxx11\]//' | sort >"$folder/exported"
diff -u "$folder/listed" "$folder/exported"

# Public operations of exported classes, and what is exported by itself.
awk '
    /^class .*\{$/ { whole = $2 == "MRS_EXPORT"; class = (whole ? $3 : $2) "::"; public = 0 }
    /^};$/ { whole = 0; class = "" }
    /^(public|protected|private):$/ { public = $1 == "public:" }
    (/MRS_EXPORT/ || whole && public) && !/^ *\/\/|^#|= delete;/ && match($0, /[~A-Za-z_]+\(/) {
        print class substr($0, RSTART, RLENGTH - 1)
    }' "$headers"/*.h | sort >"$folder/declared"
grep -v '^typeinfo' "$folder/listed" | diff -u - "$folder/declared"
