#!/usr/bin/env bash
# Compares the dynamic symbols that libvlan_mgr.so defines with the list of
# exported names, in both directions.
set -euo pipefail
lib=$1 list=$2
actual=$(nm -D --defined-only "$lib" | awk '$2 != "A" {print $3}' | sed 's/@.*//' | sort -u)
expected=$(sort -u "$list" | sed '/^$/d')
missing=$(comm -13 <(echo "$actual") <(echo "$expected"))
extra=$(comm -23 <(echo "$actual") <(echo "$expected"))
[ -z "$missing" ] || { echo "exported names missing from the library:"; echo "$missing"; }
[ -z "$extra" ] || { echo "library exports names not in the list:"; echo "$extra"; }
[ -z "$missing$extra" ] && echo "$(echo "$expected" | wc -l) exported names match"
[ -z "$missing$extra" ]
